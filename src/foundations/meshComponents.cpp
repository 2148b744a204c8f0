// Connected components by flood fill over shared vertices, for indexed and topological
// meshes. The flood uses an explicit stack sized once (a component can hold every element),
// so deep meshes cannot overflow the call stack and the loop allocates nothing.

#include <oxGeom/meshComponents.h>

#include <oxGeom/BitVector.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <memory>

namespace oxGeom
{
namespace
{
class IndexedFlood
{
public:
    IndexedFlood(const CompactMesh& mesh, const MeshAdjTris& adj, int* labels)
        : m_corners(mesh.getTrianglesRaw()),
          m_numTriangles(mesh.getNumTriangles()),
          m_numVertices(mesh.getNumVertices()),
          m_adj(adj),
          m_labels(labels),
          m_reached(m_numTriangles),
          m_expanded(m_numVertices),
          m_stack(new int[static_cast<std::size_t>(m_numTriangles)])
    {
    }

    int countComponents()
    {
        int components = 0;
        for (int t = 0; t < m_numTriangles; ++t)
        {
            // A triangle with a corner out of range is not in the adjacency table; it belongs
            // to no component, as it belongs to no vertex list.
            if (m_reached.isBitSet(t) || !hasValidCorners(t))
                continue;
            flood(t, components);
            ++components;
        }
        return components;
    }

private:
    bool isTriangle(int t) const
    {
        return static_cast<unsigned>(t) < static_cast<unsigned>(m_numTriangles);
    }
    bool isVertex(int v) const
    {
        return static_cast<unsigned>(v) < static_cast<unsigned>(m_numVertices);
    }
    bool hasValidCorners(int t) const
    {
        const int* triangle = m_corners + 3 * t;
        return isVertex(triangle[0]) && isVertex(triangle[1]) && isVertex(triangle[2]);
    }

    // The seed goes on the stack unmarked: it is marked, and processed a second time, when
    // the flood meets it again through its own corners. That costs one extra visit and saves
    // a special case. Every push but the seed's follows a mark, so the stack never holds more
    // entries than the component has triangles.
    //
    // A vertex's list is scanned only the first time one of its triangles is popped: that
    // scan marks every triangle of the list, so a later scan would push nothing. Skipping it
    // changes no push and no label, and reads each list once instead of once per triangle.
    void flood(int seed, int component)
    {
        int top = 0;
        m_stack[top++] = seed;
        while (top > 0)
        {
            const int* triangle = m_corners + 3 * m_stack[--top];
            for (int k = 0; k < 3; ++k)
            {
                const int v = triangle[k];
                if (!isVertex(v) || m_expanded.isBitSet(v))
                    continue;
                m_expanded.setBit(v);
                if (m_labels)
                    m_labels[v] = component;
                top = pushUnreachedAround(v, top);
            }
        }
    }

    int pushUnreachedAround(int v, int top)
    {
        const int* around = m_adj.triIndices(v);
        const int count = m_adj.numTris(v);
        for (int i = 0; i < count; ++i)
        {
            const int s = around[i];
            // Entries naming no triangle of this mesh come only from a foreign table.
            if (!isTriangle(s) || m_reached.isBitSet(s))
                continue;
            m_reached.setBit(s);
            m_stack[top++] = s;
        }
        return top;
    }

    const int* m_corners;
    int m_numTriangles;
    int m_numVertices;
    const MeshAdjTris& m_adj;
    int* m_labels;
    BitVector m_reached;
    BitVector m_expanded;  // vertices whose triangles have all been reached
    std::unique_ptr<int[]> m_stack;
};

class TopoFlood
{
public:
    explicit TopoFlood(const TopoMesh& mesh)
        : m_mesh(mesh),
          m_reached(mesh.numFaces()),
          m_expanded(mesh.numVertices()),
          m_stack(new int[mesh.numFaces() + 1u])
    {
    }

    // Faces in list order, which is creation order.
    int countComponents()
    {
        int components = 0;
        for (TopoMeshFace f = m_mesh.firstFace(); f; f = f.next())
        {
            if (m_reached.isBitSet(f.index()))
                continue;
            flood(f.index());
            ++components;
        }
        return components;
    }

private:
    // Marks each face when it is pushed, so each face is pushed at most once.
    void flood(int seed)
    {
        int top = 0;
        m_reached.setBit(seed);
        m_stack[top++] = seed;
        while (top > 0)
        {
            const int face = m_stack[--top];
            const int first = m_mesh.faceFirstEdge(face);
            int e = first;
            do
            {
                // As in the indexed flood, a vertex's faces are all reached after its first
                // scan.
                const int v = m_mesh.halfEdge(e).origin;
                if (!m_expanded.isBitSet(v))
                {
                    m_expanded.setBit(v);
                    top = pushUnreachedAround(v, top);
                }
                e = m_mesh.halfEdge(e).next;
            } while (e != first && e >= 0);
        }
    }

    // Every face with a corner at v owns a half-edge leaving v.
    int pushUnreachedAround(int v, int top)
    {
        for (int e = m_mesh.vertexFirstOut(v); e >= 0; e = m_mesh.halfEdge(e).nextOut)
        {
            const int face = m_mesh.halfEdge(e).face;
            if (m_reached.isBitSet(face))
                continue;
            m_reached.setBit(face);
            m_stack[top++] = face;
        }
        return top;
    }

    const TopoMesh& m_mesh;
    BitVector m_reached;
    BitVector m_expanded;
    std::unique_ptr<int[]> m_stack;
};
}  // namespace

int meshComponents(const CompactMesh& mesh, const MeshAdjTris& adj, ox::Array<int>* vertexLabels)
{
    debugChannel().print("meshComponents(): %d triangles\n", mesh.getNumTriangles());
    oxOS::StopWatch watch;
    watch.start();
    if (vertexLabels)
        vertexLabels->assign(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    IndexedFlood flood(mesh, adj, vertexLabels ? vertexLabels->data() : nullptr);
    const int components = flood.countComponents();
    debugChannel().print("   %d components: %f s\n", components, watch.stop());
    return components;
}

int meshComponents(TopoMesh& mesh)
{
    TopoFlood flood(mesh);
    return flood.countComponents();
}
}  // namespace oxGeom
