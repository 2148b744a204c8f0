// meshRayTriIntersect: one line against one mesh triangle with the two-sided
// ray-triangle test, the hit point evaluated on the line in double and rounded
// to floats once.

#include <oxGeom/meshRayIntersect.h>

#include <oxGeom/Ray.h>

namespace oxGeom
{
namespace
{
bool validCorner(int vertex, int numVertices)
{
    return static_cast<unsigned>(vertex) < static_cast<unsigned>(numVertices);
}
}  // namespace

bool meshRayTriIntersect(const CompactMesh& mesh, int triangle, const oxLinear::Line& line,
                         oxLinear::PointFlt& hit)
{
    if (static_cast<unsigned>(triangle) >= static_cast<unsigned>(mesh.getNumTriangles()))
        return false;
    const MeshTriangle& tri = mesh.getTriangles()[triangle];
    const int numVertices = mesh.getNumVertices();
    if (!validCorner(tri[0], numVertices) || !validCorner(tri[1], numVertices) ||
        !validCorner(tri[2], numVertices))
        return false;
    const MeshVertex* vertices = mesh.getVertices();
    const oxLinear::Point origin = line.origin();
    const oxLinear::Vector direction = line.direction();
    const oxLinear::PointFlt originFlt(origin);
    double t, u, v;
    if (!intersectRayTriangle(direction.data(), originFlt.data(), vertices[tri[0]].v,
                              vertices[tri[1]].v, vertices[tri[2]].v, t, u, v))
        return false;
    hit = oxLinear::PointFlt(line.eval(t));
    return true;
}

bool meshRayTriIntersect(const CompactMesh& mesh, int triangle, const oxLinear::Line& line,
                         oxLinear::Point& hit)
{
    oxLinear::PointFlt hitFlt;
    if (!meshRayTriIntersect(mesh, triangle, line, hitFlt))
        return false;
    hit = oxLinear::Point(hitFlt);
    return true;
}
}  // namespace oxGeom
