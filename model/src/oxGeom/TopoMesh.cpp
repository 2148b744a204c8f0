// TopoMesh: a half-edge polygon mesh in flat arrays. Handles are (mesh, index)
// pairs and every handle read checks its index, so a stale or foreign handle
// yields null values instead of reading outside the arrays. Outgoing half-edges
// of each vertex are threaded through the edges themselves, which keeps
// findEdge and meshTwin local without a per-vertex container.

#include "oxGeom/TopoMesh.h"

namespace oxGeom
{
namespace
{
std::size_t at(int i)
{
    return static_cast<std::size_t>(i);
}

// The mesh behind a handle when the handle names an existing edge, else null.
const TopoMesh* edgeMesh(const TopoMeshEdge& e)
{
    return e.mesh() && e.mesh()->isEdgeIndex(e.index()) ? e.mesh() : nullptr;
}
}  // namespace

// ---- handles ------------------------------------------------------------------------------

TopoMeshVertex TopoMeshVertex::next() const
{
    return m_mesh ? m_mesh->vertex(m_index + 1) : TopoMeshVertex();
}

oxLinear::Point TopoMeshVertex::point() const
{
    return m_mesh && m_mesh->isVertexIndex(m_index) ? m_mesh->pointAt(m_index) : oxLinear::Point();
}

TopoMeshEdge TopoMeshVertex::firstOutEdge() const
{
    if (!m_mesh || !m_mesh->isVertexIndex(m_index))
        return TopoMeshEdge();
    return m_mesh->edge(m_mesh->vertexFirstOut(m_index));
}

TopoMeshVertex TopoMeshEdge::origin() const
{
    const TopoMesh* mesh = edgeMesh(*this);
    return mesh ? mesh->vertex(mesh->halfEdge(m_index).origin) : TopoMeshVertex();
}

TopoMeshVertex TopoMeshEdge::destination() const
{
    return next().origin();
}

TopoMeshEdge TopoMeshEdge::next() const
{
    const TopoMesh* mesh = edgeMesh(*this);
    return mesh ? mesh->edge(mesh->halfEdge(m_index).next) : TopoMeshEdge();
}

TopoMeshEdge TopoMeshEdge::prev() const
{
    const TopoMesh* mesh = edgeMesh(*this);
    return mesh ? mesh->edge(mesh->halfEdge(m_index).prev) : TopoMeshEdge();
}

TopoMeshEdge TopoMeshEdge::twin() const
{
    const TopoMesh* mesh = edgeMesh(*this);
    return mesh ? mesh->edge(mesh->halfEdge(m_index).twin) : TopoMeshEdge();
}

TopoMeshFace TopoMeshEdge::face() const
{
    const TopoMesh* mesh = edgeMesh(*this);
    return mesh ? mesh->face(mesh->halfEdge(m_index).face) : TopoMeshFace();
}

TopoMeshEdge TopoMeshEdge::nextOutEdge() const
{
    const TopoMesh* mesh = edgeMesh(*this);
    return mesh ? mesh->edge(mesh->halfEdge(m_index).nextOut) : TopoMeshEdge();
}

TopoMeshFace TopoMeshFace::next() const
{
    return m_mesh ? m_mesh->face(m_index + 1) : TopoMeshFace();
}

int TopoMeshFace::numVertices() const
{
    return m_mesh && m_mesh->isFaceIndex(m_index) ? m_mesh->faceSize(m_index) : 0;
}

TopoMeshEdge TopoMeshFace::firstEdge() const
{
    if (!m_mesh || !m_mesh->isFaceIndex(m_index))
        return TopoMeshEdge();
    return m_mesh->edge(m_mesh->faceFirstEdge(m_index));
}

void TopoMeshFace::getVertices(ox::vector<TopoMeshVertex>& corners) const
{
    TopoMeshEdge e = firstEdge();
    for (int k = 0, n = numVertices(); k < n; ++k, e = e.next())
        corners.push_back(e.origin());
}

// ---- mesh ---------------------------------------------------------------------------------

TopoMeshVertex TopoMesh::vertex(int i) const
{
    return isVertexIndex(i) ? TopoMeshVertex(this, i) : TopoMeshVertex();
}

TopoMeshFace TopoMesh::face(int i) const
{
    return isFaceIndex(i) ? TopoMeshFace(this, i) : TopoMeshFace();
}

TopoMeshEdge TopoMesh::edge(int i) const
{
    return isEdgeIndex(i) ? TopoMeshEdge(this, i) : TopoMeshEdge();
}

TopoMeshVertex TopoMesh::allocVertex(const oxLinear::Point& p)
{
    m_points.push_back(p);
    m_firstOut.push_back(-1);
    m_lastOut.push_back(-1);
    return TopoMeshVertex(this, numVertices() - 1);
}

void TopoMesh::setPoint(TopoMeshVertex v, const oxLinear::Point& p)
{
    if (owns(v))
        m_points[at(v.index())] = p;
}

void TopoMesh::appendOutEdge(int vertex, int edge)
{
    int& last = m_lastOut[at(vertex)];
    if (last < 0)
        m_firstOut[at(vertex)] = edge;
    else
        m_edges[at(last)].nextOut = edge;
    last = edge;
}

TopoMeshFace TopoMesh::allocFace(const ox::vector<TopoMeshVertex>& corners)
{
    const int n = static_cast<int>(corners.size());
    if (n < 3)
        return TopoMeshFace();
    for (const TopoMeshVertex& v : corners)
        if (!owns(v))
            return TopoMeshFace();

    const int face = numFaces();
    const int first = numEdges();
    for (int k = 0; k < n; ++k)
    {
        HalfEdge e;
        e.origin = corners[at(k)].index();
        e.face = face;
        e.next = first + (k + 1) % n;
        e.prev = first + (k + n - 1) % n;
        m_edges.push_back(e);
        appendOutEdge(e.origin, first + k);
    }
    m_faceFirstEdge.push_back(first);
    m_faceSize.push_back(n);
    return TopoMeshFace(this, face);
}

void TopoMesh::setTwins(TopoMeshEdge e1, TopoMeshEdge e2)
{
    if (!owns(e1) || !owns(e2) || e1 == e2)
        return;
    const int a = e1.index();
    const int b = e2.index();
    for (int e : {a, b})
    {
        const int old = m_edges[at(e)].twin;
        if (old >= 0)
            m_edges[at(old)].twin = -1;
    }
    m_edges[at(a)].twin = b;
    m_edges[at(b)].twin = a;
}

TopoMeshEdge TopoMesh::findEdge(TopoMeshVertex v0, TopoMeshVertex v1)
{
    const TopoMesh* mesh = v0.mesh();
    if (!mesh || v1.mesh() != mesh || !mesh->isVertexIndex(v0.index()) ||
        !mesh->isVertexIndex(v1.index()))
        return TopoMeshEdge();
    for (int e = mesh->vertexFirstOut(v0.index()); e >= 0; e = mesh->halfEdge(e).nextOut)
        if (mesh->halfEdge(mesh->halfEdge(e).next).origin == v1.index())
            return TopoMeshEdge(mesh, e);
    return TopoMeshEdge();
}

void TopoMesh::clear()
{
    *this = TopoMesh();
}

// ---- twin linking -------------------------------------------------------------------------

namespace
{
// The first half-edge leaving `from` that runs to `to` and has no twin yet,
// other than `exclude`; -1 when there is none.
int findUnpairedEdge(const TopoMesh& mesh, int from, int to, int exclude)
{
    for (int e = mesh.vertexFirstOut(from); e >= 0; e = mesh.halfEdge(e).nextOut)
    {
        const TopoMesh::HalfEdge& candidate = mesh.halfEdge(e);
        if (e != exclude && candidate.twin < 0 && mesh.halfEdge(candidate.next).origin == to)
            return e;
    }
    return -1;
}
}  // namespace

int meshTwin(TopoMesh& mesh)
{
    int pairs = 0;
    for (int e = 0, n = mesh.numEdges(); e < n; ++e)
    {
        const TopoMesh::HalfEdge& edge = mesh.halfEdge(e);
        if (edge.twin >= 0)
            continue;
        const int a = edge.origin;
        const int b = mesh.halfEdge(edge.next).origin;
        const int partner = findUnpairedEdge(mesh, b, a, e);
        if (partner < 0)
            continue;
        mesh.setTwins(mesh.edge(e), mesh.edge(partner));
        ++pairs;
    }
    return pairs;
}
}  // namespace oxGeom
