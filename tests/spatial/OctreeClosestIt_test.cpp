#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <random>
#include <set>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeClosestIt;
using oxLinear::Point;
using oxLinear::PointFlt;

TEST(OctreeClosestIt, yieldsEveryLeafByNonDecreasingDistance)
{
    std::mt19937 rng(171);
    OctreeClosestIt it;  // one iterator reset across octrees and points
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& r = octree.getBounds();
        const float side = r[3] - r[0];
        for (int q = 0; q < 12; ++q)
        {
            const Point p(testsupport::uniform(rng, r[0] - side, r[3] + side),
                          testsupport::uniform(rng, r[1] - side, r[4] + side),
                          testsupport::uniform(rng, r[2] - side, r[5] + side));
            it.reset(octree, p);
            // Inside the root, the first leaf holds the point at distance 0.
            if (r.contains(PointFlt(p)))
            {
                EXPECT_EQ(it.getDistance2(), 0.0);
                EXPECT_TRUE(it.get().getBox().contains(PointFlt(p)));
            }
            std::set<int> seen;
            double previous = 0.0;
            for (; it.valid(); it.next())
            {
                EXPECT_TRUE(seen.insert(it.get().getLeafNumber()).second) << "leaf twice";
                EXPECT_EQ(it.getDistance2(), it.get().getBox().distance2(PointFlt(p)));
                EXPECT_GE(it.getDistance2(), previous) << named.name;
                previous = it.getDistance2();
            }
            EXPECT_EQ(static_cast<int>(seen.size()), octree.getNumLeaves()) << named.name;
            EXPECT_EQ(it.getDistance2(), DBL_MAX);
            EXPECT_FALSE(it.get().valid());
        }
    }
}

TEST(OctreeClosestIt, prunedWalkFindsTheNearestVertexLocally)
{
    const oxGeom::CompactMesh sphere = fixtures::icosphere(4, 1.0f);
    const float* v = sphere.getVerticesRaw();
    const int n = sphere.getNumVertices();
    const Octree octree(n, v, BoundingBox(), true, 16);
    std::mt19937 rng(172);
    OctreeClosestIt it;
    for (int q = 0; q < 100; ++q)
    {
        oxLinear::Vector d(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                           testsupport::uniform(rng, -1, 1));
        const Point p(d.normalized() * testsupport::uniform(rng, 0.9f, 1.1f));  // near the surface
        auto distance2 = [&](int i) { return oxLinear::distance2(p, Point(PointFlt(v + 3 * i))); };
        double brute = DBL_MAX, best = DBL_MAX;
        for (int i = 0; i < n; ++i)
            brute = std::min(brute, distance2(i));
        int visited = 0;
        for (it.reset(octree, p); it.valid() && it.getDistance2() < best; it.next(), ++visited)
            for (int k = it.get().getPointBegin(); k < it.get().getPointEnd(); ++k)
                best = std::min(best, distance2(octree.getPointIndices()[k]));
        EXPECT_EQ(best, brute) << "query " << q;
        EXPECT_LT(visited, octree.getNumLeaves() / 4);
    }
}

TEST(OctreeClosestIt, equalDistancesFollowTheHeapRule)
{
    // One point per octant of [-1, 1]^3, leaf size 1: eight leaf children, all
    // at distance 0 from the centre. Pushed in slot order, the first stays on
    // top; each removal lifts the last entry, which no equal child displaces.
    std::vector<float> points;
    for (int s = 0; s < 8; ++s)
        points.insert(points.end(),
                      {s & 1 ? 0.5f : -0.5f, s & 2 ? 0.5f : -0.5f, s & 4 ? 0.5f : -0.5f});
    const Octree octree(8, points.data(), testsupport::makeBox(-1, -1, -1, 1, 1, 1), true, 1);
    ASSERT_EQ(octree.getNumLeaves(), 8);
    OctreeClosestIt it(octree, Point(0, 0, 0));
    EXPECT_EQ(testsupport::yielded(it), (std::vector<int>{0, 7, 6, 5, 4, 3, 2, 1}));
    // Off centre towards +x: the four upper-x leaves (distance 0) first.
    it.reset(octree, Point(0.25, 0, 0));
    std::vector<int> firstFour;
    for (int k = 0; k < 4; ++k, it.next())
        firstFour.push_back(it.get().getLeafNumber());
    std::sort(firstFour.begin(), firstFour.end());
    EXPECT_EQ(firstFour, (std::vector<int>{1, 3, 5, 7}));
    EXPECT_DOUBLE_EQ(it.getDistance2(), 0.0625);

    OctreeClosestIt idle;
    EXPECT_FALSE(idle.valid() || idle.get().valid());
    EXPECT_EQ(idle.getDistance2(), DBL_MAX);
    idle.next();
    const Octree empty;
    idle.reset(empty, Point(1, 2, 3));
    EXPECT_FALSE(idle.valid());
}
