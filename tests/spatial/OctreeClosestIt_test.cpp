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
        const BoundingBox& root = octree.getBounds();
        const float side = root[3] - root[0];
        for (int q = 0; q < 12; ++q)
        {
            const Point p(testsupport::uniform(rng, root[0] - side, root[3] + side),
                          testsupport::uniform(rng, root[1] - side, root[4] + side),
                          testsupport::uniform(rng, root[2] - side, root[5] + side));
            it.reset(octree, p);
            std::set<int> seen;
            double previous = -1.0;
            bool first = true;
            for (; it.valid(); it.next())
            {
                const oxGeom::OctreeIterator leaf = it.get();
                ASSERT_TRUE(leaf.isLeaf());
                EXPECT_TRUE(seen.insert(leaf.getLeafNumber()).second) << "leaf twice";
                EXPECT_EQ(it.getDistance2(), leaf.getBox().distance2(PointFlt(p)));
                EXPECT_GE(it.getDistance2(), previous) << named.name;
                if (first && root.contains(PointFlt(p)))
                {
                    EXPECT_EQ(it.getDistance2(), 0.0);
                    EXPECT_TRUE(leaf.getBox().contains(PointFlt(p)));
                }
                previous = it.getDistance2();
                first = false;
            }
            EXPECT_EQ(static_cast<int>(seen.size()), octree.getNumLeaves()) << named.name;
            EXPECT_EQ(it.getDistance2(), DBL_MAX);
        }
    }
}

TEST(OctreeClosestIt, prunedWalkFindsTheNearestPoint)
{
    const oxGeom::CompactMesh sphere = fixtures::icosphere(4, 1.0f);
    const float* v = sphere.getVerticesRaw();
    const int n = sphere.getNumVertices();
    const std::vector<float> points(v, v + 3 * n);
    const Octree octree(n, v, testsupport::boxOf(points), true, 16);
    std::mt19937 rng(172);
    OctreeClosestIt it;
    for (int q = 0; q < 100; ++q)
    {
        // Queries near the surface, where a pruned walk should stay local.
        oxLinear::Vector direction(testsupport::uniform(rng, -1, 1),
                                   testsupport::uniform(rng, -1, 1),
                                   testsupport::uniform(rng, -1, 1));
        direction.normalize();
        const Point p(direction * testsupport::uniform(rng, 0.9f, 1.1f));
        auto distance2 = [&](int i)
        { return oxLinear::distance2(p, Point(v[3 * i], v[3 * i + 1], v[3 * i + 2])); };
        double brute = DBL_MAX;
        for (int i = 0; i < n; ++i)
            brute = std::min(brute, distance2(i));
        double best = DBL_MAX;
        int leavesVisited = 0;
        for (it.reset(octree, p); it.valid() && it.getDistance2() < best; it.next())
        {
            ++leavesVisited;
            for (int k = it.get().getPointBegin(); k < it.get().getPointEnd(); ++k)
                best = std::min(best, distance2(octree.getPointIndices()[k]));
        }
        EXPECT_EQ(best, brute) << "query " << q;
        EXPECT_LT(leavesVisited, octree.getNumLeaves() / 4);
    }
}

TEST(OctreeClosestIt, equalDistancesFollowTheHeapRule)
{
    // One point per octant of [-1, 1]^3 and leaf size 1: the root has eight
    // leaf children, all at distance 0 from the centre. They are pushed in slot
    // order; the first stays on top, and each removal moves the last entry up.
    std::vector<float> points;
    for (int slot = 0; slot < 8; ++slot)
        points.insert(points.end(), {(slot & 1) ? 0.5f : -0.5f, (slot & 2) ? 0.5f : -0.5f,
                                     (slot & 4) ? 0.5f : -0.5f});
    const double cube[6] = {-1, -1, -1, 1, 1, 1};
    const Octree octree(8, points.data(), BoundingBox(cube), true, 1);
    ASSERT_EQ(octree.getNumLeaves(), 8);
    OctreeClosestIt it(octree, Point(0, 0, 0));
    std::vector<int> order;
    for (; it.valid(); it.next())
    {
        EXPECT_EQ(it.getDistance2(), 0.0);
        order.push_back(it.get().getLeafNumber());
    }
    EXPECT_EQ(order, (std::vector<int>{0, 7, 6, 5, 4, 3, 2, 1}));

    // Off centre towards +x: the four upper-x leaves (distance 0) first.
    it.reset(octree, Point(0.25, 0, 0));
    std::vector<int> firstFour;
    for (int k = 0; k < 4; ++k, it.next())
        firstFour.push_back(it.get().getLeafNumber());
    std::sort(firstFour.begin(), firstFour.end());
    EXPECT_EQ(firstFour, (std::vector<int>{1, 3, 5, 7}));
    EXPECT_DOUBLE_EQ(it.getDistance2(), 0.0625);
}

TEST(OctreeClosestIt, invalidStatesAreSafe)
{
    OctreeClosestIt idle;
    EXPECT_FALSE(idle.valid());
    EXPECT_FALSE(idle.get().valid());
    EXPECT_EQ(idle.getDistance2(), DBL_MAX);
    idle.next();
    EXPECT_FALSE(idle.valid());
    const Octree empty;
    idle.reset(empty, Point(1, 2, 3));
    EXPECT_FALSE(idle.valid());
    const float lone[3] = {1, 2, 3};
    const Octree single(1, lone, BoundingBox(), true, 16);
    idle.reset(single, Point(10, 2, 3));
    ASSERT_TRUE(idle.valid());
    EXPECT_EQ(idle.get(), single.getRoot());
    EXPECT_DOUBLE_EQ(idle.getDistance2(), 81.0);
    idle.next();
    EXPECT_FALSE(idle.valid());
}
