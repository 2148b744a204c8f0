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

TEST(OctreeBBoxIntersectIt, yieldsExactlyTheLeavesMeetingTheBoxInWalkOrder)
{
    std::mt19937 rng(111);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& root = octree.getBounds();
        OctreeBBoxIntersectIt it(octree);
        for (int q = 0; q < 40; ++q)
        {
            double lo[3], hi[3];  // boxes of all sizes, some reaching outside the root
            for (int axis = 0; axis < 3; ++axis)
            {
                const float side = root[axis + 3] - root[axis];
                lo[axis] = testsupport::uniform(rng, root[axis] - side / 5, root[axis + 3]);
                hi[axis] = lo[axis] + side * testsupport::uniform(rng, 0.0f, 0.4f);
            }
            const BoundingBox query =
                testsupport::makeBox(lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
            it.reset(query);
            EXPECT_EQ(testsupport::yielded(it),
                      testsupport::expectedWalk(octree, oxLinear::Vector(1, 0, 0),
                                                [&](const BoundingBox& leaf)
                                                { return leaf.intersects(query); }))
                << named.name << " query " << q;
        }
    }
}

TEST(OctreeBBoxIntersectIt, touchingFacesEmptyBoxesAndDeepTrees)
{
    const std::vector<float> points = testsupport::randomPoints(112, 1500, 3);
    const Octree octree(1500, points.data(), testsupport::boxOf(points), true, 8);
    const BoundingBox& r = octree.getBounds();
    // Touching the +x face only: exactly the leaves on that face.
    const BoundingBox touching = testsupport::makeBox(r[3], r[1], r[2], r[3] + 1, r[4], r[5]);
    OctreeBBoxIntersectIt it(octree, touching);
    std::vector<int> got = testsupport::yielded(it), onFace;
    for (const oxGeom::OctreeIterator& leaf : testsupport::allLeaves(octree))
        if (leaf.getBox()[3] == r[3])
            onFace.push_back(leaf.getLeafNumber());
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, onFace);
    EXPECT_GT(onFace.size(), 4u);
    EXPECT_FALSE(it.get().valid());  // past the end: a default iterator
    it.next();
    EXPECT_FALSE(it.valid());
    const float beyond = std::nextafter(r[3], 1e30f);
    const BoundingBox outside = testsupport::makeBox(beyond, r[1], r[2], beyond + 1, r[4], r[5]);
    it.reset(outside);
    EXPECT_FALSE(it.valid());
    const BoundingBox empty;
    it.reset(empty);
    EXPECT_FALSE(it.valid());
    OctreeBBoxIntersectIt idle(octree);  // no query yet
    idle.next();
    EXPECT_FALSE(idle.valid() || idle.get().valid());

    // The deepest tree the build makes is walked in full within the fixed stack.
    std::vector<float> steps = {0.0f, 0.0f, 0.0f};
    for (float x = 1.0f; steps.size() < 3 * 65; x = std::nextafter(x, 2.0f))
        steps.insert(steps.end(), {x, 1.0f, 1.0f});
    const Octree deep(65, steps.data(), testsupport::boxOf(steps), true, 1);
    ASSERT_EQ(deep.getMaxDepth(), Octree::maxDepthLimit);
    const BoundingBox all = deep.getBounds();
    OctreeBBoxIntersectIt walk(deep, all);
    EXPECT_EQ(static_cast<int>(testsupport::yielded(walk).size()), deep.getNumLeaves());
}
