// Even-odd point-in-polygon test for the lasso selection. Each edge is taken from
// its lower to its upper end before the side test, so two polygons sharing an edge
// see the same arithmetic and a point on that edge belongs to exactly one of them.

#include <oxGeom/MeshSelect.h>

namespace oxGeom
{
namespace
{
// True when the edge (a, b) crosses the horizontal ray from p towards +x: one end
// strictly above p and the other not (half-open in y), and p strictly left of
// the edge as seen going upwards along it.
bool crossesRayToRight(const float* p, const float* a, const float* b)
{
    const bool aAbove = a[1] > p[1];
    const bool bAbove = b[1] > p[1];
    if (aAbove == bAbove)
        return false;
    const float* low = aAbove ? b : a;
    const float* high = aAbove ? a : b;
    const double side = (double(high[0]) - low[0]) * (double(p[1]) - low[1]) -
                        (double(p[0]) - low[0]) * (double(high[1]) - low[1]);
    return side > 0.0;
}
}  // namespace

bool pointPolygonIntersect2D(const float* point, const float* polygon, int count)
{
    if (!point || !polygon || count < 3)
        return false;
    bool inside = false;
    for (int i = 0; i < count; ++i)
        if (crossesRayToRight(point, polygon + 2 * i, polygon + 2 * i + 2))
            inside = !inside;
    return inside;
}
}  // namespace oxGeom
