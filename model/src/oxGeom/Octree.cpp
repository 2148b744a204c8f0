// Octree construction: a depth-first most-significant-digit radix sort whose
// digit at each level is the octant. Each node counts its (x, y, z, index)
// records per child, then scatters them into a second buffer; the two buffers
// swap roles level by level, so every level is two sequential sweeps (a scatter
// to eight streams runs about twice as fast as an in-place cycle-chasing
// partition) and no pointer tree is ever built.

#include "oxGeom/Octree.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace oxGeom
{
namespace
{
/// A point as the build moves it: its coordinates beside its index, so the
/// partition sweeps read one contiguous array instead of gathering through the
/// permutation.
struct BuildPoint
{
    float xyz[3];
    int index;
};

/// The child slot of a point: bit a set when the coordinate on axis a is at or
/// above the split (a NaN compares false and goes below).
inline int childSlot(const BuildPoint& point, const float split[3])
{
    return (point.xyz[0] >= split[0] ? 1 : 0) | (point.xyz[1] >= split[1] ? 2 : 0) |
           (point.xyz[2] >= split[2] ? 4 : 0);
}

bool samePoint(const BuildPoint& a, const BuildPoint& b)
{
    return a.xyz[0] == b.xyz[0] && a.xyz[1] == b.xyz[1] && a.xyz[2] == b.xyz[2];
}

bool allEqual(const BuildPoint* points, int begin, int end)
{
    for (int i = begin + 1; i < end; ++i)
        if (!samePoint(points[i], points[begin]))
            return false;
    return true;
}

/// True when at least one axis has a split strictly inside its interval;
/// otherwise splitting would only reproduce the box.
bool canSplit(const BoundingBox& box)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        const float split = Octree::splitValue(box[axis], box[axis + 3]);
        if (split > box[axis] && split < box[axis + 3])
            return true;
    }
    return false;
}

}  // namespace

/// The recursive build. Leaves are numbered as the depth-first walk meets them,
/// so their point ranges come out consecutive and ascending.
class Octree::Builder
{
public:
    /// `points` holds the records; `scratch` is a buffer of the same size.
    Builder(Octree& tree, BuildPoint* points, BuildPoint* scratch, bool tileBounds, int leafSize)
        : m_tree(tree),
          m_points(points),
          m_scratch(scratch),
          m_tileBounds(tileBounds),
          m_leafSize(leafSize)
    {
    }

    void build(int node, const BoundingBox& box, int begin, int end, int depth)
    {
        ++m_tree.m_numNodes;
        float split[3];
        int counts[8];
        if (!splits(box, begin, end, depth, split, counts))
        {
            makeLeaf(node, begin, end, depth);
            return;
        }
        // The other buffer then holds this node's records grouped by child for
        // the whole subtree; swap back afterwards.
        scatter(begin, end, split, counts);
        std::swap(m_points, m_scratch);
        buildChildren(node, box, begin, depth, counts);
        std::swap(m_points, m_scratch);
    }

private:
    /// The subdivision rule. A node stays a leaf when it holds at most leafSize
    /// points, sits at maxDepthLimit, has a box that no split can shrink in
    /// float precision, or holds only equal points (then no number of splits
    /// would separate them). Otherwise its box is halved on all three axes;
    /// `split` and the per-child `counts` are filled for the scatter.
    bool splits(const BoundingBox& box, int begin, int end, int depth, float split[3],
                int counts[8]) const
    {
        const int count = end - begin;
        if (count <= m_leafSize || depth >= maxDepthLimit || !canSplit(box))
            return false;
        for (int axis = 0; axis < 3; ++axis)
            split[axis] = splitValue(box[axis], box[axis + 3]);
        std::fill(counts, counts + 8, 0);
        for (int i = begin; i < end; ++i)
            ++counts[childSlot(m_points[i], split)];
        // Equal points always share a child, so only then is the scan needed.
        for (int slot = 0; slot < 8; ++slot)
            if (counts[slot] == count && allEqual(m_points, begin, end))
                return false;
        return true;
    }

    void scatter(int begin, int end, const float split[3], const int counts[8])
    {
        int next[8];
        for (int slot = 0, position = begin; slot < 8; position += counts[slot++])
            next[slot] = position;
        for (int i = begin; i < end; ++i)
            m_scratch[next[childSlot(m_points[i], split)]++] = m_points[i];
    }

    /// Allocates the eight child slots together and builds the children in
    /// slot order; empty ones become empty leaves, or stay absent without tiling.
    void buildChildren(int node, const BoundingBox& box, int begin, int depth, const int counts[8])
    {
        const int firstChild = static_cast<int>(m_tree.m_nodes.size());
        m_tree.m_nodes.resize(m_tree.m_nodes.size() + 8, absentNode);
        m_tree.m_nodes[static_cast<std::size_t>(node)] = firstChild;
        int childBegin = begin;
        for (int slot = 0; slot < 8; ++slot)
        {
            const int childEnd = childBegin + counts[slot];
            if (counts[slot] > 0 || m_tileBounds)
                build(firstChild + slot, childBox(box, slot), childBegin, childEnd, depth + 1);
            childBegin = childEnd;
        }
    }

    void makeLeaf(int node, int begin, int end, int depth)
    {
        const int leaf = static_cast<int>(m_tree.m_leafStart.size());
        m_tree.m_nodes[static_cast<std::size_t>(node)] = -1 - leaf;
        m_tree.m_leafStart.push_back(begin);
        for (int i = begin; i < end; ++i)
            m_tree.m_pointIndices[static_cast<std::size_t>(i)] = m_points[i].index;
        if (depth > m_tree.m_maxDepth)
            m_tree.m_maxDepth = depth;
    }

    Octree& m_tree;
    BuildPoint* m_points;   // the records of the node being built
    BuildPoint* m_scratch;  // where its children's records go
    bool m_tileBounds;
    int m_leafSize;
};

Octree::Octree(int numPoints, const float* points, const BoundingBox& bounds, bool tileBounds,
               int leafSize)
    : m_tileBounds(tileBounds)
{
    if (numPoints < 0 || points == nullptr)
        numPoints = 0;
    m_rootBox = bounds;
    if (!m_rootBox.isValid())
    {
        m_rootBox.setInvalid();
        for (int i = 0; i < numPoints; ++i)
            m_rootBox.extend(points + 3 * static_cast<std::size_t>(i));
    }
    if (!m_rootBox.isValid())
    {
        m_rootBox.setInvalid();
        return;
    }
    m_rootBox.extendToCube();

    std::vector<BuildPoint> records(static_cast<std::size_t>(numPoints));
    for (int i = 0; i < numPoints; ++i)
    {
        const float* p = points + 3 * static_cast<std::size_t>(i);
        records[static_cast<std::size_t>(i)] = BuildPoint{{p[0], p[1], p[2]}, i};
    }
    // Left uninitialised: the scatter writes every record before it is read.
    std::unique_ptr<BuildPoint[]> scratch(new BuildPoint[records.size()]);
    m_pointIndices.resize(static_cast<std::size_t>(numPoints));
    m_nodes.push_back(absentNode);
    Builder(*this, records.data(), scratch.get(), tileBounds, leafSize < 1 ? 1 : leafSize)
        .build(0, m_rootBox, 0, numPoints, 0);
    m_numLeaves = static_cast<int>(m_leafStart.size());
    m_leafStart.push_back(numPoints);
}

OctreeIterator Octree::getRoot() const
{
    return m_nodes.empty() ? OctreeIterator() : OctreeIterator(this, 0, m_rootBox);
}

void Octree::getNodeOrdering(const oxLinear::Vector& direction, int order[8])
{
    // The centre of child s sits at sign_a(s) * half-size along axis a, so its
    // position along the direction is proportional to sum_a sign_a(s) * d_a.
    // NaN components are left out; infinite ones dominate the finite ones.
    double d[3];
    bool infinite = false;
    for (int axis = 0; axis < 3; ++axis)
    {
        d[axis] = std::isnan(direction[axis]) ? 0.0 : direction[axis];
        infinite = infinite || std::isinf(d[axis]);
    }
    if (infinite)
        for (int axis = 0; axis < 3; ++axis)
            d[axis] = std::isinf(d[axis]) ? (d[axis] > 0.0 ? 1.0 : -1.0) : 0.0;
    double key[8];
    for (int slot = 0; slot < 8; ++slot)
    {
        key[slot] = 0.0;
        for (int axis = 0; axis < 3; ++axis)
            key[slot] += ((slot >> axis) & 1) ? d[axis] : -d[axis];
    }
    // Stable insertion sort: equal keys keep ascending slot order.
    for (int i = 0; i < 8; ++i)
    {
        int j = i;
        while (j > 0 && key[order[j - 1]] > key[i])
        {
            order[j] = order[j - 1];
            --j;
        }
        order[j] = i;
    }
}
}  // namespace oxGeom
