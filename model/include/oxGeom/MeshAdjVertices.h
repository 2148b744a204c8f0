#pragma once
// The distinct neighbour vertices of each vertex, stored as one flat array of
// "count, neighbours..." records and a start table pointing at each count word.

#include <memory>

#include "ox/Reference.h"

namespace oxGeom
{
/// Vertex -> neighbour table.
///
/// Layout (the builder's contract): `data` holds, for each vertex in index
/// order, a count word followed by that many neighbour indices; `starts[v]` is
/// the position of vertex v's count word in `data`, so
/// starts[v + 1] = starts[v] + count(v) + 1 and data has
/// (sum of counts) + numVertices ints. `maxValence` is the largest count.
///
/// Reference-counted, because the mesh cache hands one table to many holders.
/// Thread safety: const members may be called from any number of threads;
/// swap and assignment need exclusive access.
class MeshAdjVertices : public ox::RefCounted
{
public:
    /// The table of a mesh without vertices.
    MeshAdjVertices() = default;

    /// Takes over `starts` (numVertices ints) and `data` (layout above); both
    /// must come from `new int[]` and are released with `delete[]` by this
    /// object. Preconditions: the layout above holds. A numVertices <= 0 or a
    /// null array gives the empty table (any array passed is still released).
    /// O(1).
    MeshAdjVertices(int numVertices, int maxValence, int* starts, int* data);

    /// Deep copy. O(size of data).
    MeshAdjVertices(const MeshAdjVertices& other);
    MeshAdjVertices& operator=(const MeshAdjVertices& other);

    int getNumVertices() const { return m_numVertices; }
    /// The largest neighbour count of any vertex.
    int getMaxValence() const { return m_maxValence; }

    /// Number of neighbours of vertex v; 0 for an out-of-range v. O(1).
    int numNeighbours(int v) const { return inRange(v) ? m_data[m_starts[v]] : 0; }
    /// Pointer to the numNeighbours(v) neighbour indices of v (in the order the
    /// builder stored them); null for an out-of-range v. O(1).
    const int* neighbours(int v) const { return inRange(v) ? &m_data[m_starts[v] + 1] : nullptr; }

    /// The raw start table (getNumVertices() ints) and data array
    /// (getDataSize() ints); null for the empty table.
    const int* getStarts() const { return m_starts.get(); }
    const int* getData() const { return m_data.get(); }
    int getDataSize() const { return m_dataSize; }

    /// Exchanges the tables in O(1); reference counts are not exchanged.
    void swap(MeshAdjVertices& other) noexcept;

private:
    bool inRange(int v) const
    {
        return static_cast<unsigned>(v) < static_cast<unsigned>(m_numVertices);
    }

    int m_numVertices = 0;
    int m_maxValence = 0;
    int m_dataSize = 0;
    std::unique_ptr<int[]> m_starts;
    std::unique_ptr<int[]> m_data;
};
}  // namespace oxGeom
