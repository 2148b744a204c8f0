#pragma once
// Per-leaf triangle lists of an Octree: for each leaf voxel, the triangles that
// touch it. The partitioning algorithm fills them; queries read them.

#include "ox/Reference.h"
#include "oxGeom/ArrayOfSets.h"

namespace oxGeom
{
/// One set of triangle indices per octree leaf, set k belonging to leaf k.
///
/// Reference counted (held through ox::Reference, shared by the mesh cache).
/// Thread safety: const members may be called from any number of threads;
/// swap needs exclusive access. Every operation is O(1).
class OctreeTris : public ox::RefCounted
{
public:
    /// No leaves.
    OctreeTris() = default;
    /// Takes over the storage of `sets` (one set per leaf); `sets` is left empty.
    explicit OctreeTris(ArrayOfSets& sets) { m_sets.swap(sets); }

    /// Number of leaves the lists cover.
    int getNumLeaves() const { return m_sets.getNumSets(); }
    /// Number of triangles listed for `leaf`; 0 for an out-of-range leaf.
    int numTris(int leaf) const { return m_sets.getSetSize(leaf); }
    /// Pointer to the numTris(leaf) triangle indices of `leaf`; null for an
    /// out-of-range leaf.
    const int* firstTri(int leaf) const { return m_sets.getSet(leaf); }

    /// The underlying sets.
    const ArrayOfSets& getData() const { return m_sets; }

    /// Exchanges the lists with `other`; reference counts are not exchanged.
    void swap(OctreeTris& other) noexcept { m_sets.swap(other.m_sets); }

private:
    ArrayOfSets m_sets;
};
}  // namespace oxGeom
