#pragma once
// A topological polygon mesh in half-edge form: vertices, faces of any corner
// count, and per face a cycle of half-edges that may be linked to their
// opposite half-edges in neighbouring faces. Elements live in index-addressed
// arrays; the handles below are (mesh, index) values.

#include <functional>
#include <vector>

#include "ox/containers.h"
#include "oxLinear/Point.h"

namespace oxGeom
{
class TopoMesh;
class TopoMeshEdge;
class TopoMeshFace;

namespace detail
{
/// What the three handle types share: a mesh pointer and an index, -1 (with a
/// null mesh) for the null handle; equality and a strict order on (mesh, index).
class TopoMeshHandle
{
public:
    bool isNull() const { return m_index < 0; }
    explicit operator bool() const { return !isNull(); }
    int index() const { return m_index; }
    const TopoMesh* mesh() const { return m_mesh; }

protected:
    TopoMeshHandle() = default;
    TopoMeshHandle(const TopoMesh* mesh, int index)
        : m_mesh(mesh && index >= 0 ? mesh : nullptr), m_index(mesh && index >= 0 ? index : -1)
    {
    }
    bool sameAs(const TopoMeshHandle& o) const
    {
        return m_mesh == o.m_mesh && m_index == o.m_index;
    }
    bool before(const TopoMeshHandle& o) const
    {
        if (m_mesh != o.m_mesh)
            return std::less<const TopoMesh*>()(m_mesh, o.m_mesh);
        return m_index < o.m_index;
    }

    const TopoMesh* m_mesh = nullptr;
    int m_index = -1;
};
}  // namespace detail

/// Handle of a TopoMesh vertex: a mesh pointer and an index. The null handle
/// (index -1, no mesh) ends the vertex list and stands for "no vertex"; a
/// negative index or a null mesh given to the constructor makes the null handle.
///
/// Handles compare equal when they name the same element of the same mesh (all
/// null handles are equal) and are ordered by (mesh, index), so they serve as
/// keys of an ordered map. A handle stays valid while its mesh lives (elements
/// are never removed). Reads only; thread safety is that of const access to
/// the mesh.
class TopoMeshVertex : public detail::TopoMeshHandle
{
public:
    /// The null handle.
    TopoMeshVertex() = default;
    TopoMeshVertex(const TopoMesh* mesh, int index) : TopoMeshHandle(mesh, index) {}

    /// The vertex created after this one; null after the last and for null.
    TopoMeshVertex next() const;
    /// The position; (0, 0, 0) for the null handle.
    oxLinear::Point point() const;
    /// The first outgoing half-edge (in creation order); null when the vertex
    /// is on no face.
    TopoMeshEdge firstOutEdge() const;

    friend bool operator==(const TopoMeshVertex& a, const TopoMeshVertex& b) { return a.sameAs(b); }
    friend bool operator!=(const TopoMeshVertex& a, const TopoMeshVertex& b)
    {
        return !a.sameAs(b);
    }
    friend bool operator<(const TopoMeshVertex& a, const TopoMeshVertex& b) { return a.before(b); }
};

/// Handle of a half-edge. Each face owns one half-edge per corner, running
/// from that corner to the next one round the face. Same value semantics as
/// TopoMeshVertex.
class TopoMeshEdge : public detail::TopoMeshHandle
{
public:
    TopoMeshEdge() = default;
    TopoMeshEdge(const TopoMesh* mesh, int index) : TopoMeshHandle(mesh, index) {}

    /// The vertex this half-edge starts at, and the one it runs to.
    TopoMeshVertex origin() const;
    TopoMeshVertex destination() const;
    /// The next and previous half-edge round the same face.
    TopoMeshEdge next() const;
    TopoMeshEdge prev() const;
    /// The opposite half-edge in the neighbouring face; null on a boundary.
    TopoMeshEdge twin() const;
    bool isBoundary() const { return twin().isNull(); }
    /// The face this half-edge belongs to.
    TopoMeshFace face() const;
    /// The next half-edge leaving the same origin vertex (creation order);
    /// null after the last.
    TopoMeshEdge nextOutEdge() const;

    friend bool operator==(const TopoMeshEdge& a, const TopoMeshEdge& b) { return a.sameAs(b); }
    friend bool operator!=(const TopoMeshEdge& a, const TopoMeshEdge& b) { return !a.sameAs(b); }
    friend bool operator<(const TopoMeshEdge& a, const TopoMeshEdge& b) { return a.before(b); }
};

/// Handle of a face. Same value semantics as TopoMeshVertex.
class TopoMeshFace : public detail::TopoMeshHandle
{
public:
    TopoMeshFace() = default;
    TopoMeshFace(const TopoMesh* mesh, int index) : TopoMeshHandle(mesh, index) {}

    /// The face created after this one; null after the last and for null.
    TopoMeshFace next() const;
    /// Corner count (>= 3); 0 for the null handle.
    int numVertices() const;
    /// The face's first half-edge: it leaves the first corner given to allocFace.
    /// Walking edge.next() numVertices() times visits the corners in order.
    TopoMeshEdge firstEdge() const;
    /// Appends the corners in order, starting at the first edge's origin.
    void getVertices(ox::vector<TopoMeshVertex>& corners) const;

    friend bool operator==(const TopoMeshFace& a, const TopoMeshFace& b) { return a.sameAs(b); }
    friend bool operator!=(const TopoMeshFace& a, const TopoMeshFace& b) { return !a.sameAs(b); }
    friend bool operator<(const TopoMeshFace& a, const TopoMeshFace& b) { return a.before(b); }
};

/// The half-edge mesh. Vertices, faces and half-edges are numbered in creation
/// order; the vertex and face lists run in that order.
///
/// Each vertex keeps a singly linked list of its outgoing half-edges (threaded
/// through the edges, no per-vertex allocation), which findEdge and meshTwin
/// search. Faces are created unlinked; setTwins or meshTwin connect them.
///
/// Thread safety: const members and handle reads may run concurrently; any
/// allocation or setTwins needs exclusive access.
class TopoMesh
{
public:
    /// An empty mesh.
    TopoMesh() = default;
    /// Copies keep the structure; handles still name the mesh they came from.
    TopoMesh(const TopoMesh&) = default;
    TopoMesh& operator=(const TopoMesh&) = default;

    int numVertices() const { return static_cast<int>(m_points.size()); }
    int numFaces() const { return static_cast<int>(m_faceFirstEdge.size()); }
    /// Number of half-edges (the sum of all face corner counts).
    int numEdges() const { return static_cast<int>(m_edges.size()); }

    /// Starts of the vertex and face lists; null for an empty list.
    TopoMeshVertex firstVertex() const { return vertex(0); }
    TopoMeshFace firstFace() const { return face(0); }
    /// The element with index i; null when i is out of range.
    TopoMeshVertex vertex(int i) const;
    TopoMeshFace face(int i) const;
    TopoMeshEdge edge(int i) const;

    /// Appends a vertex at `p` and returns its handle. O(1) amortised.
    TopoMeshVertex allocVertex(const oxLinear::Point& p);
    /// Moves a vertex; ignored for a handle that is null or of another mesh.
    void setPoint(TopoMeshVertex v, const oxLinear::Point& p);

    /// Appends a face over `corners` in that order (one half-edge per corner,
    /// corner k to corner k + 1, the last back to the first) without linking it
    /// to any neighbour. Returns the null handle, and changes nothing, when
    /// there are fewer than 3 corners or a corner is null or of another mesh.
    /// Repeated corners are accepted as given. O(number of corners).
    TopoMeshFace allocFace(const ox::vector<TopoMeshVertex>& corners);

    /// Makes e1 and e2 each other's twin. A previous twin of either is
    /// unlinked first (left a boundary edge), so twins always come in pairs.
    /// Ignored when either handle is null or of another mesh, or e1 == e2.
    /// The directions are not checked. O(1).
    void setTwins(TopoMeshEdge e1, TopoMeshEdge e2);

    /// The first half-edge (in creation order) running from v0 to v1, or the
    /// null handle; null when the two handles are null or of different meshes.
    /// O(number of edges leaving v0).
    static TopoMeshEdge findEdge(TopoMeshVertex v0, TopoMeshVertex v1);

    /// Removes every element.
    void clear();

    /// Raw element data behind the handles (index-based access for algorithms).
    struct HalfEdge
    {
        int origin = -1;   ///< vertex the edge leaves
        int face = -1;     ///< face it belongs to
        int next = -1;     ///< next edge round the face
        int prev = -1;     ///< previous edge round the face
        int twin = -1;     ///< opposite edge, -1 on a boundary
        int nextOut = -1;  ///< next edge leaving the same origin, -1 at the end
    };
    const HalfEdge& halfEdge(int e) const { return m_edges[static_cast<std::size_t>(e)]; }
    const oxLinear::Point& pointAt(int v) const { return m_points[static_cast<std::size_t>(v)]; }
    int faceFirstEdge(int f) const { return m_faceFirstEdge[static_cast<std::size_t>(f)]; }
    int faceSize(int f) const { return m_faceSize[static_cast<std::size_t>(f)]; }
    int vertexFirstOut(int v) const { return m_firstOut[static_cast<std::size_t>(v)]; }
    bool isVertexIndex(int v) const
    {
        return static_cast<unsigned>(v) < static_cast<unsigned>(numVertices());
    }
    bool isFaceIndex(int f) const
    {
        return static_cast<unsigned>(f) < static_cast<unsigned>(numFaces());
    }
    bool isEdgeIndex(int e) const
    {
        return static_cast<unsigned>(e) < static_cast<unsigned>(numEdges());
    }

private:
    bool owns(const TopoMeshVertex& v) const
    {
        return v.mesh() == this && isVertexIndex(v.index());
    }
    bool owns(const TopoMeshEdge& e) const { return e.mesh() == this && isEdgeIndex(e.index()); }
    void appendOutEdge(int vertex, int edge);

    std::vector<oxLinear::Point> m_points;
    std::vector<int> m_firstOut;  // per vertex, -1 when no edge leaves it
    std::vector<int> m_lastOut;   // per vertex, for O(1) append in creation order
    std::vector<HalfEdge> m_edges;
    std::vector<int> m_faceFirstEdge;
    std::vector<int> m_faceSize;
};

/// Links twin half-edges: every half-edge a -> b still without a twin is
/// paired with the first unpaired half-edge b -> a leaving b (creation order),
/// through setTwins. Half-edges are visited in creation order; existing twins
/// are kept; half-edges without a partner stay boundary edges. Where more than
/// two faces share an edge, the pairs are formed in creation order and the
/// rest stay unpaired. Returns the number of pairs formed.
/// Thread safety: needs exclusive access to the mesh. Cost O(E * d), E half-edges,
/// d the largest number of half-edges leaving one vertex.
int meshTwin(TopoMesh& mesh);
}  // namespace oxGeom
