#pragma once
// A k-d tree over points that live in a caller's coordinate array, answering
// "is any stored point inside this box?" in about log n steps. Mesh merging
// welds vertices with it: each vertex asks for a stored point within a
// tolerance box before it is stored itself.

#include <oxGeom/BoundingBox.h>

#include <vector>

namespace oxGeom
{
/// A dynamic 3-D k-d tree of point indices.
///
/// The tree stores indices only: point i is positions[3i], positions[3i + 1],
/// positions[3i + 2] of the array handed to insert and search. Every call must
/// be given the same array (or one holding the same coordinates at every stored
/// index), and stored coordinates must not change while they are in the tree.
///
/// Balance: the tree keeps its height within log base 1/0.7 of its size (about
/// 1.94 log2 n) whatever the insertion order: when an insertion lands too deep,
/// the smallest unbalanced subtree above it is rebuilt around medians
/// (a scapegoat k-d tree). Sorted input, input sorted along the mesh's rows and
/// the interleaved order of the merge all keep searches logarithmic. Each node
/// splits on its own axis; rebuilt nodes split their subtree's widest axis, so
/// flat (planar) point sets are not split on the axis where they have no extent.
/// A rebuilt subtree is laid out in depth-first order over the slots it held,
/// so the nodes a search descends through tend to share cache lines.
///
/// Thread safety: any number of threads may search at once; insert and clear
/// need exclusive access.
class KDTree
{
public:
    /// An empty tree with room for `capacity` points (a reservation only; more
    /// may be inserted at the cost of growing). Negative capacity is taken as 0.
    /// Cost: O(capacity) memory, 16 bytes a point.
    explicit KDTree(int capacity = 0);

    /// Stores point `index` of `positions` (3 floats at positions + 3 * index).
    /// Inputs: `positions`, read at `index` now and at every stored index by
    /// later calls; `index` in [0, 2^29). The same index may be stored twice (it
    /// then is two entries), and equal coordinates under different indices are
    /// all kept.
    /// Degenerate input: a null array or an index outside [0, 2^29) stores
    /// nothing. A point with a NaN coordinate is stored but lies in no box, so
    /// no search ever returns it.
    /// Cost: O(log n) amortised (rebuilds of unbalanced subtrees included,
    /// O(log^2 n) amortised in the worst case).
    void insert(const float* positions, int index);

    /// Finds a stored point inside the closed box (faces included:
    /// box[a] <= p[a] <= box[a + 3] on every axis a).
    /// Inputs: `positions`, the array given to insert; `box`, any box.
    /// Output: the smallest stored index among the points inside the box, or -1
    /// when there is none. The smallest index is returned (rather than the first
    /// one met) so that the answer depends only on the stored set and never on
    /// the tree's shape; a merge therefore welds each vertex onto the earliest
    /// stored vertex near it.
    /// Degenerate input: an empty tree, a null array, an empty box (a minimum
    /// above its maximum) or a box with a NaN value give -1.
    /// Cost: O(log n + k), k the number of nodes whose cells meet the box (all
    /// of them are visited, to find the smallest index).
    int search(const float* positions, const BoundingBox& box) const;

    /// Number of stored entries.
    int size() const { return static_cast<int>(m_nodes.size()); }
    /// True when nothing is stored.
    bool empty() const { return m_nodes.empty(); }
    /// Number of nodes on the longest root-to-leaf path (0 when empty).
    /// Cost O(n); meant for checks and diagnostics.
    int height() const;
    /// Removes every entry; the reserved room is kept.
    void clear();

private:
    // 16 bytes, four to a cache line. A node's own point is read from the
    // positions only when the box reaches its split, which a small box
    // descending past it rarely does.
    struct Node
    {
        float split;       // the point's coordinate on the axis; NaN stored as +infinity
        int child[2];      // below and at-or-above the split; -1 when absent
        int pointAndAxis;  // point index * 4 + axis
        int point() const { return pointAndAxis >> 2; }
        int axis() const { return pointAndAxis & 3; }
    };
    // A point gathered for a rebuild.
    struct Item
    {
        float coordinates[3];
        int point;
    };

    int addLeaf(const float* positions, int index, int parent);
    void rebuildAfterDeepInsert(const float* positions, const int* path, int depth);
    int countSubtree(int node) const;
    int rebuild(Item* items, int count, const int*& slots);

    std::vector<Node> m_nodes;
    int m_root = -1;
    // The insertion depth above which the tree rebuilds; grows with the size.
    int m_depthLimit = 0;
    int m_depthLimitNextSize = 1;
    // Scratch of a rebuild: the subtree's points and the slots its nodes occupy.
    std::vector<Item> m_rebuildItems;
    std::vector<int> m_rebuildSlots;
};
}  // namespace oxGeom
