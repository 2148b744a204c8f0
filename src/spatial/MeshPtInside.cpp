// MeshPtInside: inside/outside of a closed mesh from the nearest surface point.
// The side is read from the interpolated vertex normal there rather than by
// counting ray crossings, so a query costs one nearest-point search and does
// not depend on rays grazing edges or vertices.

#include <oxGeom/MeshPtInside.h>

#include <oxGeom/meshBoundingBox.h>

namespace oxGeom
{
namespace
{
bool cornersInRange(const MeshTriangle& tri, int numVertices)
{
    for (int k = 0; k < 3; ++k)
        if (static_cast<unsigned>(tri[k]) >= static_cast<unsigned>(numVertices))
            return false;
    return true;
}

oxLinear::Vector toVector(const float* xyz)
{
    return oxLinear::Vector(xyz[0], xyz[1], xyz[2]);
}

/// The normal at `c`: vertex normals blended by c's weights, or without vertex
/// normals the triangle's winding normal (any length: only its sign is used).
oxLinear::Vector normalAt(const CompactMesh& mesh, const MeshTriangle& tri, const MeshCoord& c)
{
    const MeshNormal* normals = mesh.getNormals();
    if (normals)
        return oxLinear::combine(c.weights[0], toVector(normals[tri[0]].v), c.weights[1],
                                 toVector(normals[tri[1]].v), c.weights[2],
                                 toVector(normals[tri[2]].v));
    const MeshVertex* vertices = mesh.getVertices();
    const oxLinear::Vector a = toVector(vertices[tri[0]].v);
    return oxLinear::cross(toVector(vertices[tri[1]].v) - a, toVector(vertices[tri[2]].v) - a);
}
}  // namespace

MeshPtInside::MeshPtInside(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris,
                           double tolerance)
    : m_mesh(mesh), m_closest(mesh, octree, tris), m_tolerance(tolerance)
{
    meshBoundingBox(mesh, m_box);
}

MeshPtInside::Result MeshPtInside::evaluate(const oxLinear::Point& p)
{
    if (!m_box.contains(oxLinear::PointFlt(p)))
        return Outside;
    MeshCoord c;
    const double distance = m_closest.compute(p, &c);
    if (m_tolerance > distance)
        return OnSurface;
    if (!c.valid() || c.triangle >= m_mesh.getNumTriangles())
        return Outside;
    const MeshTriangle& tri = m_mesh.getTriangles()[c.triangle];
    if (!cornersInRange(tri, m_mesh.getNumVertices()))
        return Outside;
    const oxLinear::Point q = c.evaluate(m_mesh.getVerticesRaw(), m_mesh.getTrianglesRaw());
    return oxLinear::dot(q - p, normalAt(m_mesh, tri, c)) >= 0.0 ? Inside : Outside;
}
}  // namespace oxGeom
