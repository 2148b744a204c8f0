// meshRayClosestPt: the nearest mesh point to a start point chosen on a line, found with the
// vertex-octree search; the start point comes from the closest approach of two lines.

#include <oxGeom/meshClosestPoint.h>

#include <oxLinear/Tolerance.h>

#include <cfloat>

namespace oxGeom
{
MeshCoord meshRayClosestPt(const CompactMesh& mesh, double searchRadius, const Octree& octree,
                           const MeshAdjTris& adj, const oxLinear::Line& line,
                           const oxLinear::Point& p)
{
    const oxLinear::Line throughP(p, line.direction());
    bool parallel = false;
    const oxLinear::Point start =
        oxLinear::intersect(line, throughP, parallel, oxLinear::perpendicular2Tol);
    MeshCoord nearest;
    meshClosestPoint(mesh, octree, adj, start, searchRadius, DBL_MAX, nullptr, &nearest);
    return nearest;
}
}  // namespace oxGeom
