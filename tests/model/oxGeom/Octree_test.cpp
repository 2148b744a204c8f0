#include "oxGeom/Octree.h"

#include "support/meshes.h"
#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeIterator;
using testsupport::allLeaves;

namespace
{
/// True when some axis of the box has a split strictly inside it.
bool splittable(const BoundingBox& box)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        const float split = Octree::splitValue(box[axis], box[axis + 3]);
        if (split > box[axis] && split < box[axis + 3])
            return true;
    }
    return false;
}

/// Checks the invariants every octree must hold: leaf numbers 0..L-1 each once,
/// consecutive ranges covering a permutation of the points, every in-bounds
/// point inside its leaf's box, leaves no fuller than leafSize unless a stop
/// rule applies.
void expectConsistent(const Octree& octree, const std::vector<float>& points, int leafSize)
{
    const std::vector<OctreeIterator> leaves = allLeaves(octree);
    ASSERT_EQ(static_cast<int>(leaves.size()), octree.getNumLeaves());
    std::vector<int> seenLeaf(leaves.size(), 0);
    std::vector<int> seenPoint(points.size() / 3, 0);
    const int* indices = octree.getPointIndices();
    int depth = 0;
    for (const OctreeIterator& leaf : leaves)
    {
        const int number = leaf.getLeafNumber();
        ASSERT_GE(number, 0);
        ASSERT_LT(number, octree.getNumLeaves());
        ++seenLeaf[number];
        depth = std::max(depth, leaf.getDepth());
        EXPECT_EQ(leaf.getPointBegin(), octree.getLeafBegin(number));
        EXPECT_EQ(leaf.getPointEnd(), octree.getLeafEnd(number));
        const int count = leaf.getPointEnd() - leaf.getPointBegin();
        bool allSame = true;
        for (int i = leaf.getPointBegin(); i < leaf.getPointEnd(); ++i)
        {
            const float* p = &points[3 * indices[i]];
            ++seenPoint[indices[i]];
            if (octree.getBounds().contains(oxLinear::PointFlt(p)))
            {
                EXPECT_TRUE(testsupport::inBox(leaf.getBox(), p)) << "point " << indices[i];
            }
            const float* first = &points[3 * indices[leaf.getPointBegin()]];
            allSame = allSame && std::equal(p, p + 3, first);
        }
        if (count > leafSize && !allSame)
        {
            EXPECT_TRUE(leaf.getDepth() == Octree::maxDepthLimit || !splittable(leaf.getBox()))
                << "overfull leaf " << number;
        }
    }
    EXPECT_EQ(depth, octree.getMaxDepth());
    for (int n : seenLeaf)
        EXPECT_EQ(n, 1);
    for (int n : seenPoint)
        EXPECT_EQ(n, 1);
    for (int leaf = 0; leaf + 1 < octree.getNumLeaves(); ++leaf)
        EXPECT_EQ(octree.getLeafEnd(leaf), octree.getLeafBegin(leaf + 1));
}

/// Number of leaves whose closed box holds the point.
int leavesHolding(const std::vector<OctreeIterator>& leaves, const float* p)
{
    int count = 0;
    for (const OctreeIterator& leaf : leaves)
        count += testsupport::inBox(leaf.getBox(), p) ? 1 : 0;
    return count;
}
}  // namespace

TEST(Octree, leavesTileTheRootBox)
{
    // Uniform points and two tight clusters, which leave many empty cells.
    std::vector<float> points = testsupport::randomPoints(11, 3000, 3, -2.0f, 5.0f);
    const std::vector<float> cluster = testsupport::randomPoints(12, 500, 3, 0.0f, 1e-3f);
    points.insert(points.end(), cluster.begin(), cluster.end());
    const Octree octree(static_cast<int>(points.size() / 3), points.data(),
                        testsupport::boxOf(points), true, 16);
    expectConsistent(octree, points, 16);

    const std::vector<OctreeIterator> leaves = allLeaves(octree);
    double sum = 0.0;
    for (const OctreeIterator& leaf : leaves)
        sum += testsupport::volume(leaf.getBox());
    EXPECT_NEAR(sum, testsupport::volume(octree.getBounds()), 1e-9 * sum);

    // Random points of the root box lie in some leaf (in one unless on a face).
    const BoundingBox& root = octree.getBounds();
    std::mt19937 rng(13);
    for (int i = 0; i < 300; ++i)
    {
        float p[3];
        for (int axis = 0; axis < 3; ++axis)
            p[axis] = testsupport::uniform(rng, root[axis], root[axis + 3]);
        EXPECT_EQ(leavesHolding(leaves, p), 1);
    }
    // The root's corners and a point on the first split planes are covered too.
    for (int corner = 0; corner < 8; ++corner)
    {
        float p[3];
        root.getPoint(corner, p);
        EXPECT_EQ(leavesHolding(leaves, p), 1) << "corner " << corner;
    }
    float middle[3];
    for (int axis = 0; axis < 3; ++axis)
        middle[axis] = Octree::splitValue(root[axis], root[axis + 3]);
    EXPECT_EQ(leavesHolding(leaves, middle), 8);
}

TEST(Octree, childBoxesSplitTheParentExactly)
{
    const float values[6] = {-1.0f, 0.25f, 1.0f, 7.0f, 0.5f, 3.0f};
    BoundingBox parent;
    std::copy(values, values + 6, parent.m_box);
    double sum = 0.0;
    for (int slot = 0; slot < 8; ++slot)
    {
        const BoundingBox child = Octree::childBox(parent, slot);
        EXPECT_TRUE(parent.contains(child));
        sum += testsupport::volume(child);
        // Bit 0 upper x, bit 1 upper y, bit 2 upper z.
        EXPECT_EQ(child[0], (slot & 1) ? 3.0f : -1.0f);
        EXPECT_EQ(child[1], (slot & 2) ? 0.375f : 0.25f);
        EXPECT_EQ(child[3], (slot & 1) ? 7.0f : 3.0f);
        EXPECT_EQ(child[2], (slot & 4) ? 2.0f : 1.0f);
        EXPECT_EQ(child[5], (slot & 4) ? 3.0f : 2.0f);
    }
    EXPECT_DOUBLE_EQ(sum, testsupport::volume(parent));
    // The split never overflows and stays inside the interval.
    EXPECT_EQ(Octree::splitValue(-3.4028235e38f, 3.4028235e38f), 0.0f);
    EXPECT_EQ(Octree::splitValue(2.0f, 2.0f), 2.0f);
}

TEST(Octree, depthStaysBoundedOnDegenerateSets)
{
    // 10^5 identical points: no split separates them, the root stays a leaf.
    const std::vector<float> same(3 * 100000, 0.5f);
    const Octree identical(100000, same.data(), testsupport::boxOf(same), true, 16);
    EXPECT_EQ(identical.getNumLeaves(), 1);
    EXPECT_EQ(identical.getMaxDepth(), 0);
    expectConsistent(identical, same, 16);

    // Identical points beside a few scattered ones: split until they separate.
    std::vector<float> pile(3 * 20000, 0.3f);
    const std::vector<float> scatter = testsupport::randomPoints(21, 50, 3);
    pile.insert(pile.end(), scatter.begin(), scatter.end());
    const Octree piled(static_cast<int>(pile.size() / 3), pile.data(), testsupport::boxOf(pile),
                       true, 16);
    EXPECT_LE(piled.getMaxDepth(), 8);
    expectConsistent(piled, pile, 16);

    // Points one float step apart never become separable: the depth limit stops them.
    std::vector<float> steps;
    float x = 1.0f;
    for (int i = 0; i < 40; ++i, x = std::nextafter(x, 2.0f))
        steps.insert(steps.end(), {x, 1.0f, 1.0f});
    steps.insert(steps.end(), {0.0f, 0.0f, 0.0f});
    const Octree tiny(static_cast<int>(steps.size() / 3), steps.data(), testsupport::boxOf(steps),
                      true, 4);
    EXPECT_LE(tiny.getMaxDepth(), Octree::maxDepthLimit);
    expectConsistent(tiny, steps, 4);

    // A planar grid: the cube root keeps cells square, depth stays logarithmic.
    const oxGeom::CompactMesh grid = fixtures::gridMesh(200, 50);
    const float* vertices = grid.getVerticesRaw();
    const std::vector<float> gridPoints(vertices, vertices + 3 * grid.getNumVertices());
    const Octree flat(grid.getNumVertices(), vertices, testsupport::boxOf(gridPoints), true, 16);
    EXPECT_LE(flat.getMaxDepth(), 7);
    EXPECT_FLOAT_EQ(flat.getBounds()[3] - flat.getBounds()[0], 200.0f);
    EXPECT_FLOAT_EQ(flat.getBounds()[5] - flat.getBounds()[2], 200.0f);
    expectConsistent(flat, gridPoints, 16);
}

TEST(Octree, emptyAndDegenerateInputs)
{
    const float unit[6] = {0, 0, 0, 1, 1, 1};
    BoundingBox box;
    std::copy(unit, unit + 6, box.m_box);

    // No points over valid bounds: one empty leaf.
    const Octree none(0, nullptr, box, true, 16);
    EXPECT_EQ(none.getNumLeaves(), 1);
    EXPECT_TRUE(none.getRoot().isLeaf());
    EXPECT_EQ(none.getRoot().getPointEnd(), 0);
    EXPECT_EQ(Octree(-5, unit, box, true, 16).getNumPoints(), 0);

    // No bounds and no points: no nodes at all.
    for (const Octree& empty : {Octree(), Octree(0, nullptr, BoundingBox(), true, 16)})
    {
        EXPECT_EQ(empty.getNumLeaves(), 0);
        EXPECT_FALSE(empty.getRoot().valid());
        EXPECT_FALSE(empty.getRoot().getBox().isValid());
        EXPECT_EQ(empty.getLeafBegin(0), 0);
        EXPECT_EQ(empty.getLeafEnd(0), 0);
    }

    // Empty bounds with points: the points' own box is used.
    const std::vector<float> points = testsupport::randomPoints(31, 100, 3, 4.0f, 6.0f);
    const Octree own(100, points.data(), BoundingBox(), true, 8);
    EXPECT_TRUE(own.getBounds().contains(testsupport::boxOf(points)));
    expectConsistent(own, points, 8);

    // A leaf size below 1 is taken as 1.
    const Octree single(100, points.data(), BoundingBox(), true, 0);
    expectConsistent(single, points, 1);
    EXPECT_EQ(single.getLeafBegin(single.getNumLeaves()), 0);
    EXPECT_EQ(single.getLeafEnd(-1), 0);
}

TEST(Octree, pointsOutsideTheBoundsFallIntoBoundaryCells)
{
    const float unit[6] = {0, 0, 0, 1, 1, 1};
    BoundingBox box;
    std::copy(unit, unit + 6, box.m_box);
    std::vector<float> points = testsupport::randomPoints(41, 200, 3);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    points.insert(points.end(), {5.0f, 0.5f, 0.5f, -3.0f, -3.0f, 2.0f, nan, 0.25f, 0.75f});
    const Octree octree(203, points.data(), box, true, 4);
    expectConsistent(octree, points, 4);
    const int* indices = octree.getPointIndices();
    for (const OctreeIterator& leaf : allLeaves(octree))
        for (int i = leaf.getPointBegin(); i < leaf.getPointEnd(); ++i)
        {
            const BoundingBox& cell = leaf.getBox();
            if (indices[i] == 200)
            {
                EXPECT_EQ(cell[3], 1.0f);
            }
            if (indices[i] == 201)
            {
                EXPECT_TRUE(cell[0] == 0.0f && cell[1] == 0.0f && cell[5] == 1.0f);
            }
            if (indices[i] == 202)
            {
                EXPECT_EQ(cell[0], 0.0f);  // NaN counts as below every split
            }
        }
}

TEST(Octree, withoutTilingEmptyChildrenAreAbsent)
{
    const std::vector<float> points = testsupport::randomPoints(51, 400, 3, 0.0f, 1.0f);
    std::vector<float> skewed(points);
    for (std::size_t i = 0; i < skewed.size(); ++i)
        skewed[i] = skewed[i] * skewed[i] * skewed[i];  // crowd the points near 0
    const Octree sparse(400, skewed.data(), testsupport::boxOf(skewed), false, 8);
    const Octree tiled(400, skewed.data(), testsupport::boxOf(skewed), true, 8);
    expectConsistent(sparse, skewed, 8);
    EXPECT_LT(sparse.getNumLeaves(), tiled.getNumLeaves());
    EXPECT_FALSE(sparse.getTileBounds());

    int absent = 0;
    for (const OctreeIterator& leaf : allLeaves(sparse))
        EXPECT_GT(leaf.getPointEnd(), leaf.getPointBegin());
    for (int node : sparse.getNodes())
        absent += node == Octree::absentNode ? 1 : 0;
    EXPECT_GT(absent, 0);
    EXPECT_EQ(sparse.getNumNodes() + absent, static_cast<int>(sparse.getNodes().size()));
    EXPECT_EQ(tiled.getNumNodes(), static_cast<int>(tiled.getNodes().size()));

    // Descending into an absent child fails and leaves the iterator where it was.
    OctreeIterator root = sparse.getRoot();
    for (int slot = 0; slot < 8; ++slot)
    {
        OctreeIterator child = root;
        const int firstChild = sparse.getNodes()[0];
        const bool exists = sparse.getNodes()[firstChild + slot] != Octree::absentNode;
        EXPECT_EQ(child.descend(slot), exists);
        if (!exists)
        {
            EXPECT_TRUE(child == root && child.getBox() == root.getBox());
        }
    }
}

TEST(Octree, nodeOrderingFollowsTheDirection)
{
    std::mt19937 rng(61);
    for (int round = 0; round < 200; ++round)
    {
        oxLinear::Vector d(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                           testsupport::uniform(rng, -1, 1));
        if (round % 4 == 0)
            d[round % 3] = 0.0;
        int order[8];
        Octree::getNodeOrdering(d, order);
        std::vector<int> sorted(order, order + 8);
        std::sort(sorted.begin(), sorted.end());
        ASSERT_EQ(sorted, std::vector<int>({0, 1, 2, 3, 4, 5, 6, 7}));
        // Child centres sit at +-1 per axis: their positions along d never decrease.
        auto along = [&](int slot)
        {
            double s = 0.0;
            for (int axis = 0; axis < 3; ++axis)
                s += ((slot >> axis) & 1 ? 1.0 : -1.0) * d[axis];
            return s;
        };
        for (int k = 0; k + 1 < 8; ++k)
            EXPECT_LE(along(order[k]), along(order[k + 1]));
        // A ray along d moves from child a to child b only towards d's signs:
        // b then differs from a only in bits that d's signs allow; b must come later.
        std::vector<int> position(8);
        for (int k = 0; k < 8; ++k)
            position[order[k]] = k;
        for (int a = 0; a < 8; ++a)
            for (int b = 0; b < 8; ++b)
            {
                bool reachable = a != b;
                for (int axis = 0; axis < 3; ++axis)
                {
                    const int from = (a >> axis) & 1;
                    const int to = (b >> axis) & 1;
                    if (from != to && !(to > from ? d[axis] > 0 : d[axis] < 0))
                        reachable = false;
                }
                if (reachable)
                {
                    EXPECT_LT(position[a], position[b]) << a << " -> " << b;
                }
            }
    }
    int order[8];
    Octree::getNodeOrdering(oxLinear::Vector(1, 0, 0), order);
    EXPECT_EQ(std::vector<int>(order, order + 8), (std::vector<int>{0, 2, 4, 6, 1, 3, 5, 7}));
    Octree::getNodeOrdering(oxLinear::Vector(-1, -2, -4), order);
    EXPECT_EQ(order[0], 7);
    EXPECT_EQ(order[7], 0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const oxLinear::Vector& none : {oxLinear::Vector(), oxLinear::Vector(nan, nan, nan)})
    {
        Octree::getNodeOrdering(none, order);
        EXPECT_EQ(std::vector<int>(order, order + 8), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    }
    const double inf = std::numeric_limits<double>::infinity();
    Octree::getNodeOrdering(oxLinear::Vector(-inf, inf, 0.5), order);
    EXPECT_EQ(order[0], 1);  // +x half first, then the -y half; z is left out
    EXPECT_EQ(order[1], 5);
    EXPECT_EQ(order[6], 2);
    EXPECT_EQ(order[7], 6);
}

TEST(OctreeIterator, invalidAndLeafIteratorsRefuseToMove)
{
    const OctreeIterator none;
    EXPECT_FALSE(none.valid());
    EXPECT_FALSE(none.isLeaf());
    EXPECT_EQ(none.getLeafNumber(), -1);
    EXPECT_EQ(none.getPointBegin(), 0);
    EXPECT_EQ(none.getPointEnd(), 0);
    EXPECT_FALSE(none.getBox().isValid());
    EXPECT_EQ(none.getNodeIndex(), -1);
    OctreeIterator moved = none;
    EXPECT_FALSE(moved.descend(0));

    const std::vector<float> points = testsupport::randomPoints(71, 100, 3);
    const Octree octree(100, points.data(), testsupport::boxOf(points), true, 16);
    OctreeIterator root = octree.getRoot();
    EXPECT_FALSE(root.isLeaf());
    EXPECT_EQ(root.getLeafNumber(), -1);
    EXPECT_EQ(root.getPointEnd(), 0);
    EXPECT_FALSE(root.descend(8));
    EXPECT_FALSE(root.descend(-1));
    EXPECT_EQ(root, octree.getRoot());

    OctreeIterator child = root;
    ASSERT_TRUE(child.descend(5));
    EXPECT_EQ(child.getDepth(), 1);
    EXPECT_EQ(child.getBox(), Octree::childBox(root.getBox(), 5));
    EXPECT_NE(child, root);
    OctreeIterator leaf = child;
    while (!leaf.isLeaf())
        ASSERT_TRUE(leaf.descend(0));
    const OctreeIterator before = leaf;
    EXPECT_FALSE(leaf.descend(3));
    EXPECT_EQ(leaf, before);
    EXPECT_EQ(leaf.getOctree(), &octree);
}
