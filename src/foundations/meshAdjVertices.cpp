// Distinct neighbour vertices of every vertex, gathered from the vertex -> triangle table.
// Duplicates are filtered with a stamp per vertex instead of a per-vertex set: a new query
// only bumps the stamp, and the marks are cleared only when the stamp wraps. The records are
// gathered in one pass into a buffer sized for a manifold mesh, growing only for soups, rather
// than counted in a first pass and gathered again in a second.

#include <oxGeom/meshAdjacency.h>

#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace oxGeom
{
namespace
{
// "Seen in the current query" flags for all vertices. The stamp is unsigned so that counting
// past INT_MAX is defined; the marks are cleared when it reaches 0xFFFFFFFF, the value an int
// stamp would reach as -1.
class VertexStamps
{
public:
    explicit VertexStamps(int numVertices)
        : m_marks(new unsigned[static_cast<std::size_t>(numVertices)]()), m_size(numVertices)
    {
    }

    void newQuery()
    {
        if (++m_stamp == 0xFFFFFFFFu)
        {
            std::memset(m_marks.get(), 0, sizeof(unsigned) * static_cast<std::size_t>(m_size));
            m_stamp = 1;
        }
    }
    // Marks v and returns whether it was unseen in this query. (A branch-free form that stores
    // every mark measured slower: the stores stall the reads of the next corners.)
    bool markNew(int v)
    {
        if (m_marks[v] == m_stamp)
            return false;
        m_marks[v] = m_stamp;
        return true;
    }

private:
    std::unique_ptr<unsigned[]> m_marks;
    int m_size;
    unsigned m_stamp = 1;
};

// What a neighbour query reads: the mesh's triangle corners and the table around each vertex.
struct NeighbourSource
{
    const MeshAdjTris& adj;
    const int* corners;
    int numTriangles;
    int numVertices;

    bool isTriangle(int t) const
    {
        return static_cast<unsigned>(t) < static_cast<unsigned>(numTriangles);
    }
    bool isVertex(int v) const
    {
        return static_cast<unsigned>(v) < static_cast<unsigned>(numVertices);
    }
};

// Writes v's distinct neighbours to `out` in first-occurrence order (adjacency order, then
// corner order) and returns their number. A table built from the mesh names only triangles
// with corners in range; the two range tests (always true then, so nearly free) keep a stale
// or foreign table from reading past the arrays.
int gatherNeighbours(int v, const NeighbourSource& source, VertexStamps& stamps, int* out)
{
    stamps.newQuery();
    stamps.markNew(v);
    const int* around = source.adj.triIndices(v);
    const int numAround = source.adj.numTris(v);
    int count = 0;
    for (int i = 0; i < numAround; ++i)
    {
        if (!source.isTriangle(around[i]))
            continue;
        const int* triangle = source.corners + 3 * around[i];
        for (int k = 0; k < 3; ++k)
        {
            const int n = triangle[k];
            if (source.isVertex(n) && stamps.markNew(n))
                out[count++] = n;
        }
    }
    return count;
}

// The records of all vertices in vertex order, in a buffer that grows when a record might not
// fit. The first size is what a manifold mesh needs (its valences add up to about 3T), so
// that growing is left to non-manifold soups.
class RecordBuffer
{
public:
    RecordBuffer(int numVertices, int numTriangles)
        : m_capacity(static_cast<std::size_t>(numVertices) * 9 / 8 +
                     3 * static_cast<std::size_t>(numTriangles) + 64),
          m_data(new int[m_capacity])
    {
    }

    // Room for a record of up to `maxLength` ints at the end of the buffer.
    int* reserve(std::size_t maxLength)
    {
        if (m_size + maxLength > m_capacity)
            grow(m_size + maxLength);
        return m_data.get() + m_size;
    }
    void commit(std::size_t length) { m_size += length; }
    std::size_t size() const { return m_size; }

    // The records, for the table to take over. When at most an eighth of the buffer is unused
    // (as for any manifold mesh) the buffer itself is handed over: the table's size is that of
    // its records, and the spare tail is not worth a second allocation and a copy of every
    // record, which cost as much as the gathering. Otherwise the records move to an exact
    // allocation.
    int* release()
    {
        if (m_capacity - m_size <= m_size / 8)
            return m_data.release();
        int* exact = new int[m_size];
        std::memcpy(exact, m_data.get(), sizeof(int) * m_size);
        m_data.reset();
        return exact;
    }

private:
    void grow(std::size_t needed)
    {
        m_capacity = std::max(needed, 2 * m_capacity);
        std::unique_ptr<int[]> bigger(new int[m_capacity]);
        std::memcpy(bigger.get(), m_data.get(), sizeof(int) * m_size);
        m_data.swap(bigger);
    }

    std::size_t m_capacity;
    std::size_t m_size = 0;
    std::unique_ptr<int[]> m_data;
};
}  // namespace

void meshAdjVertices(const CompactMesh& mesh, const MeshAdjTris& adj, MeshAdjVertices& result)
{
    oxOS::StopWatch watch;
    watch.start();
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    MeshAdjVertices built;
    if (numVertices > 0)
    {
        const NeighbourSource source{adj, mesh.getTrianglesRaw(), numTriangles, numVertices};
        VertexStamps stamps(numVertices);
        std::unique_ptr<int[]> starts(new int[static_cast<std::size_t>(numVertices)]);
        RecordBuffer records(numVertices, numTriangles);
        int maxValence = 0;
        for (int v = 0; v < numVertices; ++v)
        {
            // A triangle adds at most its two other corners (three, should a stale table list a
            // triangle without v).
            int* record = records.reserve(1 + 3 * static_cast<std::size_t>(adj.numTris(v)));
            const int count = gatherNeighbours(v, source, stamps, record + 1);
            *record = count;
            starts[v] = static_cast<int>(records.size());
            records.commit(1 + static_cast<std::size_t>(count));
            maxValence = std::max(maxValence, count);
        }
        MeshAdjVertices table(numVertices, maxValence, starts.release(), records.release());
        built.swap(table);
    }
    result.swap(built);
    debugChannel().print("MeshAdjVertices: %d vertices, %d triangles: %f s\n", numVertices,
                         numTriangles, watch.stop());
}
}  // namespace oxGeom
