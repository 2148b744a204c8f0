#pragma once
// An octree over a packed array of 3-D points: the spatial index behind every
// query of the library. Nodes live in one flat array (eight children stored
// together), leaves hold contiguous ranges of a permutation of the point indices.

#include "ox/Reference.h"
#include "oxGeom/BoundingBox.h"
#include "oxLinear/Point.h"

#include <vector>

namespace oxGeom
{
class Octree;

/// A position in an Octree: a node and its box. A plain value, copied freely
/// (about 40 bytes); it points into its octree, which must outlive it.
///
/// Child slots: bit 0 of a slot picks the upper x half of the box, bit 1 the
/// upper y half, bit 2 the upper z half. Child boxes are computed from the
/// parent's box by the same float operations that built the tree, so boxes
/// met by descending are exactly the boxes the points were sorted into.
///
/// Thread safety: distinct iterators may be used on any number of threads;
/// the octree is only read. Every operation is O(1).
class OctreeIterator
{
public:
    /// On no node, with the empty box: valid() is false, descend() fails.
    OctreeIterator() = default;

    /// True when the iterator stands on a node.
    bool valid() const { return m_octree != nullptr; }
    /// True when the node is a leaf; false for an interior node or no node.
    bool isLeaf() const;
    /// The leaf number in [0, getNumLeaves()); -1 for an interior node or no node.
    int getLeafNumber() const;
    /// The leaf's half-open range [begin, end) into Octree::getPointIndices();
    /// both 0 for an interior node or no node.
    int getPointBegin() const;
    int getPointEnd() const;

    /// Moves to child `slot` (0..7) of the node, replacing the box by the
    /// child's box, and returns true. Returns false and leaves the iterator
    /// unchanged when the node is a leaf, there is no node, the slot is out of
    /// range or that child does not exist (only in octrees built without
    /// tiling, where empty children are omitted).
    bool descend(int slot);

    /// The node's box (the empty box when there is no node).
    const BoundingBox& getBox() const { return m_box; }
    /// Depth of the node: 0 for the root.
    int getDepth() const { return m_depth; }
    /// Index of the node in the octree's node array; -1 when there is no node.
    int getNodeIndex() const { return m_node; }
    /// The octree walked; null when there is no node.
    const Octree* getOctree() const { return m_octree; }

    /// Same octree and node (the box follows from them).
    bool operator==(const OctreeIterator& other) const
    {
        return m_octree == other.m_octree && m_node == other.m_node;
    }
    bool operator!=(const OctreeIterator& other) const { return !(*this == other); }

private:
    friend class Octree;
    OctreeIterator(const Octree* octree, int node, const BoundingBox& box)
        : m_box(box), m_octree(octree), m_node(node)
    {
    }
    int nodeValue() const;

    BoundingBox m_box;
    const Octree* m_octree = nullptr;
    int m_node = -1;
    int m_depth = 0;
};

/// Octree over `numPoints` points given as packed x, y, z floats.
///
/// Subdivision rule (Octree.cpp): the root box is the bounds grown to a cube
/// (BoundingBox::extendToCube), so cells stay cubes and flat or elongated
/// meshes get well-shaped cells. A node is split at the midpoint of its box on
/// all three axes while it holds more than `leafSize` points, unless the
/// depth limit (maxDepthLimit) is reached, its points are all equal, or its box
/// is too small to split in float precision.
///
/// Tiling: with `tileBounds` true every interior node has all eight children,
/// empty ones being empty leaves, so the leaves tile the root box without gaps
/// and every point of the root box lies in some leaf. With `tileBounds` false
/// empty children are omitted (descend() into them fails), and the leaves
/// cover only the occupied cells. The root always exists when the bounds (or
/// the points) give a valid box.
///
/// Leaves are numbered 0 .. getNumLeaves()-1 in depth-first order, children in
/// slot order 0..7. Leaf ranges are consecutive: leaf k holds
/// getPointIndices()[begin .. end) and leaf k+1 starts where leaf k ends.
///
/// Points outside the bounds fall into the boundary cells on their side (as if
/// clamped onto the root box); a NaN coordinate counts as below every split.
/// Such points are listed in a leaf but do not lie in its box.
///
/// Reference counted (held through ox::Reference). Thread safety: const members
/// may be used from any number of threads; the tree is immutable after
/// construction.
class Octree : public ox::RefCounted
{
public:
    /// Deepest level the build creates (root = 0). Cells of a root cube of side
    /// S are no smaller than S / 2^20, still far above float resolution.
    static constexpr int maxDepthLimit = 20;

    /// An octree with no nodes: zero leaves, getRoot() not valid.
    Octree() = default;

    /// Builds the tree.
    /// Inputs: `numPoints` points at `points` (3 * numPoints floats);
    /// `bounds`, the box to subdivide (normally the points' bounding box);
    /// `tileBounds` (see the class notes); `leafSize`, the largest number of
    /// points a leaf holds unless a stop rule intervenes (values below 1 are
    /// taken as 1).
    /// Empty or degenerate input: an empty or invalid `bounds` is replaced by
    /// the box of the points; if that is empty too (no points), the tree has no
    /// nodes and zero leaves. A negative count or a null `points` counts as no
    /// points; the root is then a single empty leaf over `bounds`.
    /// Cost: O(numPoints * depth) time; 32 bytes per point of scratch memory
    /// during the build, then 4 bytes per point and 36 per interior node;
    /// single-threaded.
    Octree(int numPoints, const float* points, const BoundingBox& bounds, bool tileBounds,
           int leafSize);

    /// Number of leaves (0 only for an octree without nodes).
    int getNumLeaves() const { return m_numLeaves; }
    /// Depth of the deepest leaf (0 when the root is a leaf or there is no root).
    int getMaxDepth() const { return m_maxDepth; }
    /// Number of nodes, interior and leaves (absent children not counted).
    int getNumNodes() const { return m_numNodes; }
    /// Number of points indexed.
    int getNumPoints() const { return static_cast<int>(m_pointIndices.size()); }
    /// Whether the leaves tile the root box (the constructor's flag).
    bool getTileBounds() const { return m_tileBounds; }
    /// The root box: the bounds grown to a cube (empty without nodes).
    const BoundingBox& getBounds() const { return m_rootBox; }

    /// An iterator on the root; not valid for an octree without nodes.
    OctreeIterator getRoot() const;

    /// The permutation of 0 .. getNumPoints()-1 that the leaf ranges index.
    const int* getPointIndices() const { return m_pointIndices.data(); }
    /// First and one-past-last position of leaf `leaf`'s range in
    /// getPointIndices(); both 0 for an out-of-range leaf.
    int getLeafBegin(int leaf) const;
    int getLeafEnd(int leaf) const;

    /// Writes the eight child slots in the order a traversal along `direction`
    /// meets them, nearest first: slots sorted by the position of their centres
    /// along the direction, ties in ascending slot order. If a ray along the
    /// direction passes from child a into child b, a comes before b.
    /// A zero (or NaN) direction component leaves that axis out of the ordering;
    /// a zero vector gives 0, 1, ..., 7; infinite components outweigh finite
    /// ones. O(1), thread-safe.
    static void getNodeOrdering(const oxLinear::Vector& direction, int order[8]);

    /// Node-array encoding, for OctreeIterator: a value >= 0 is an interior
    /// node whose eight children start at that index; absentNode marks an
    /// omitted child; any other negative value v is a leaf numbered -1 - v.
    static constexpr int absentNode = -2147483647 - 1;
    /// The node array (getNumNodes() entries plus omitted-child markers).
    const std::vector<int>& getNodes() const { return m_nodes; }

    /// The box of child `slot` (0..7) of a node with box `parent`: each axis
    /// split at splitValue(min, max), bit 0 of the slot taking upper x, bit 1
    /// upper y, bit 2 upper z. O(1).
    static BoundingBox childBox(const BoundingBox& parent, int slot);
    /// The split coordinate of the interval [low, high]: 0.5 * low + 0.5 * high
    /// in float (never overflows, and lies in [low, high]). A point at or above
    /// it belongs to the upper child.
    static float splitValue(float low, float high) { return 0.5f * low + 0.5f * high; }

private:
    friend class OctreeIterator;
    class Builder;

    BoundingBox m_rootBox;
    std::vector<int> m_nodes;
    std::vector<int> m_leafStart;  // numLeaves + 1 ascending offsets (empty without nodes)
    std::vector<int> m_pointIndices;
    int m_maxDepth = 0;
    int m_numNodes = 0;
    int m_numLeaves = 0;
    bool m_tileBounds = true;
};

inline int OctreeIterator::nodeValue() const
{
    return m_octree->m_nodes[static_cast<std::size_t>(m_node)];
}

inline bool OctreeIterator::isLeaf() const
{
    return m_octree != nullptr && nodeValue() < 0;
}

inline int OctreeIterator::getLeafNumber() const
{
    return isLeaf() ? -1 - nodeValue() : -1;
}

inline int OctreeIterator::getPointBegin() const
{
    return isLeaf() ? m_octree->getLeafBegin(-1 - nodeValue()) : 0;
}

inline int OctreeIterator::getPointEnd() const
{
    return isLeaf() ? m_octree->getLeafEnd(-1 - nodeValue()) : 0;
}

inline bool OctreeIterator::descend(int slot)
{
    if (m_octree == nullptr || static_cast<unsigned>(slot) > 7u)
        return false;
    const int firstChild = nodeValue();
    if (firstChild < 0)
        return false;
    const int child = firstChild + slot;
    if (m_octree->m_nodes[static_cast<std::size_t>(child)] == Octree::absentNode)
        return false;
    m_node = child;
    ++m_depth;
    m_box = Octree::childBox(m_box, slot);
    return true;
}

inline BoundingBox Octree::childBox(const BoundingBox& parent, int slot)
{
    BoundingBox child = parent;
    for (int axis = 0; axis < 3; ++axis)
    {
        const float split = splitValue(parent.m_box[axis], parent.m_box[axis + 3]);
        if ((slot >> axis) & 1)
            child.m_box[axis] = split;
        else
            child.m_box[axis + 3] = split;
    }
    return child;
}

inline int Octree::getLeafBegin(int leaf) const
{
    return static_cast<unsigned>(leaf) < static_cast<unsigned>(getNumLeaves())
               ? m_leafStart[static_cast<std::size_t>(leaf)]
               : 0;
}

inline int Octree::getLeafEnd(int leaf) const
{
    return static_cast<unsigned>(leaf) < static_cast<unsigned>(getNumLeaves())
               ? m_leafStart[static_cast<std::size_t>(leaf) + 1]
               : 0;
}
}  // namespace oxGeom
