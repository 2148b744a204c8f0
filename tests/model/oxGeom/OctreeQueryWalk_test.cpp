#include "oxGeom/OctreeQueryWalk.h"

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeQueryWalk;

TEST(OctreeQueryWalk, followsTheOrderPrunesFailedNodesAndStopsSafely)
{
    const std::vector<float> points = testsupport::randomPoints(101, 3000, 3);
    const Octree octree(3000, points.data(), testsupport::boxOf(points), true, 4);
    OctreeQueryWalk walk(octree);
    EXPECT_EQ(walk.getCapacity(), 8 * (octree.getMaxDepth() + 1));
    const auto all = [](const BoundingBox&) { return true; };
    const oxLinear::Vector direction(-1.0, 0.5, -0.25);
    walk.setOrder(direction);
    std::vector<int> got;
    for (walk.start(all); walk.valid(); walk.next(all))
        got.push_back(walk.get().getLeafNumber());
    EXPECT_EQ(got, testsupport::expectedWalk(octree, direction, all));

    // Only the root's box passes: its children fail, no leaf is reached.
    const BoundingBox root = octree.getBounds();
    walk.start([&](const BoundingBox& box) { return box == root; });
    EXPECT_FALSE(walk.valid());
    EXPECT_FALSE(walk.get().valid());
    walk.next(all);  // past the end nothing happens
    EXPECT_FALSE(walk.valid());

    // A root that is a leaf is the whole walk; an octree without nodes has none.
    const float point[3] = {1, 2, 3};
    const Octree single(1, point, BoundingBox(), true, 16);
    OctreeQueryWalk one(single);
    one.start(all);
    EXPECT_EQ(one.get(), single.getRoot());
    one.next(all);
    EXPECT_FALSE(one.valid());
    const Octree empty;
    OctreeQueryWalk nothing(empty);
    nothing.start(all);
    EXPECT_FALSE(nothing.valid());
}
