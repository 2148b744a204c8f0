#include "oxGeom/Octree.h"

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeIterator;
using testsupport::allLeaves;

namespace
{
bool inBox(const BoundingBox& box, const float* p)
{
    return box.contains(oxLinear::PointFlt(p));
}

/// The invariants of every octree: leaf numbers 0..L-1 once each, ranges that
/// hold a permutation of the points, points inside their leaf (when inside
/// the root), no overfull leaf unless the depth limit or equal points stopped
/// it. Returns the leaves.
std::vector<OctreeIterator> checkLeaves(const Octree& octree, const std::vector<float>& points,
                                        int leafSize)
{
    const std::vector<OctreeIterator> leaves = allLeaves(octree);
    EXPECT_EQ(static_cast<int>(leaves.size()), octree.getNumLeaves());
    std::vector<int> pointSeen(points.size() / 3, 0);
    int depth = 0;
    for (std::size_t k = 0; k < leaves.size(); ++k)
    {
        const OctreeIterator& leaf = leaves[k];
        EXPECT_EQ(leaf.getLeafNumber(), static_cast<int>(k));  // slot-order numbering
        EXPECT_EQ(leaf.getPointBegin(), k == 0 ? 0 : leaves[k - 1].getPointEnd());
        depth = std::max(depth, leaf.getDepth());
        const int* range = octree.getPointIndices() + leaf.getPointBegin();
        const int count = leaf.getPointEnd() - leaf.getPointBegin();
        bool allSame = true;
        for (int i = 0; i < count; ++i)
        {
            const float* p = &points[3 * range[i]];
            ++pointSeen[range[i]];
            EXPECT_TRUE(!inBox(octree.getBounds(), p) || inBox(leaf.getBox(), p));
            allSame = allSame && std::equal(p, p + 3, &points[3 * range[0]]);
        }
        EXPECT_TRUE(count <= leafSize || allSame || leaf.getDepth() == Octree::maxDepthLimit);
    }
    EXPECT_EQ(depth, octree.getMaxDepth());
    EXPECT_EQ(std::count(pointSeen.begin(), pointSeen.end(), 1),
              static_cast<long>(pointSeen.size()));
    return leaves;
}

int leavesHolding(const std::vector<OctreeIterator>& leaves, const float* p)
{
    return static_cast<int>(std::count_if(leaves.begin(), leaves.end(),
                                          [&](const OctreeIterator& l)
                                          { return inBox(l.getBox(), p); }));
}
}  // namespace

TEST(Octree, leavesTileTheRootAndHoldEveryPointOnce)
{
    // Uniform points with a tight cluster (many empty cells), and a flat grid.
    std::vector<float> mixed = testsupport::randomPoints(11, 3000, 3, -2.0f, 5.0f);
    const std::vector<float> cluster = testsupport::randomPoints(12, 500, 3, 0.0f, 1e-3f);
    mixed.insert(mixed.end(), cluster.begin(), cluster.end());
    const oxGeom::CompactMesh grid = fixtures::gridMesh(200, 50);
    const float* v = grid.getVerticesRaw();
    for (const std::vector<float>& points :
         {mixed, std::vector<float>(v, v + 3 * grid.getNumVertices())})
    {
        const Octree octree(static_cast<int>(points.size() / 3), points.data(),
                            testsupport::boxOf(points), true, 16);
        const std::vector<OctreeIterator> leaves = checkLeaves(octree, points, 16);
        const BoundingBox& root = octree.getBounds();
        auto volume = [](const BoundingBox& b)
        { return (double(b[3]) - b[0]) * (double(b[4]) - b[1]) * (double(b[5]) - b[2]); };
        double sum = 0.0;
        for (const OctreeIterator& leaf : leaves)
            sum += volume(leaf.getBox());
        EXPECT_NEAR(sum, volume(root), 1e-9 * sum);
        // Random points of the root lie in exactly one leaf, its corners too,
        // and its centre in the eight leaves that meet there.
        std::mt19937 rng(13);
        for (int i = 0; i < 200; ++i)
        {
            float p[3];
            for (int axis = 0; axis < 3; ++axis)
                p[axis] = testsupport::uniform(rng, root[axis], root[axis + 3]);
            EXPECT_EQ(leavesHolding(leaves, p), 1);
        }
        float p[3];
        for (int corner = 0; corner < 8; ++corner)
        {
            root.getPoint(corner, p);
            EXPECT_EQ(leavesHolding(leaves, p), 1) << "corner " << corner;
        }
        for (int axis = 0; axis < 3; ++axis)
            p[axis] = Octree::splitValue(root[axis], root[axis + 3]);
        EXPECT_EQ(leavesHolding(leaves, p), 8);
    }
    // The grid is 200 x 50 x 0: the cube root keeps cells square and shallow.
    const Octree flat(grid.getNumVertices(), v, BoundingBox(), true, 16);
    EXPECT_FLOAT_EQ(flat.getBounds()[5] - flat.getBounds()[2], 200.0f);
    EXPECT_LE(flat.getMaxDepth(), 7);
}

TEST(Octree, stopRulesBoundTheDepth)
{
    // 10^5 equal points: no split separates them, the root stays a leaf.
    const std::vector<float> same(3 * 100000, 0.5f);
    const Octree identical(100000, same.data(), testsupport::boxOf(same), true, 16);
    EXPECT_EQ(identical.getNumLeaves(), 1);
    checkLeaves(identical, same, 16);

    // Equal points beside scattered ones: split only until they stand apart.
    std::vector<float> pile(3 * 20000, 0.3f);
    const std::vector<float> scatter = testsupport::randomPoints(21, 50, 3);
    pile.insert(pile.end(), scatter.begin(), scatter.end());
    const Octree piled(20050, pile.data(), testsupport::boxOf(pile), true, 16);
    EXPECT_LE(piled.getMaxDepth(), 8);
    checkLeaves(piled, pile, 16);

    // Points one float step apart cannot be separated: the depth limit stops them.
    std::vector<float> steps = {0.0f, 0.0f, 0.0f};
    for (float x = 1.0f; steps.size() < 3 * 41; x = std::nextafter(x, 2.0f))
        steps.insert(steps.end(), {x, 1.0f, 1.0f});
    const Octree tiny(41, steps.data(), testsupport::boxOf(steps), true, 4);
    EXPECT_EQ(tiny.getMaxDepth(), Octree::maxDepthLimit);
    checkLeaves(tiny, steps, 4);
}

TEST(Octree, emptyDegenerateAndOutOfBoundsInputs)
{
    const BoundingBox unit = testsupport::makeBox(0, 0, 0, 1, 1, 1);
    const Octree none(0, nullptr, unit, true, 16);  // one empty leaf
    EXPECT_EQ(none.getNumLeaves(), 1);
    EXPECT_TRUE(none.getRoot().isLeaf());
    EXPECT_EQ(Octree(-5, unit.data(), unit, true, 16).getNumPoints(), 0);
    for (const Octree& empty : {Octree(), Octree(0, nullptr, BoundingBox(), true, 16)})
    {
        EXPECT_EQ(empty.getNumLeaves(), 0);
        EXPECT_FALSE(empty.getRoot().valid());
        EXPECT_EQ(empty.getLeafEnd(0), 0);
    }
    // Empty bounds: the points' own box. A leaf size below 1 counts as 1.
    const std::vector<float> points = testsupport::randomPoints(31, 100, 3, 4.0f, 6.0f);
    const Octree own(100, points.data(), BoundingBox(), true, 0);
    EXPECT_TRUE(own.getBounds().contains(testsupport::boxOf(points)));
    checkLeaves(own, points, 1);
    EXPECT_EQ(own.getLeafBegin(own.getNumLeaves()), 0);

    // Points outside the bounds land in the boundary cells on their side; NaN
    // counts as below every split.
    std::vector<float> outside = testsupport::randomPoints(32, 200, 3);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    outside.insert(outside.end(), {5.0f, 0.5f, 0.5f, -3.0f, -3.0f, 2.0f, nan, 0.25f, 0.75f});
    const Octree clamped(203, outside.data(), unit, true, 4);
    for (const OctreeIterator& leaf : checkLeaves(clamped, outside, 4))
        for (int i = leaf.getPointBegin(); i < leaf.getPointEnd(); ++i)
        {
            const BoundingBox& cell = leaf.getBox();
            const int point = clamped.getPointIndices()[i];
            EXPECT_TRUE(point != 200 || cell[3] == 1.0f);
            EXPECT_TRUE(point != 201 || (cell[0] == 0.0f && cell[1] == 0.0f && cell[5] == 1.0f));
            EXPECT_TRUE(point != 202 || cell[0] == 0.0f);
        }
}

TEST(Octree, withoutTilingEmptyChildrenAreAbsent)
{
    std::vector<float> skewed = testsupport::randomPoints(51, 400, 3);
    for (float& x : skewed)
        x = x * x * x;  // crowd the points towards 0
    const Octree sparse(400, skewed.data(), testsupport::boxOf(skewed), false, 8);
    for (const OctreeIterator& leaf : checkLeaves(sparse, skewed, 8))
        EXPECT_GT(leaf.getPointEnd(), leaf.getPointBegin());
    const std::vector<int>& nodes = sparse.getNodes();
    const long absent = std::count(nodes.begin(), nodes.end(), Octree::absentNode);
    EXPECT_GT(absent, 0);
    EXPECT_EQ(sparse.getNumNodes() + absent, static_cast<long>(nodes.size()));
    // Descending into an absent child fails and leaves the iterator where it was.
    const OctreeIterator root = sparse.getRoot();
    for (int slot = 0; slot < 8; ++slot)
    {
        OctreeIterator child = root;
        const bool exists = nodes[nodes[0] + slot] != Octree::absentNode;
        EXPECT_EQ(child.descend(slot), exists);
        EXPECT_TRUE(exists || (child == root && child.getBox() == root.getBox()));
    }
}

TEST(Octree, nodeOrderingPutsNearerChildrenFirst)
{
    std::mt19937 rng(61);
    int order[8];
    for (int round = 0; round < 200; ++round)
    {
        oxLinear::Vector d(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                           testsupport::uniform(rng, -1, 1));
        if (round % 4 == 0)
            d[round % 3] = 0.0;
        Octree::getNodeOrdering(d, order);
        std::vector<int> position(8, -1);
        for (int k = 0; k < 8; ++k)
            position[order[k]] = k;
        ASSERT_EQ(std::count(position.begin(), position.end(), -1), 0);
        // A ray along d can pass from child a into child b only when every bit
        // that changes moves with the sign of d: then a must come first.
        for (int a = 0; a < 8; ++a)
            for (int b = 0; b < 8; ++b)
            {
                bool reachable = a != b;
                for (int axis = 0; axis < 3; ++axis)
                    if (((a ^ b) >> axis) & 1)
                        reachable = reachable && ((b >> axis) & 1 ? d[axis] > 0 : d[axis] < 0);
                EXPECT_TRUE(!reachable || position[a] < position[b]) << a << " -> " << b;
            }
    }
    auto ordering = [&](double x, double y, double z)
    {
        Octree::getNodeOrdering(oxLinear::Vector(x, y, z), order);
        return std::vector<int>(order, order + 8);
    };
    // Ties keep ascending slot order; zero and NaN components are left out,
    // infinite ones outweigh finite ones.
    EXPECT_EQ(ordering(1, 0, 0), (std::vector<int>{0, 2, 4, 6, 1, 3, 5, 7}));
    EXPECT_EQ(ordering(-1, -2, -4), (std::vector<int>{7, 6, 5, 4, 3, 2, 1, 0}));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(ordering(nan, 0, nan), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(ordering(-inf, inf, 0.5), (std::vector<int>{1, 5, 0, 3, 4, 7, 2, 6}));
}

TEST(OctreeIterator, childBoxesAndRefusedMoves)
{
    const BoundingBox parent = testsupport::makeBox(-1, 0.25, 1, 7, 0.5, 3);
    for (int slot = 0; slot < 8; ++slot)
    {
        const BoundingBox child = Octree::childBox(parent, slot);
        const BoundingBox expected =
            testsupport::makeBox(slot & 1 ? 3 : -1, slot & 2 ? 0.375 : 0.25, slot & 4 ? 2 : 1,
                                 slot & 1 ? 7 : 3, slot & 2 ? 0.5 : 0.375, slot & 4 ? 3 : 2);
        EXPECT_EQ(child, expected) << slot;
    }
    EXPECT_EQ(Octree::splitValue(-3.4028235e38f, 3.4028235e38f), 0.0f);  // no overflow

    OctreeIterator none;
    EXPECT_FALSE(none.valid() || none.isLeaf() || none.descend(0));
    EXPECT_EQ(none.getLeafNumber(), -1);
    EXPECT_EQ(none.getPointEnd(), 0);
    EXPECT_FALSE(none.getBox().isValid());

    const std::vector<float> points = testsupport::randomPoints(71, 100, 3);
    const Octree octree(100, points.data(), testsupport::boxOf(points), true, 16);
    OctreeIterator node = octree.getRoot();
    EXPECT_EQ(node.getLeafNumber(), -1);
    EXPECT_EQ(node.getPointEnd(), 0);
    EXPECT_FALSE(node.descend(8) || node.descend(-1));
    ASSERT_TRUE(node.descend(5));
    EXPECT_EQ(node.getDepth(), 1);
    EXPECT_EQ(node.getBox(), Octree::childBox(octree.getBounds(), 5));
    while (!node.isLeaf())
        ASSERT_TRUE(node.descend(0));
    const OctreeIterator leaf = node;
    EXPECT_FALSE(node.descend(3));
    EXPECT_EQ(node, leaf);
    EXPECT_EQ(node.getOctree(), &octree);
}
