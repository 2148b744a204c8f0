#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeRayIntersectIt;
using oxGeom::Ray;
using oxLinear::PointFlt;
using oxLinear::Vector;

TEST(OctreeRayIntersectIt, yieldsTheLeavesTheRayMeetsFrontToBack)
{
    std::mt19937 rng(131);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& root = octree.getBounds();
        OctreeRayIntersectIt it(octree);
        int raysHitting = 0;
        for (int q = 0; q < 60; ++q)
        {
            // From in and around the root towards a point of it; some axis-parallel.
            PointFlt origin, target;
            for (int axis = 0; axis < 3; ++axis)
            {
                const float side = root[axis + 3] - root[axis];
                origin[axis] = testsupport::uniform(rng, root[axis] - side, root[axis + 3] + side);
                target[axis] = testsupport::uniform(rng, root[axis], root[axis + 3]);
            }
            Vector d(target - origin);
            if (q % 6 == 0)
                d[q % 3] = 0.0;
            const Ray ray(origin, d);
            it.reset(ray);
            const std::vector<int> expected = testsupport::expectedWalk(
                octree, d,
                [&](const BoundingBox& leaf) { return ray.intersects(leaf, 0.0f, FLT_MAX); });
            std::vector<int> got;
            double previousEntry = 0.0;
            for (; it.valid(); it.next())
            {
                got.push_back(it.get().getLeafNumber());
                // Front to back: where the ray enters each leaf never moves back.
                const oxGeom::OctreeIterator leaf = it.get();
                const BoundingBox& box = leaf.getBox();
                double entry = 0.0;
                for (int axis = 0; axis < 3; ++axis)
                    if (d[axis] != 0.0)
                        entry = std::max(
                            entry, std::min((box[axis] - double(origin[axis])) / d[axis],
                                            (box[axis + 3] - double(origin[axis])) / d[axis]));
                EXPECT_GE(entry, previousEntry - 1e-5) << named.name << " ray " << q;
                previousEntry = entry;
            }
            EXPECT_EQ(got, expected) << named.name << " ray " << q;
            raysHitting += got.empty() ? 0 : 1;
        }
        EXPECT_GT(raysHitting, 40) << named.name;
    }
}

TEST(OctreeRayIntersectIt, originInsideComesFirstPointingAwayYieldsNothing)
{
    const std::vector<float> points = testsupport::randomPoints(132, 2000, 3);
    const Octree octree(2000, points.data(), testsupport::boxOf(points), true, 8);
    const BoundingBox& root = octree.getBounds();
    std::mt19937 rng(133);
    for (int q = 0; q < 50; ++q)
    {
        const PointFlt origin(testsupport::uniform(rng, root[0], root[3]),
                              testsupport::uniform(rng, root[1], root[4]),
                              testsupport::uniform(rng, root[2], root[5]));
        const Vector d(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                       testsupport::uniform(rng, -1, 1));
        const Ray ray(origin, d);
        OctreeRayIntersectIt it(octree, ray);
        ASSERT_TRUE(it.valid());
        EXPECT_TRUE(it.get().getBox().contains(origin)) << "ray " << q;
    }
    // Beyond the +x face: pointing away gives nothing, although the line meets
    // the root; pointing back runs from the +x face to the -x face.
    const PointFlt outside(root[3] + 1.0f, 0.5f * (root[1] + root[4]), 0.5f * (root[2] + root[5]));
    const Vector away(1.0, 0.0, 0.0), back(-1.0, 0.0, 0.0);
    const Ray leaving(outside, away), entering(outside, back);
    OctreeRayIntersectIt it(octree, leaving);
    EXPECT_FALSE(it.valid() || it.get().valid());
    it.reset(entering);
    ASSERT_TRUE(it.valid());
    EXPECT_EQ(it.get().getBox()[3], root[3]);
    oxGeom::OctreeIterator last;
    for (; it.valid(); it.next())
        last = it.get();
    EXPECT_EQ(last.getBox()[0], root[0]);
    OctreeRayIntersectIt idle(octree);
    idle.next();
    EXPECT_FALSE(idle.valid());
}
