#include "oxGeom/Quadtree.h"

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Quadtree;
using oxGeom::QuadtreeIterator;
using testsupport::allLeaves;

namespace
{
double area(const BoundingBox& box)
{
    return (static_cast<double>(box[3]) - box[0]) * (static_cast<double>(box[4]) - box[1]);
}

bool inSquare(const BoundingBox& box, const float* p)
{
    return p[0] >= box[0] && p[0] <= box[3] && p[1] >= box[1] && p[1] <= box[4];
}

/// Leaf numbers once each, ranges a permutation, points inside their leaves.
void expectConsistent(const Quadtree& tree, const std::vector<float>& points)
{
    const std::vector<QuadtreeIterator> leaves = allLeaves(tree);
    ASSERT_EQ(static_cast<int>(leaves.size()), tree.getNumLeaves());
    std::vector<int> seenPoint(points.size() / 2, 0);
    std::vector<int> numbers;
    for (const QuadtreeIterator& leaf : leaves)
    {
        numbers.push_back(leaf.getLeafNumber());
        for (int i = leaf.getPointBegin(); i < leaf.getPointEnd(); ++i)
        {
            const int point = tree.getPointIndices()[i];
            ++seenPoint[point];
            EXPECT_TRUE(inSquare(leaf.getBox(), &points[2 * point])) << "point " << point;
        }
    }
    // Depth-first in slot order is also the numbering order.
    for (std::size_t k = 0; k < numbers.size(); ++k)
        EXPECT_EQ(numbers[k], static_cast<int>(k));
    for (int n : seenPoint)
        EXPECT_EQ(n, 1);
}
}  // namespace

TEST(Quadtree, leavesTileTheRootSquare)
{
    // Points crowded towards one corner, on a wide, flat extent.
    std::vector<float> points = testsupport::randomPoints(81, 2000, 2);
    for (std::size_t i = 0; i < points.size(); i += 2)
    {
        points[i] = 10.0f * points[i] * points[i];
        points[i + 1] = points[i + 1] * points[i + 1] * points[i + 1];
    }
    BoundingBox bounds;
    for (std::size_t i = 0; i < points.size(); i += 2)
        bounds.extend(oxLinear::PointFlt(points[i], points[i + 1], 0.0f));
    const Quadtree tree(2000, points.data(), bounds, true, 8);
    expectConsistent(tree, points);

    const BoundingBox& root = tree.getBounds();
    EXPECT_FLOAT_EQ(root[3] - root[0], root[4] - root[1]);
    EXPECT_TRUE(root[0] <= bounds[0] && root[3] >= bounds[3]);
    EXPECT_EQ(root[2], 0.0f);
    double sum = 0.0;
    const std::vector<QuadtreeIterator> leaves = allLeaves(tree);
    for (const QuadtreeIterator& leaf : leaves)
        sum += area(leaf.getBox());
    EXPECT_NEAR(sum, area(root), 1e-9 * sum);
    std::mt19937 rng(82);
    for (int i = 0; i < 200; ++i)
    {
        const float p[2] = {testsupport::uniform(rng, root[0], root[3]),
                            testsupport::uniform(rng, root[1], root[4])};
        int holders = 0;
        for (const QuadtreeIterator& leaf : leaves)
            holders += inSquare(leaf.getBox(), p) ? 1 : 0;
        EXPECT_EQ(holders, 1);
    }
    EXPECT_GT(tree.getMaxDepth(), 3);
}

TEST(Quadtree, degenerateInputsStayShallowAndSafe)
{
    const std::vector<float> same(2 * 50000, 0.25f);
    const Quadtree identical(50000, same.data(), BoundingBox(), true, 4);
    EXPECT_EQ(identical.getNumLeaves(), 1);
    EXPECT_EQ(identical.getMaxDepth(), 0);
    EXPECT_EQ(identical.getRoot().getPointEnd(), 50000);

    const Quadtree nothing(0, nullptr, BoundingBox(), true, 4);
    EXPECT_EQ(nothing.getNumLeaves(), 0);
    EXPECT_FALSE(nothing.getRoot().valid());
    QuadtreeIterator none = nothing.getRoot();
    EXPECT_FALSE(none.descend(0));
    EXPECT_EQ(none.getLeafNumber(), -1);
    EXPECT_EQ(nothing.getLeafBegin(0), 0);

    // Empty tiles are omitted without tiling; descending into them fails.
    const std::vector<float> corner = {0.0f, 0.0f, 0.1f, 0.1f, 0.2f, 0.0f, 1.0f, 1.0f};
    const Quadtree sparse(4, corner.data(), BoundingBox(), false, 1);
    expectConsistent(sparse, corner);
    for (const QuadtreeIterator& leaf : allLeaves(sparse))
        EXPECT_EQ(leaf.getPointEnd() - leaf.getPointBegin(), 1);
    QuadtreeIterator root = sparse.getRoot();
    EXPECT_FALSE(root.descend(1));  // the lower right quarter is empty
    EXPECT_EQ(root, sparse.getRoot());
    EXPECT_FALSE(root.descend(4));
    EXPECT_TRUE(root.descend(3));
    EXPECT_TRUE(root.isLeaf());
    EXPECT_FALSE(root.descend(0));
}
