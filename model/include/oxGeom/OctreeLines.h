#pragma once
// Per-leaf line lists of an Octree: for each leaf voxel, the line segments of
// a mesh that touch it. The partitioning algorithm fills them; queries read them.

#include "ox/Reference.h"
#include "oxGeom/ArrayOfSets.h"

namespace oxGeom
{
/// One set of line indices per octree leaf, set k belonging to leaf k.
///
/// Reference counted (held through ox::Reference, shared by the mesh cache).
/// Thread safety: const members may be called from any number of threads;
/// swap needs exclusive access. Every operation is O(1).
class OctreeLines : public ox::RefCounted
{
public:
    /// No leaves.
    OctreeLines() = default;
    /// Takes over the storage of `sets` (one set per leaf); `sets` is left empty.
    explicit OctreeLines(ArrayOfSets& sets) { m_sets.swap(sets); }

    /// Number of leaves the lists cover.
    int getNumLeaves() const { return m_sets.getNumSets(); }
    /// Number of lines listed for `leaf`; 0 for an out-of-range leaf.
    int numLines(int leaf) const { return m_sets.getSetSize(leaf); }
    /// Pointer to the numLines(leaf) line indices of `leaf`; null for an
    /// out-of-range leaf.
    const int* firstLine(int leaf) const { return m_sets.getSet(leaf); }

    /// The underlying sets.
    const ArrayOfSets& getData() const { return m_sets; }

    /// Exchanges the lists with `other`; reference counts are not exchanged.
    void swap(OctreeLines& other) noexcept { m_sets.swap(other.m_sets); }

private:
    ArrayOfSets m_sets;
};
}  // namespace oxGeom
