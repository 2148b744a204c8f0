#include "oxGeom/Quadtree.h"

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Quadtree;
using oxGeom::QuadtreeIterator;

namespace
{
bool inSquare(const BoundingBox& box, const float* p)
{
    return p[0] >= box[0] && p[0] <= box[3] && p[1] >= box[1] && p[1] <= box[4];
}

/// Leaves numbered in slot order, ranges holding each point once, inside its leaf.
std::vector<QuadtreeIterator> checkLeaves(const Quadtree& tree, const std::vector<float>& points)
{
    const std::vector<QuadtreeIterator> leaves = testsupport::allLeaves(tree);
    EXPECT_EQ(static_cast<int>(leaves.size()), tree.getNumLeaves());
    std::vector<int> seen(points.size() / 2, 0);
    for (std::size_t k = 0; k < leaves.size(); ++k)
    {
        EXPECT_EQ(leaves[k].getLeafNumber(), static_cast<int>(k));
        for (int i = leaves[k].getPointBegin(); i < leaves[k].getPointEnd(); ++i)
        {
            const int point = tree.getPointIndices()[i];
            ++seen[point];
            EXPECT_TRUE(inSquare(leaves[k].getBox(), &points[2 * point])) << point;
        }
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<long>(seen.size()));
    return leaves;
}
}  // namespace

TEST(Quadtree, leavesTileTheRootSquare)
{
    std::vector<float> points = testsupport::randomPoints(81, 2000, 2);
    for (std::size_t i = 0; i < points.size(); i += 2)
    {
        points[i] = 10.0f * points[i] * points[i];  // wide in x, crowded at the origin
        points[i + 1] = points[i + 1] * points[i + 1] * points[i + 1];
    }
    const Quadtree tree(2000, points.data(), BoundingBox(), true, 8);
    const std::vector<QuadtreeIterator> leaves = checkLeaves(tree, points);
    const BoundingBox& root = tree.getBounds();
    EXPECT_FLOAT_EQ(root[3] - root[0], root[4] - root[1]);
    EXPECT_EQ(root[2], 0.0f);
    EXPECT_GT(tree.getMaxDepth(), 3);
    double area = 0.0;
    for (const QuadtreeIterator& leaf : leaves)
        area += (double(leaf.getBox()[3]) - leaf.getBox()[0]) *
                (double(leaf.getBox()[4]) - leaf.getBox()[1]);
    EXPECT_NEAR(area, (double(root[3]) - root[0]) * (double(root[4]) - root[1]), 1e-9 * area);
    std::mt19937 rng(82);
    for (int i = 0; i < 200; ++i)
    {
        const float p[2] = {testsupport::uniform(rng, root[0], root[3]),
                            testsupport::uniform(rng, root[1], root[4])};
        EXPECT_EQ(std::count_if(leaves.begin(), leaves.end(),
                                [&](const QuadtreeIterator& l) { return inSquare(l.getBox(), p); }),
                  1);
    }
}

TEST(Quadtree, degenerateInputsAndOmittedChildren)
{
    const std::vector<float> same(2 * 50000, 0.25f);
    const Quadtree identical(50000, same.data(), BoundingBox(), true, 4);
    EXPECT_EQ(identical.getNumLeaves(), 1);
    EXPECT_EQ(identical.getRoot().getPointEnd(), 50000);

    const Quadtree nothing(0, nullptr, BoundingBox(), true, 4);
    EXPECT_EQ(nothing.getNumLeaves(), 0);
    QuadtreeIterator none = nothing.getRoot();
    EXPECT_FALSE(none.valid() || none.descend(0));
    EXPECT_EQ(none.getLeafNumber(), -1);
    EXPECT_EQ(nothing.getLeafBegin(0), 0);

    // Without tiling the empty lower-right and upper-left quarters are absent.
    const std::vector<float> corner = {0.0f, 0.0f, 0.1f, 0.1f, 0.2f, 0.0f, 1.0f, 1.0f};
    const Quadtree sparse(4, corner.data(), BoundingBox(), false, 1);
    for (const QuadtreeIterator& leaf : checkLeaves(sparse, corner))
        EXPECT_EQ(leaf.getPointEnd() - leaf.getPointBegin(), 1);
    QuadtreeIterator root = sparse.getRoot();
    EXPECT_FALSE(root.descend(1) || root.descend(2) || root.descend(4));
    EXPECT_EQ(root, sparse.getRoot());
    EXPECT_TRUE(root.descend(3) && root.isLeaf());
    EXPECT_FALSE(root.descend(0));
}
