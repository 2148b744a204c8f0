#pragma once
// A quadtree over a packed array of 2-D points (such as a mesh's UV array): the
// planar counterpart of Octree, with the same flat node layout and leaf ranges.

#include "ox/Reference.h"
#include "oxGeom/BoundingBox.h"

#include <vector>

namespace oxGeom
{
class Quadtree;

/// A position in a Quadtree: a node and its 2-D box, held in the x and y
/// values of a BoundingBox (its z values are 0). A plain value, copied freely;
/// it points into its quadtree, which must outlive it.
///
/// Child slots: bit 0 of a slot picks the upper x half, bit 1 the upper y half.
/// Thread safety: distinct iterators may be used on any number of threads.
/// Every operation is O(1).
class QuadtreeIterator
{
public:
    /// On no node, with the empty box: valid() is false, descend() fails.
    QuadtreeIterator() = default;

    bool valid() const { return m_tree != nullptr; }
    /// True when the node is a leaf; false for an interior node or no node.
    bool isLeaf() const;
    /// The leaf number in [0, getNumLeaves()); -1 for an interior node or no node.
    int getLeafNumber() const;
    /// The leaf's range [begin, end) into Quadtree::getPointIndices(); both 0
    /// for an interior node or no node.
    int getPointBegin() const;
    int getPointEnd() const;

    /// Moves to child `slot` (0..3), replacing the box by the child's, and
    /// returns true. Returns false and leaves the iterator unchanged for a
    /// leaf, no node, a slot out of range, or an omitted child (only in trees
    /// built without tiling).
    bool descend(int slot);

    const BoundingBox& getBox() const { return m_box; }
    /// 0 for the root.
    int getDepth() const { return m_depth; }
    /// Index in the node array; -1 when there is no node.
    int getNodeIndex() const { return m_node; }

    bool operator==(const QuadtreeIterator& other) const
    {
        return m_tree == other.m_tree && m_node == other.m_node;
    }
    bool operator!=(const QuadtreeIterator& other) const { return !(*this == other); }

private:
    friend class Quadtree;
    QuadtreeIterator(const Quadtree* tree, int node, const BoundingBox& box)
        : m_box(box), m_tree(tree), m_node(node)
    {
    }
    int nodeValue() const;

    BoundingBox m_box;
    const Quadtree* m_tree = nullptr;
    int m_node = -1;
    int m_depth = 0;
};

/// Quadtree over `numPoints` points given as packed x, y floats.
///
/// The rules are those of Octree in two dimensions: the root is the x, y
/// extent of the bounds grown to a square; a node is split at the midpoint of
/// both axes while it holds more than `leafSize` points, unless the depth
/// limit is reached, its points are all equal, or its box cannot be split in
/// float precision. With `tileBounds` true every interior node has all four
/// children (the leaves tile the root square); with false, empty children are
/// omitted. Leaves are numbered depth-first in slot order, their ranges into
/// getPointIndices() are consecutive. Points outside the bounds fall into the
/// boundary cells on their side; NaN counts as below every split.
///
/// Reference counted. Thread safety: immutable after construction; const
/// members may be used from any number of threads.
class Quadtree : public ox::RefCounted
{
public:
    /// Deepest level the build creates (root = 0).
    static constexpr int maxDepthLimit = 20;

    /// A quadtree with no nodes: zero leaves, getRoot() not valid.
    Quadtree() = default;

    /// Builds the tree.
    /// Inputs: `numPoints` points at `points` (2 * numPoints floats, x then y);
    /// `bounds` (only its x and y values are used); `tileBounds`; `leafSize`
    /// (values below 1 are taken as 1).
    /// Empty or degenerate input: invalid bounds are replaced by the box of the
    /// points; with no points either, the tree has no nodes. A negative count
    /// or a null `points` counts as no points.
    /// Cost: O(numPoints * depth) time; 24 bytes per point of scratch memory
    /// during the build, then 4 bytes per point; single-threaded.
    Quadtree(int numPoints, const float* points, const BoundingBox& bounds, bool tileBounds,
             int leafSize);

    int getNumLeaves() const { return m_numLeaves; }
    /// Depth of the deepest leaf (0 when the root is a leaf or absent).
    int getMaxDepth() const { return m_maxDepth; }
    int getNumNodes() const { return m_numNodes; }
    int getNumPoints() const { return static_cast<int>(m_pointIndices.size()); }
    bool getTileBounds() const { return m_tileBounds; }
    /// The root square (z values 0); empty without nodes.
    const BoundingBox& getBounds() const { return m_rootBox; }

    /// An iterator on the root; not valid for a tree without nodes.
    QuadtreeIterator getRoot() const;

    /// The permutation of 0 .. getNumPoints()-1 that the leaf ranges index.
    const int* getPointIndices() const { return m_pointIndices.data(); }
    /// Range of leaf `leaf` in getPointIndices(); both 0 when out of range.
    int getLeafBegin(int leaf) const;
    int getLeafEnd(int leaf) const;

    /// Node encoding as for Octree: >= 0 first of four children, absentNode an
    /// omitted child, other negative values v a leaf numbered -1 - v.
    static constexpr int absentNode = -2147483647 - 1;
    const std::vector<int>& getNodes() const { return m_nodes; }

    /// The box of child `slot` (0..3) of a node with box `parent`. O(1).
    static BoundingBox childBox(const BoundingBox& parent, int slot);

private:
    friend class QuadtreeIterator;
    class Builder;

    BoundingBox m_rootBox;
    std::vector<int> m_nodes;
    std::vector<int> m_leafStart;
    std::vector<int> m_pointIndices;
    int m_numLeaves = 0;
    int m_maxDepth = 0;
    int m_numNodes = 0;
    bool m_tileBounds = true;
};

inline int QuadtreeIterator::nodeValue() const
{
    return m_tree->m_nodes[static_cast<std::size_t>(m_node)];
}

inline bool QuadtreeIterator::isLeaf() const
{
    return m_tree != nullptr && nodeValue() < 0;
}

inline int QuadtreeIterator::getLeafNumber() const
{
    return isLeaf() ? -1 - nodeValue() : -1;
}

inline int QuadtreeIterator::getPointBegin() const
{
    return isLeaf() ? m_tree->getLeafBegin(-1 - nodeValue()) : 0;
}

inline int QuadtreeIterator::getPointEnd() const
{
    return isLeaf() ? m_tree->getLeafEnd(-1 - nodeValue()) : 0;
}

inline bool QuadtreeIterator::descend(int slot)
{
    if (m_tree == nullptr || static_cast<unsigned>(slot) > 3u)
        return false;
    const int firstChild = nodeValue();
    if (firstChild < 0)
        return false;
    const int child = firstChild + slot;
    if (m_tree->m_nodes[static_cast<std::size_t>(child)] == Quadtree::absentNode)
        return false;
    m_node = child;
    ++m_depth;
    m_box = Quadtree::childBox(m_box, slot);
    return true;
}

inline BoundingBox Quadtree::childBox(const BoundingBox& parent, int slot)
{
    BoundingBox child = parent;
    for (int axis = 0; axis < 2; ++axis)
    {
        const float split = 0.5f * parent.m_box[axis] + 0.5f * parent.m_box[axis + 3];
        if ((slot >> axis) & 1)
            child.m_box[axis] = split;
        else
            child.m_box[axis + 3] = split;
    }
    return child;
}

inline int Quadtree::getLeafBegin(int leaf) const
{
    return static_cast<unsigned>(leaf) < static_cast<unsigned>(m_numLeaves)
               ? m_leafStart[static_cast<std::size_t>(leaf)]
               : 0;
}

inline int Quadtree::getLeafEnd(int leaf) const
{
    return static_cast<unsigned>(leaf) < static_cast<unsigned>(m_numLeaves)
               ? m_leafStart[static_cast<std::size_t>(leaf) + 1]
               : 0;
}
}  // namespace oxGeom
