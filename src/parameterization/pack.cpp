// Packing chart rectangles into the unit square with a binary space-partition
// packer (each placed rectangle splits its free leaf in two), largest charts
// first, shrinking every chart a little after each failed attempt.
// Based on: the guillotine lightmap packer of J. Scott, "Packing Lightmaps" (2001).
//
// The tree lives in one array of nodes (children by index) so that deep trees neither recurse
// nor free node by node. Every node also records the largest width and the largest height of
// a free leaf below it: a subtree whose free leaves are all too narrow or too low is skipped,
// which changes no result of the depth-first search but keeps insertions near the tree depth.

#include <oxGeom/pack.h>

#include <oxGeom/debugChannel.h>
#include <oxLinear/Tolerance.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/Ordering.h>

#include <cmath>
#include <limits>

namespace oxGeom
{
namespace
{
using oxLinear::Point2;
using oxLinear::Range2d;
using oxLinear::Tuple2;

// The larger of the two extents.
double side(const Range2d& r)
{
    const Tuple2 size = r.size();
    return size[1] > size[0] ? size[1] : size[0];
}

// Finite corners, min <= max on both axes and a finite size: a rectangle a packer can place.
bool isPlaceable(const Range2d& r)
{
    for (int axis = 0; axis < 2; ++axis)
    {
        if (!std::isfinite(r.min()[axis]) || !std::isfinite(r.max()[axis]))
            return false;
        if (!(r.min()[axis] <= r.max()[axis]) || !std::isfinite(r.max()[axis] - r.min()[axis]))
            return false;
    }
    return true;
}

bool allPlaceable(const ox::vector<Range2d>& rects)
{
    for (const Range2d& r : rects)
        if (!isPlaceable(r))
            return false;
    return true;
}

// One node of the partition: a free or used region, split into two children or a leaf.
struct PackNode
{
    explicit PackNode(const Range2d& region, int parent) : region(region), parent(parent)
    {
        refreshFreeExtents(nullptr);
    }

    bool isLeaf() const { return first < 0; }

    // For a leaf, its own extents when free and nothing when filled; for a split node, the
    // largest extents among its children.
    void refreshFreeExtents(const ox::vector<PackNode>* nodes)
    {
        if (isLeaf())
        {
            const Tuple2 size = region.size();
            freeWidth = filled ? -std::numeric_limits<double>::infinity() : size[0];
            freeHeight = filled ? -std::numeric_limits<double>::infinity() : size[1];
            return;
        }
        const PackNode& a = (*nodes)[static_cast<size_t>(first)];
        const PackNode& b = (*nodes)[static_cast<size_t>(first + 1)];
        freeWidth = std::max(a.freeWidth, b.freeWidth);
        freeHeight = std::max(a.freeHeight, b.freeHeight);
    }

    Range2d region;
    int parent;
    int first = -1;  // the two children are first and first + 1
    bool filled = false;
    double freeWidth = 0.0;
    double freeHeight = 0.0;
};

class PackTree
{
public:
    PackTree() { m_nodes.emplace_back(Range2d::unitSquare(), -1); }

    // The node that now holds a rectangle of `size`, or -1 when no free leaf takes it.
    int insert(const Tuple2& size)
    {
        const double eps = oxLinear::epsilonTol;
        m_stack.assign(1, 0);
        while (!m_stack.empty())
        {
            const int index = m_stack.back();
            m_stack.pop_back();
            const PackNode& node = m_nodes[static_cast<size_t>(index)];
            // No free leaf below is wide or high enough (a leaf rejects exactly these).
            if (node.freeWidth - size[0] < -eps || node.freeHeight - size[1] < -eps)
                continue;
            if (!node.isLeaf())
            {
                m_stack.push_back(node.first + 1);
                m_stack.push_back(node.first);
                continue;
            }
            const int placed = insertIntoLeaf(index, size);
            if (placed >= 0)
                return placed;
        }
        return -1;
    }

    const Range2d& region(int index) const { return m_nodes[static_cast<size_t>(index)].region; }

private:
    // A leaf takes the rectangle whole when the sizes match, or splits off a part of exactly
    // the rectangle's extent along the axis with the smaller slack and places it there.
    int insertIntoLeaf(int index, const Tuple2& size)
    {
        const double eps = oxLinear::epsilonTol;
        for (bool split = false;; split = true)
        {
            PackNode& leaf = m_nodes[static_cast<size_t>(index)];
            const Tuple2 diff = leaf.region.size() - size;
            if (leaf.filled || diff[0] < -eps || diff[1] < -eps)
            {
                // A child just split off always takes the rectangle in practice; should
                // rounding make it refuse, the split still has to reach the ancestors' bounds.
                if (split)
                    refreshUpwards(index);
                return -1;
            }
            if (oxLinear::equivalent(diff, Tuple2(0.0, 0.0), eps))
            {
                leaf.filled = true;
                refreshUpwards(index);
                return index;
            }
            const int axis = diff[0] <= diff[1] ? 1 : 0;
            const double cut = leaf.region.min()[axis] + size[axis];
            Range2d firstRegion = leaf.region;
            Range2d secondRegion = leaf.region;
            firstRegion.max()[axis] = cut;
            secondRegion.min()[axis] = cut;
            const int first = static_cast<int>(m_nodes.size());
            leaf.first = first;  // `leaf` is not used past the growth of m_nodes below
            m_nodes.emplace_back(firstRegion, index);
            m_nodes.emplace_back(secondRegion, index);
            index = first;
        }
    }

    void refreshUpwards(int index)
    {
        for (; index >= 0; index = m_nodes[static_cast<size_t>(index)].parent)
            m_nodes[static_cast<size_t>(index)].refreshFreeExtents(&m_nodes);
    }

    ox::vector<PackNode> m_nodes;
    ox::vector<int> m_stack;
};

// One attempt on rectangles already known to be placeable.
bool packPlaceable(ox::vector<Range2d>& rects)
{
    if (rects.empty())
        return true;
    if (side(rects.back()) > 1.0)
        return false;
    PackTree tree;
    for (Range2d& r : rects)
    {
        const int node = tree.insert(r.size());
        if (node < 0)
            return false;
        r = tree.region(node);
    }
    return true;
}

// Every rectangle with its minimum corner at the origin and its extents multiplied by f.
void shrink(ox::vector<Range2d>& rects, double f)
{
    for (Range2d& r : rects)
    {
        const Tuple2 size = r.size();
        r = Range2d(Point2(0.0, 0.0), Point2(size[0] * f, size[1] * f));
    }
}

void printCorners(const char* format, const Range2d& r)
{
    debugChannel().print(format, r.min()[0], r.min()[1], r.max()[0], r.max()[1]);
}
}  // namespace

bool pack(ox::vector<Range2d>& rects)
{
    if (!allPlaceable(rects))
        return false;
    return packPlaceable(rects);
}

void pack(ox::vector<Range2d>& rects, int)
{
    if (rects.empty())
        return;
    const int n = static_cast<int>(rects.size());
    if (!allPlaceable(rects))
    {
        debugChannel().print("pack: %d items, a rectangle is empty or not finite; nothing packed\n",
                             n);
        return;
    }
    oxOS::StopWatch watch;
    watch.start();

    oxUtil::Ordering order;
    order.sort(
        n, [&](int a, int b)
        { return side(rects[static_cast<size_t>(a)]) > side(rects[static_cast<size_t>(b)]); });
    ox::vector<Range2d> working;
    working.reserve(rects.size());
    for (int k : order)
        working.push_back(rects[static_cast<size_t>(k)]);

    const double f = std::pow(0.499, static_cast<double>(1.0f / static_cast<float>(n)));
    float scale = 1.0f;
    int iterations = 1;
    while (!packPlaceable(working))
    {
        ++iterations;
        scale = static_cast<float>(scale * f);
        shrink(working, f);
    }

    for (int i = 0; i < n; ++i)
    {
        Range2d& target = rects[static_cast<size_t>(order[i])];
        if (i < 6)
            printCorners("Packed (%.4f,%.4f)-(%.4f,%.4f) to", target);
        target = working[static_cast<size_t>(i)];
        if (i < 6)
            printCorners(" (%.4f,%.4f)-(%.4f,%.4f)\n", target);
    }

    Range2d bounds = rects[0];
    for (const Range2d& r : rects)
        bounds.include(r);
    const double s = 1.0 / side(bounds);
    // All-zero sizes give s = inf; scaling by it would turn the corners into NaN.
    if (s > 1.01 && std::isfinite(s))
    {
        debugChannel().print("Scaling packing by %.2f\n", s);
        for (Range2d& r : rects)
            r = Range2d(r.min() * s, r.max() * s);
    }
    debugChannel().print("Packed %d items with %.2f coverage in %d iterations in %.2f seconds.\n",
                         n, static_cast<double>(scale), iterations, watch.stop());
}
}  // namespace oxGeom
