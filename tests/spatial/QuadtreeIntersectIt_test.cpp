#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Quadtree;
using oxGeom::QuadtreeIntersectIt;

namespace
{
std::vector<int> yielded(QuadtreeIntersectIt& it)
{
    std::vector<int> numbers;
    for (; it.valid(); it.next())
        numbers.push_back(it.get().getLeafNumber());
    return numbers;
}

BoundingBox box2D(float x0, float y0, float x1, float y1)
{
    const double values[6] = {x0, y0, 0, x1, y1, 0};
    return BoundingBox(values);
}
}  // namespace

TEST(QuadtreeIntersectIt, yieldsExactlyTheLeavesMeetingTheBoxInSlotOrder)
{
    std::vector<float> points = testsupport::randomPoints(181, 3000, 2, 0.0f, 4.0f);
    for (std::size_t i = 0; i < points.size(); i += 2)
        points[i] = points[i] * points[i] * 0.25f;  // crowd towards x = 0
    for (bool tiled : {true, false})
    {
        const Quadtree tree(3000, points.data(), BoundingBox(), tiled, 6);
        // allLeaves walks slot order 0..3 depth-first: the order to expect.
        const std::vector<oxGeom::QuadtreeIterator> leaves = testsupport::allLeaves(tree);
        std::mt19937 rng(182);
        QuadtreeIntersectIt it;
        for (int q = 0; q < 60; ++q)
        {
            const float x = testsupport::uniform(rng, -1, 5), y = testsupport::uniform(rng, -1, 5);
            const BoundingBox query = box2D(x, y, x + testsupport::uniform(rng, 0, 2),
                                            y + testsupport::uniform(rng, 0, 2));
            it.reset(tree, query);
            std::vector<int> expected;
            for (const oxGeom::QuadtreeIterator& leaf : leaves)
                if (leaf.getBox().intersects2D(query))
                    expected.push_back(leaf.getLeafNumber());
            EXPECT_EQ(yielded(it), expected) << "query " << q;
        }
        // A box touching the root only at its corner yields the corner leaf.
        const BoundingBox& root = tree.getBounds();
        const BoundingBox corner = box2D(root[3], root[4], root[3] + 1, root[4] + 1);
        it.reset(tree, corner);
        if (tiled)
        {
            ASSERT_TRUE(it.valid());
            EXPECT_EQ(it.get().getBox()[3], root[3]);
            EXPECT_EQ(it.get().getBox()[4], root[4]);
            it.next();
            EXPECT_FALSE(it.valid());
        }
    }
}

TEST(QuadtreeIntersectIt, disjointRootLeafAndIdle)
{
    const std::vector<float> points = testsupport::randomPoints(183, 200, 2);
    const Quadtree tree(200, points.data(), BoundingBox(), true, 4);
    const BoundingBox away = box2D(2, 2, 3, 3);
    QuadtreeIntersectIt it(tree, away);
    EXPECT_FALSE(it.valid());
    EXPECT_FALSE(it.get().valid());
    it.next();
    EXPECT_FALSE(it.valid());
    const BoundingBox empty;
    it.reset(tree, empty);
    EXPECT_FALSE(it.valid());

    const float lone[2] = {0.5f, 0.5f};
    const Quadtree single(1, lone, box2D(0, 0, 1, 1), true, 4);
    const BoundingBox all = box2D(0, 0, 1, 1);
    it.reset(single, all);
    ASSERT_TRUE(it.valid());
    EXPECT_EQ(it.get(), single.getRoot());
    it.next();
    EXPECT_FALSE(it.valid());

    QuadtreeIntersectIt idle;
    EXPECT_FALSE(idle.valid());
    EXPECT_FALSE(idle.get().valid());
    idle.next();
    EXPECT_FALSE(idle.valid());
}
