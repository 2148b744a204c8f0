#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeBBoxIntersectIt;
using testsupport::expectedWalk;
using testsupport::yielded;

namespace
{
BoundingBox box(float x0, float y0, float z0, float x1, float y1, float z1)
{
    const double values[6] = {x0, y0, z0, x1, y1, z1};
    return BoundingBox(values);
}
}  // namespace

TEST(OctreeBBoxIntersectIt, yieldsExactlyTheLeavesMeetingTheBoxInWalkOrder)
{
    std::mt19937 rng(111);
    const oxLinear::Vector alongX(1.0, 0.0, 0.0);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& root = octree.getBounds();
        OctreeBBoxIntersectIt it(octree);
        for (int q = 0; q < 40; ++q)
        {
            // Boxes of all sizes, some reaching outside the root.
            float lo[3], hi[3];
            for (int axis = 0; axis < 3; ++axis)
            {
                const float side = root[axis + 3] - root[axis];
                const float a = testsupport::uniform(rng, root[axis] - 0.2f * side,
                                                     root[axis + 3] + 0.2f * side);
                lo[axis] = a;
                hi[axis] = a + side * testsupport::uniform(rng, 0.0f, 0.4f);
            }
            const BoundingBox query = box(lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
            it.reset(query);
            const std::vector<int> expected = expectedWalk(
                octree, alongX, [&](const BoundingBox& leaf) { return leaf.intersects(query); });
            EXPECT_EQ(yielded(it), expected) << named.name << " query " << q;
        }
    }
}

TEST(OctreeBBoxIntersectIt, aBoxTouchingOneFaceYieldsTheLeavesOnThatFace)
{
    const std::vector<float> points = testsupport::randomPoints(112, 1500, 3);
    const Octree octree(1500, points.data(), testsupport::boxOf(points), true, 8);
    const BoundingBox& root = octree.getBounds();
    const BoundingBox touching = box(root[3], root[1], root[2], root[3] + 1.0f, root[4], root[5]);
    OctreeBBoxIntersectIt it(octree, touching);
    std::vector<int> onFace;
    for (const oxGeom::OctreeIterator& leaf : testsupport::allLeaves(octree))
        if (leaf.getBox()[3] == root[3])
            onFace.push_back(leaf.getLeafNumber());
    std::vector<int> got = yielded(it);
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, onFace);
    EXPECT_GT(onFace.size(), 4u);

    // Just beyond that face, and an empty box: nothing.
    const float beyond = std::nextafter(root[3], 1e30f);
    const BoundingBox outside = box(beyond, root[1], root[2], beyond + 1.0f, root[4], root[5]);
    it.reset(outside);
    EXPECT_FALSE(it.valid());
    const BoundingBox empty;
    it.reset(empty);
    EXPECT_FALSE(it.valid());
}

TEST(OctreeBBoxIntersectIt, invalidStatesAreSafe)
{
    const std::vector<float> points = testsupport::randomPoints(113, 300, 3);
    const Octree octree(300, points.data(), testsupport::boxOf(points), true, 8);
    // No query yet: not valid, get() gives a default iterator, next() is harmless.
    OctreeBBoxIntersectIt idle(octree);
    EXPECT_FALSE(idle.valid());
    EXPECT_FALSE(idle.get().valid());
    idle.next();
    EXPECT_FALSE(idle.valid());
    // Past the end.
    const BoundingBox all = octree.getBounds();
    OctreeBBoxIntersectIt it(octree, all);
    EXPECT_EQ(static_cast<int>(yielded(it).size()), octree.getNumLeaves());
    EXPECT_FALSE(it.get().valid());
    EXPECT_FALSE(it.get().getBox().isValid());
    it.next();
    EXPECT_FALSE(it.valid());

    // An octree without nodes yields nothing; the deepest octree the build makes
    // is walked in full without outgrowing the fixed stack.
    const Octree empty;
    OctreeBBoxIntersectIt none(empty, all);
    EXPECT_FALSE(none.valid());
    std::vector<float> steps;
    float x = 1.0f;
    for (int i = 0; i < 64; ++i, x = std::nextafter(x, 2.0f))
        steps.insert(steps.end(), {x, 1.0f, 1.0f});
    steps.insert(steps.end(), {0.0f, 0.0f, 0.0f});
    const Octree deep(65, steps.data(), testsupport::boxOf(steps), true, 1);
    ASSERT_EQ(deep.getMaxDepth(), Octree::maxDepthLimit);
    const BoundingBox deepAll = deep.getBounds();
    OctreeBBoxIntersectIt walk(deep, deepAll);
    EXPECT_EQ(static_cast<int>(yielded(walk).size()), deep.getNumLeaves());
}
