// meshTriClosestPt: the nearest point of one triangle as a surface coordinate, a thin entry to
// MeshCoord::project so that every closest-point search projects triangles the same way.

#include <oxGeom/meshClosestPoint.h>

namespace oxGeom
{
MeshCoord meshTriClosestPt(const float* vertices, const int* triangles, int triangle,
                           const oxLinear::Point& p)
{
    MeshCoord coord(-1, 0.0, 0.0, 0.0);
    coord.project(triangle, vertices, triangles, p);
    return coord;
}
}  // namespace oxGeom
