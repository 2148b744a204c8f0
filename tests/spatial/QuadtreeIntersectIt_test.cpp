#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Quadtree;
using oxGeom::QuadtreeIntersectIt;

TEST(QuadtreeIntersectIt, yieldsExactlyTheLeavesMeetingTheBoxInSlotOrder)
{
    std::vector<float> points = testsupport::randomPoints(181, 3000, 2, 0.0f, 4.0f);
    for (std::size_t i = 0; i < points.size(); i += 2)
        points[i] = points[i] * points[i] * 0.25f;  // crowd towards x = 0
    std::mt19937 rng(182);
    for (bool tiled : {true, false})
    {
        const Quadtree tree(3000, points.data(), BoundingBox(), tiled, 6);
        const std::vector<oxGeom::QuadtreeIterator> leaves = testsupport::allLeaves(tree);
        QuadtreeIntersectIt it;
        for (int q = 0; q < 60; ++q)
        {
            const float x = testsupport::uniform(rng, -1, 5), y = testsupport::uniform(rng, -1, 5);
            const BoundingBox query =
                testsupport::makeBox(x, y, 7, x + testsupport::uniform(rng, 0, 2),
                                     y + testsupport::uniform(rng, 0, 2), 7);
            it.reset(tree, query);
            std::vector<int> expected;  // allLeaves runs in slot order 0..3
            for (const oxGeom::QuadtreeIterator& leaf : leaves)
                if (leaf.getBox().intersects2D(query))
                    expected.push_back(leaf.getLeafNumber());
            EXPECT_EQ(testsupport::yielded(it), expected) << "query " << q;
        }
    }
}

TEST(QuadtreeIntersectIt, cornerContactDisjointRootLeafAndIdle)
{
    const std::vector<float> points = testsupport::randomPoints(183, 200, 2);
    const Quadtree tree(200, points.data(), BoundingBox(), true, 4);
    const BoundingBox& r = tree.getBounds();
    const BoundingBox corner = testsupport::makeBox(r[3], r[4], 0, r[3] + 1, r[4] + 1, 0);
    QuadtreeIntersectIt it(tree, corner);  // touching at one corner: that corner's leaf
    ASSERT_TRUE(it.valid());
    EXPECT_TRUE(it.get().getBox()[3] == r[3] && it.get().getBox()[4] == r[4]);
    it.next();
    EXPECT_FALSE(it.valid() || it.get().valid());
    const BoundingBox away = testsupport::makeBox(2, 2, 0, 3, 3, 0), empty;
    it.reset(tree, away);  // disjoint: not valid right away
    EXPECT_FALSE(it.valid());
    it.next();
    it.reset(tree, empty);
    EXPECT_FALSE(it.valid());

    const float lone[2] = {0.5f, 0.5f};
    const Quadtree single(1, lone, testsupport::makeBox(0, 0, 0, 1, 1, 0), true, 4);
    const BoundingBox all = testsupport::makeBox(0, 0, 0, 1, 1, 0);
    it.reset(single, all);
    EXPECT_EQ(it.get(), single.getRoot());
    it.next();
    EXPECT_FALSE(it.valid());
    QuadtreeIntersectIt idle;
    idle.next();
    EXPECT_FALSE(idle.valid() || idle.get().valid());
}
