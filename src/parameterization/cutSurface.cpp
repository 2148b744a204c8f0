// Cuts a mesh into topological disks along a tree-cotree cut graph: the edges that a spanning
// tree of the triangles does not cross, pruned of dangling branches. The cut is applied by
// grouping the triangle corners at each vertex into fans joined across uncut edges (a
// union-find over corners), one vertex per fan, which also separates fans that only touch.
// Based on: Eppstein 2003 (tree-cotree decomposition); Erickson and Har-Peled 2004 (cut graphs).

#include <oxGeom/cutSurface.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/Remap.h>
#include <oxGeom/debugChannel.h>
#include <oxGeom/meshAdjacency.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <numeric>

namespace oxGeom
{
namespace cutSurface
{
namespace
{
// Half-edge h = 3 t + c runs from corner c of triangle t to corner (c + 1) mod 3.
class CutGraph
{
public:
    explicit CutGraph(const CompactMesh& mesh)
        : m_corners(mesh.getTrianglesRaw()),
          m_numVertices(mesh.getNumVertices()),
          m_numTriangles(mesh.getNumTriangles()),
          m_twin(3 * static_cast<std::size_t>(m_numTriangles), -1),
          m_cut(3 * static_cast<std::size_t>(m_numTriangles), 0),
          m_piece(static_cast<std::size_t>(m_numTriangles), -1)
    {
        meshAdjTris(mesh, m_adj);
        pairHalfEdges();
    }

    // Builds the pruned cut graph; returns the number of cut edges.
    int build()
    {
        growSpanningTrees();
        markUncrossedEdges();
        pruneDanglingBranches();
        cutClosedSpheres();
        int edges = 0;
        for (std::size_t h = 0; h < m_cut.size(); ++h)
            edges += m_cut[h] && m_twin[h] > static_cast<int>(h);
        return edges;
    }

    // For every corner, the vertex it becomes; `origins` gets the original of each vertex
    // appended after the last old one.
    ox::vector<int> splitVertices(ox::vector<int>& origins) const
    {
        ox::vector<int> parent(3 * static_cast<std::size_t>(m_numTriangles));
        std::iota(parent.begin(), parent.end(), 0);
        for (int h = 0; h < 3 * m_numTriangles; ++h)
        {
            const int g = m_twin[h];
            if (g < h || m_cut[h])
                continue;
            // h runs a -> b, its twin b -> a: the corners at a are h's start and the twin's
            // end, the corners at b the other two.
            unite(parent, h, nextCorner(g));
            unite(parent, nextCorner(h), g);
        }
        ox::vector<int> vertexOf(parent.size(), -1);
        ox::vector<int> firstRoot(static_cast<std::size_t>(m_numVertices), -1);
        int next = m_numVertices;
        for (int k = 0; k < 3 * m_numTriangles; ++k)
        {
            const int v = m_corners[k];
            if (!isValid(k / 3))
            {
                vertexOf[k] = v;
                continue;
            }
            const int root = find(parent, k);
            if (vertexOf[root] < 0)
            {
                if (firstRoot[v] < 0)
                {
                    firstRoot[v] = root;
                    vertexOf[root] = v;
                }
                else
                {
                    vertexOf[root] = next++;
                    origins.push_back(v);
                }
            }
            vertexOf[k] = vertexOf[root];
        }
        return vertexOf;
    }

private:
    static int nextCorner(int h) { return h - h % 3 + (h % 3 + 1) % 3; }
    int from(int h) const { return m_corners[h]; }
    int to(int h) const { return m_corners[nextCorner(h)]; }

    bool isValid(int t) const
    {
        const int* c = m_corners + 3 * t;
        for (int k = 0; k < 3; ++k)
            if (static_cast<unsigned>(c[k]) >= static_cast<unsigned>(m_numVertices))
                return false;
        return c[0] != c[1] && c[1] != c[2] && c[2] != c[0];
    }

    static int find(ox::vector<int>& parent, int k)
    {
        while (parent[k] != k)
        {
            parent[k] = parent[parent[k]];
            k = parent[k];
        }
        return k;
    }
    static void unite(ox::vector<int>& parent, int a, int b)
    {
        a = find(parent, a);
        b = find(parent, b);
        if (a != b)
            parent[std::max(a, b)] = std::min(a, b);
    }

    // An edge gets a twin only when exactly two valid triangles share it and they run it in
    // opposite directions; every other edge acts as a boundary.
    void pairHalfEdges()
    {
        for (int h = 0; h < 3 * m_numTriangles; ++h)
        {
            if (!isValid(h / 3))
                continue;
            const int a = from(h), b = to(h);
            const int* around = m_adj.triIndices(a);
            int sharing = 0, twin = -1;
            for (int i = 0; i < m_adj.numTris(a); ++i)
            {
                const int s = around[i];
                if (s == h / 3 || !isValid(s))
                    continue;
                for (int k = 0; k < 3; ++k)
                    if (m_corners[3 * s + k] == b)
                    {
                        ++sharing;
                        if (to(3 * s + k) == a)
                            twin = 3 * s + k;
                    }
            }
            if (sharing == 1 && twin >= 0)
                m_twin[h] = twin;
        }
    }

    // Breadth-first trees of triangles, one per edge-connected piece, each rooted at the
    // piece's lowest triangle; m_crossed marks the edges the trees cross.
    void growSpanningTrees()
    {
        m_crossed.assign(m_twin.size(), 0);
        ox::vector<int> queue;
        queue.reserve(static_cast<std::size_t>(m_numTriangles));
        for (int root = 0; root < m_numTriangles; ++root)
        {
            if (m_piece[root] >= 0 || !isValid(root))
                continue;
            const int piece = static_cast<int>(m_pieceRoots.size());
            m_pieceRoots.push_back(root);
            m_piece[root] = piece;
            queue.clear();
            queue.push_back(root);
            for (std::size_t head = 0; head < queue.size(); ++head)
                for (int h = 3 * queue[head]; h < 3 * queue[head] + 3; ++h)
                {
                    const int g = m_twin[h];
                    if (g < 0 || m_piece[g / 3] >= 0)
                        continue;
                    m_piece[g / 3] = piece;
                    m_crossed[h] = m_crossed[g] = 1;
                    queue.push_back(g / 3);
                }
        }
    }

    void markUncrossedEdges()
    {
        for (std::size_t h = 0; h < m_twin.size(); ++h)
            m_cut[h] = m_twin[h] >= 0 && !m_crossed[h];
    }

    // Repeatedly uncuts an edge whose end has no other cut or boundary edge. Boundary edges
    // count towards a vertex's degree but are never removed, so paths joining boundaries stay.
    void pruneDanglingBranches()
    {
        ox::vector<int> degree(static_cast<std::size_t>(m_numVertices), 0);
        ox::vector<int> starts(static_cast<std::size_t>(m_numVertices) + 1, 0);
        for (int h = 0; h < 3 * m_numTriangles; ++h)
        {
            if (!isValid(h / 3))
                continue;
            if (m_twin[h] < 0)
            {
                ++degree[from(h)];
                ++degree[to(h)];
            }
            else if (m_cut[h] && m_twin[h] > h)
            {
                ++degree[from(h)];
                ++degree[to(h)];
                ++starts[from(h) + 1];
                ++starts[to(h) + 1];
            }
        }
        std::partial_sum(starts.begin(), starts.end(), starts.begin());
        ox::vector<int> edgesAt(static_cast<std::size_t>(starts.back()));
        ox::vector<int> fill(starts.begin(), starts.end() - 1);
        for (int h = 0; h < 3 * m_numTriangles; ++h)
            if (m_cut[h] && m_twin[h] > h)
            {
                edgesAt[fill[from(h)]++] = h;
                edgesAt[fill[to(h)]++] = h;
            }
        ox::vector<int> leaves;
        for (int v = 0; v < m_numVertices; ++v)
            if (degree[v] == 1)
                leaves.push_back(v);
        while (!leaves.empty())
        {
            const int v = leaves.back();
            leaves.pop_back();
            if (degree[v] != 1)
                continue;
            for (int i = starts[v]; i < starts[v + 1]; ++i)
            {
                const int h = edgesAt[i];
                if (!m_cut[h])
                    continue;
                m_cut[h] = m_cut[m_twin[h]] = 0;
                const int other = from(h) == v ? to(h) : from(h);
                --degree[v];
                if (--degree[other] == 1)
                    leaves.push_back(other);
                break;
            }
        }
    }

    // A closed piece of genus 0 has lost its whole cut graph to pruning; it is opened along
    // a path between two vertices far apart instead.
    void cutClosedSpheres()
    {
        ox::vector<char> opened(m_pieceRoots.size(), 0);
        for (int h = 0; h < 3 * m_numTriangles; ++h)
            if (m_piece[h / 3] >= 0 && (m_cut[h] || m_twin[h] < 0))
                opened[m_piece[h / 3]] = 1;
        for (std::size_t piece = 0; piece < m_pieceRoots.size(); ++piece)
            if (!opened[piece])
                cutAlongPath(farApartPath(static_cast<int>(piece)));
    }

    // Breadth-first sweep from `source` over the edges of one piece; returns the last vertex
    // reached, one of those farthest from the source, and leaves the parents in `parent`.
    int sweep(int source, int piece, ox::vector<int>& parent) const
    {
        parent.assign(static_cast<std::size_t>(m_numVertices), -2);
        ox::vector<int> queue(1, source);
        parent[source] = -1;
        for (std::size_t head = 0; head < queue.size(); ++head)
        {
            const int v = queue[head];
            const int* around = m_adj.triIndices(v);
            for (int i = 0; i < m_adj.numTris(v); ++i)
            {
                if (m_piece[around[i]] != piece)
                    continue;
                for (int k = 0; k < 3; ++k)
                {
                    const int w = m_corners[3 * around[i] + k];
                    if (parent[w] == -2)
                    {
                        parent[w] = v;
                        queue.push_back(w);
                    }
                }
            }
        }
        return queue.back();
    }

    ox::vector<int> farApartPath(int piece) const
    {
        ox::vector<int> parent;
        const int a = sweep(m_corners[3 * m_pieceRoots[piece]], piece, parent);
        const int b = sweep(a, piece, parent);
        ox::vector<int> path;
        for (int v = b; v >= 0; v = parent[v])
            path.push_back(v);
        if (path.size() == 2)
        {
            // Neighbours everywhere (a tetrahedron): go on to a third vertex, so that the cut
            // splits the middle vertex and opens a boundary of four edges.
            const int* around = m_adj.triIndices(a);
            for (int i = 0; i < m_adj.numTris(a) && path.size() == 2; ++i)
                for (int k = 0; k < 3 && m_piece[around[i]] == piece && path.size() == 2; ++k)
                {
                    const int w = m_corners[3 * around[i] + k];
                    if (w != a && w != b)
                        path.push_back(w);
                }
        }
        return path;
    }

    void cutAlongPath(const ox::vector<int>& path)
    {
        for (std::size_t i = 0; i + 1 < path.size(); ++i)
        {
            const int a = path[i], b = path[i + 1];
            const int* around = m_adj.triIndices(a);
            for (int j = 0; j < m_adj.numTris(a); ++j)
            {
                const int t = around[j];
                if (!isValid(t))
                    continue;
                for (int h = 3 * t; h < 3 * t + 3; ++h)
                    if (from(h) == a && to(h) == b && m_twin[h] >= 0)
                        m_cut[h] = m_cut[m_twin[h]] = 1;
            }
        }
    }

    const int* m_corners;
    int m_numVertices;
    int m_numTriangles;
    MeshAdjTris m_adj;
    ox::vector<int> m_twin;
    ox::vector<char> m_cut;      // per half-edge: the edge belongs to the cut graph
    ox::vector<char> m_crossed;  // per half-edge: the spanning tree crosses the edge
    ox::vector<int> m_piece;     // per triangle: its edge-connected piece, -1 for invalid ones
    ox::vector<int> m_pieceRoots;
};

void copyVertexData(CompactMesh& mesh, int oldCount, const ox::vector<int>& origins)
{
    mesh.resizeVertexArray(oldCount + static_cast<int>(origins.size()));
    for (int a = 0; a < mesh.getNumAttributes(); ++a)
    {
        MeshAttributes* channel = mesh.getAttributes(a);
        const int dim = channel->getDimension();
        float* values = channel->asFloat();
        for (std::size_t i = 0; i < origins.size(); ++i)
            std::copy_n(values + static_cast<std::size_t>(origins[i]) * dim, dim,
                        values + (static_cast<std::size_t>(oldCount) + i) * dim);
    }
    BitVector& selected = mesh.getSelectedVertices();
    for (std::size_t i = 0; i < origins.size(); ++i)
        if (selected.isBitSet(origins[i]))
            selected.setBit(oldCount + static_cast<int>(i));
}

void announce(CompactMesh& mesh, int oldCount)
{
    Remap vertexMap(oldCount, mesh.getNumVertices());
    vertexMap.setSequential();
    vertexMap.setRangeSize(mesh.getNumVertices());
    MeshRemap remap(&vertexMap, nullptr);
    MeshModification modification(&mesh, MeshModification::Topology, &remap);
    modification.polysModified();
    modification.triangleNormalsValid();
    if (mesh.getNormals())
        modification.normalsValid();
    if (mesh.getUVs())
        modification.uvsValid();
    if (mesh.getSTs())
        modification.stsValid();
    mesh.modified(modification);
}
}  // namespace

bool makeDisk(CompactMesh& mesh)
{
    oxOS::StopWatch watch;
    watch.start();
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    ox::vector<int> origins;
    int cutEdges = 0;
    if (numTriangles > 0)
    {
        CutGraph graph(mesh);
        cutEdges = graph.build();
        const ox::vector<int> vertexOf = graph.splitVertices(origins);
        if (!origins.empty())
        {
            copyVertexData(mesh, numVertices, origins);
            std::copy(vertexOf.begin(), vertexOf.end(), mesh.getTrianglesRaw());
            announce(mesh, numVertices);
        }
    }
    debugChannel().print(
        "cutSurface::makeDisk: %d vertices, %d triangles, %d cut edges, %d vertices added: %f "
        "s\n",
        numVertices, numTriangles, cutEdges, static_cast<int>(origins.size()), watch.stop());
    return !origins.empty();
}
}  // namespace cutSurface
}  // namespace oxGeom
