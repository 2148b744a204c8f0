#include "oxGeom/OctreeQueryWalk.h"

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeIterator;
using oxGeom::OctreeQueryWalk;

namespace
{
/// Leaf numbers in the order a walk yields them.
template <class Test>
std::vector<int> walkLeaves(OctreeQueryWalk& walk, const Test& test)
{
    std::vector<int> numbers;
    for (walk.start(test); walk.valid(); walk.next(test))
        numbers.push_back(walk.get().getLeafNumber());
    return numbers;
}

/// Leaf numbers depth-first with children in the given order, every leaf.
void orderedLeaves(OctreeIterator node, const int order[8], std::vector<int>& out)
{
    if (node.isLeaf())
    {
        out.push_back(node.getLeafNumber());
        return;
    }
    for (int k = 0; k < 8; ++k)
    {
        OctreeIterator child = node;
        if (child.descend(order[k]))
            orderedLeaves(child, order, out);
    }
}
}  // namespace

TEST(OctreeQueryWalk, visitsChildrenInTheGivenOrderAndPrunesFailedNodes)
{
    const std::vector<float> points = testsupport::randomPoints(101, 3000, 3);
    const Octree octree(3000, points.data(), testsupport::boxOf(points), true, 4);
    OctreeQueryWalk walk(octree);
    EXPECT_EQ(walk.getCapacity(), 8 * (octree.getMaxDepth() + 1));
    const auto all = [](const BoundingBox&) { return true; };

    // Slot order 0..7 is the numbering order.
    const std::vector<int> numbered = walkLeaves(walk, all);
    ASSERT_EQ(static_cast<int>(numbered.size()), octree.getNumLeaves());
    for (std::size_t k = 0; k < numbered.size(); ++k)
        EXPECT_EQ(numbered[k], static_cast<int>(k));

    walk.setOrder(oxLinear::Vector(-1.0, 0.5, -0.25));
    std::vector<int> expected;
    orderedLeaves(octree.getRoot(), walk.getOrder(), expected);
    EXPECT_EQ(walkLeaves(walk, all), expected);

    // A test passing only the root's box: every child fails, no leaf is reached.
    const BoundingBox rootBox = octree.getBounds();
    const auto rootOnly = [&](const BoundingBox& box) { return box == rootBox; };
    EXPECT_TRUE(walkLeaves(walk, rootOnly).empty());
    const auto none = [](const BoundingBox&) { return false; };
    walk.start(none);
    EXPECT_FALSE(walk.valid());
    EXPECT_FALSE(walk.get().valid());
    walk.next(none);  // past the end: nothing happens
    EXPECT_FALSE(walk.valid());
}

TEST(OctreeQueryWalk, rootLeafAndEmptyOctree)
{
    const float point[3] = {1, 2, 3};
    const Octree single(1, point, BoundingBox(), true, 16);
    OctreeQueryWalk walk(single);
    const auto all = [](const BoundingBox&) { return true; };
    walk.start(all);
    ASSERT_TRUE(walk.valid());
    EXPECT_EQ(walk.get(), single.getRoot());
    walk.next(all);
    EXPECT_FALSE(walk.valid());

    const Octree empty;
    OctreeQueryWalk nothing(empty);
    nothing.start(all);
    EXPECT_FALSE(nothing.valid());
    EXPECT_GE(nothing.getCapacity(), 1);
}
