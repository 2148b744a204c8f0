#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <limits>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeIterator;
using oxGeom::OctreeRayIntersectIt;
using oxGeom::Ray;
using oxLinear::PointFlt;
using oxLinear::Vector;

namespace
{
/// Where the ray enters the closed box, in double: max(0, entry parameter).
double entryParam(const PointFlt& o, const Vector& d, const BoundingBox& box)
{
    double tNear = 0.0;
    for (int axis = 0; axis < 3; ++axis)
        if (d[axis] != 0.0)
        {
            const double t0 = (box[axis] - static_cast<double>(o[axis])) / d[axis];
            const double t1 = (box[axis + 3] - static_cast<double>(o[axis])) / d[axis];
            tNear = std::max(tNear, std::min(t0, t1));
        }
    return tNear;
}
}  // namespace

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
            // Origins inside and around the root, directions towards a random
            // point of the root (so most rays hit), some axis-parallel.
            PointFlt origin, target;
            for (int axis = 0; axis < 3; ++axis)
            {
                const float side = root[axis + 3] - root[axis];
                origin[axis] = testsupport::uniform(rng, root[axis] - side, root[axis + 3] + side);
                target[axis] = testsupport::uniform(rng, root[axis], root[axis + 3]);
            }
            Vector direction(target - origin);
            if (q % 6 == 0)
                direction[q % 3] = 0.0;
            const Ray ray(origin, direction);
            it.reset(ray);
            const std::vector<int> expected = testsupport::expectedWalk(
                octree, direction,
                [&](const BoundingBox& leaf) { return ray.intersects(leaf, 0.0f, FLT_MAX); });
            std::vector<double> entries;
            std::vector<int> got;
            for (; it.valid(); it.next())
            {
                got.push_back(it.get().getLeafNumber());
                entries.push_back(entryParam(origin, direction, it.get().getBox()));
            }
            EXPECT_EQ(got, expected) << named.name << " ray " << q;
            for (std::size_t k = 1; k < entries.size(); ++k)
                EXPECT_GE(entries[k], entries[k - 1] - 1e-5) << named.name << " ray " << q;
            raysHitting += got.empty() ? 0 : 1;
        }
        EXPECT_GT(raysHitting, 40) << named.name;
    }
}

TEST(OctreeRayIntersectIt, originInsideFirstAwayNothingAndRootLeaf)
{
    const std::vector<float> points = testsupport::randomPoints(132, 2000, 3);
    const Octree octree(2000, points.data(), testsupport::boxOf(points), true, 8);
    const BoundingBox& root = octree.getBounds();

    // From inside: the leaf holding the origin comes first.
    std::mt19937 rng(133);
    for (int q = 0; q < 50; ++q)
    {
        const PointFlt origin(testsupport::uniform(rng, root[0], root[3]),
                              testsupport::uniform(rng, root[1], root[4]),
                              testsupport::uniform(rng, root[2], root[5]));
        const Vector direction(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                               testsupport::uniform(rng, -1, 1));
        const Ray ray(origin, direction);
        OctreeRayIntersectIt it(octree, ray);
        ASSERT_TRUE(it.valid());
        EXPECT_TRUE(it.get().getBox().contains(origin)) << "ray " << q;
    }

    // Beyond the root and pointing away: nothing, although the line meets it.
    const PointFlt outside(root[3] + 1.0f, 0.5f * (root[1] + root[4]), 0.5f * (root[2] + root[5]));
    const Vector away(1.0, 0.0, 0.0);
    const Ray leaving(outside, away);
    OctreeRayIntersectIt it(octree, leaving);
    EXPECT_FALSE(it.valid());
    EXPECT_FALSE(it.get().valid());
    const Vector back(-1.0, 0.0, 0.0);
    const Ray entering(outside, back);
    it.reset(entering);
    EXPECT_TRUE(it.valid());
    // Its first leaf lies on the +x face, the last on the -x face.
    EXPECT_EQ(it.get().getBox()[3], root[3]);
    OctreeIterator last;
    for (; it.valid(); it.next())
        last = it.get();
    EXPECT_EQ(last.getBox()[0], root[0]);

    // A root that is a leaf is yielded alone.
    const float lone[3] = {0, 0, 0};
    const Octree single(1, lone, BoundingBox(lone, 1.0f), true, 16);
    OctreeRayIntersectIt one(single, entering);
    const PointFlt centre(0, 0, 0);
    const Ray fromCentre(centre, away);
    one.reset(fromCentre);
    ASSERT_TRUE(one.valid());
    EXPECT_EQ(one.get(), single.getRoot());
    one.next();
    EXPECT_FALSE(one.valid());

    OctreeRayIntersectIt idle(octree);
    EXPECT_FALSE(idle.valid());
    idle.next();
    EXPECT_FALSE(idle.get().valid());
}
