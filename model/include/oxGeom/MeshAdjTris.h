#pragma once
// The triangles around each vertex of an indexed mesh, held as one ArrayOfSets
// (one set per vertex). The adjacency builder fills the sets; this class owns
// them and answers per-vertex lookups.

#include "ox/Reference.h"
#include "oxGeom/ArrayOfSets.h"

namespace oxGeom
{
/// Vertex -> triangle table: for each vertex, the indices of the triangles
/// using it, in the order the builder stored them (ascending triangle index
/// from meshAdjTris; a triangle naming the vertex twice occurs twice).
///
/// Reference-counted, because the mesh cache hands one table to many holders
/// through ox::Reference. Thread safety: const members may be called from any
/// number of threads; swap needs exclusive access.
class MeshAdjTris : public ox::RefCounted
{
public:
    /// The table of a mesh without vertices.
    MeshAdjTris() = default;
    /// Takes over the storage of `sets` (one set per vertex); `sets` is left
    /// empty. O(1).
    explicit MeshAdjTris(ArrayOfSets& sets) { m_sets.swap(sets); }

    /// Number of vertices (sets) in the table.
    int getNumVertices() const { return m_sets.getNumSets(); }
    /// Number of triangle entries of vertex v; 0 for an out-of-range v.
    int numTris(int v) const { return m_sets.getSetSize(v); }
    /// Pointer to the first of the numTris(v) triangle indices of vertex v;
    /// null for an out-of-range v.
    const int* triIndices(int v) const { return m_sets.getSet(v); }

    /// Writes the numTris(v) triangle indices of vertex v to `out` (room for
    /// numTris(v) ints) and returns that count. `triangleMap`, when not null,
    /// renumbers each index on the way: out[k] = triangleMap[t] (so a caller
    /// holding an old-to-new triangle table, e.g. Remap::getData(), reads the
    /// fan in new numbering); null copies the indices as they are.
    /// An out-of-range v, or a null `out`, writes nothing and returns 0. O(numTris(v)).
    int copyTriangles(int v, int* out, const int* triangleMap) const;

    /// The underlying sets (one per vertex).
    const ArrayOfSets& getSets() const { return m_sets; }

    /// Exchanges the tables in O(1); reference counts are not exchanged.
    void swap(MeshAdjTris& other) noexcept { m_sets.swap(other.m_sets); }

private:
    ArrayOfSets m_sets;
};
}  // namespace oxGeom
