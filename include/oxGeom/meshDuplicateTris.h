#pragma once
// Finding and removing duplicate and degenerate triangles: the quick structural
// clean-up check of a mesh, by exact comparison only (no tolerance).

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>

#include <ox/containers.h>

namespace oxGeom
{
/// The triangles of a mesh that duplicate another triangle or are degenerate.
///
/// Three lists of triangle indices:
/// - duplicates: triangles whose three vertex indices, as a set, equal those of
///   another triangle (either winding); of each group of equal triangles all but
///   the lowest index are listed, in ascending order of their sorted index
///   triples, ties in ascending triangle index;
/// - index-degenerate: two corners name the same vertex (ascending);
/// - position-degenerate: three distinct vertices, two at exactly the same
///   position (ascending).
/// A triangle is in at most one of the last two lists; it may be in the first
/// as well as the second.
/// Thread safety: a plain value; const members may be called concurrently.
class MeshDuplicateTrisResult
{
public:
    MeshDuplicateTrisResult() = default;
    MeshDuplicateTrisResult(const MeshDuplicateTrisResult&) = default;
    MeshDuplicateTrisResult& operator=(const MeshDuplicateTrisResult&) = default;
    ~MeshDuplicateTrisResult() = default;

    /// True when any of the three lists is non-empty.
    operator bool() const;

    /// Every listed triangle once, ascending.
    /// Inputs: `mesh`, the mesh the result describes (its triangle count bounds
    /// the indices). Output: `triangles` is replaced; listed indices outside
    /// [0, triangle count) are left out. Empty lists give an empty output.
    /// Cost: O(T / 32 + listed).
    void getBadTriangles(CompactMesh const& mesh, ox::vector<int>& triangles) const;

    ox::vector<int>& getDuplicates() { return m_duplicates; }
    const ox::vector<int>& getDuplicates() const { return m_duplicates; }
    ox::vector<int>& getIndexDegenerates() { return m_indexDegenerates; }
    const ox::vector<int>& getIndexDegenerates() const { return m_indexDegenerates; }
    ox::vector<int>& getPositionDegenerates() { return m_positionDegenerates; }
    const ox::vector<int>& getPositionDegenerates() const { return m_positionDegenerates; }

private:
    ox::vector<int> m_duplicates;
    ox::vector<int> m_indexDegenerates;
    ox::vector<int> m_positionDegenerates;
};

/// Finds the duplicate and degenerate triangles of `mesh`.
///
/// Inputs: `mesh` (V vertices, T triangles).
/// Output: `result`'s three lists are replaced (see MeshDuplicateTrisResult).
/// Positions are compared coordinate by coordinate as doubles for exact
/// equality, so 0 equals -0 and a NaN coordinate never equals anything. Pairs are
/// tested in the order (0, 1), (0, 2), (1, 2).
/// Returns true when any list is non-empty.
/// Preconditions: corner indices lie in [0, V) (a corner outside that range is
/// still compared by index, but its position is never read: such a triangle
/// is not position-degenerate).
/// Empty input: a mesh without triangles gives three empty lists and false.
/// Diagnostics: "meshDuplicateTris:  verts(%d) tris(%d) dup(%d) degenerate(%d) %f s"
/// (V, T, duplicates, both degenerate lists together).
/// Thread safety: the sort runs on oxUtil::ThreadPool::get() (serially on a pool
/// of one thread); the result is the same for any thread count. The mesh must
/// not change meanwhile.
/// Cost: O(T log T) time, 4T ints of scratch memory.
bool meshDuplicateTris(CompactMesh const& mesh, MeshDuplicateTrisResult& result);

/// Deletes every triangle that `result` lists, and the vertices only they use.
///
/// Inputs: `mesh`; `adjTris`, its meshAdjTris table; `result`, from
/// meshDuplicateTris on this mesh.
/// Sizes the mesh's selections to its counts (bits already set stay set, so
/// triangles selected before are deleted too), selects the listed triangles,
/// makes the vertex selection their corners (MeshSelect) and deletes with
/// MeshDeleteSelected, which renumbers and announces the change.
/// Empty input: a result with empty lists returns at once, printing nothing.
/// Diagnostics: "oxGeom::meshRemoveDuplicateTris", then
/// "           vertices(%d) triangles(%d)", the MeshSelect lines,
/// "  selected %d duplicate/degenerate tris: %f s" (the number of selected
/// triangles), then MeshDeleteSelected's lines.
/// Thread safety: runs on the calling thread; exclusive access to `mesh`.
/// Cost: that of MeshDeleteSelected.
void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris,
                             MeshDuplicateTrisResult const& result);

/// Runs meshDuplicateTris on `mesh` and, when it finds anything, removes what it
/// found with the three-argument form. A clean mesh is left unchanged (only the
/// meshDuplicateTris line is printed).
void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris);

/// Holder of a mesh's characteristic results; here, the duplicate and
/// degenerate triangles. A plain value, one thread at a time.
class MeshCharacteristics
{
public:
    MeshDuplicateTrisResult& getDuplicateTrisResult() { return m_duplicateTris; }
    const MeshDuplicateTrisResult& getDuplicateTrisResult() const { return m_duplicateTris; }

private:
    MeshDuplicateTrisResult m_duplicateTris;
};
}  // namespace oxGeom
