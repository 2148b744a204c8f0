// Point, segment and placed-mesh tests against a view volume. The segment test
// rejects by planes first (cheap, and enough for most segments of a scene) and
// only then casts a ray against the twelve face triangles of the volume.

#include <oxGeom/frustumIntersect.h>

#include <oxGeom/Ray.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxLinear/Plane.h>
#include <oxLinear/Tolerance.h>

namespace oxGeom
{
namespace
{
// The twelve triangles of the volume's faces as corner triples: near face,
// side 0-1-5-4, side 3-0-4-7, side 1-2-6-5, side 2-3-7-6, far face. The
// segment test reports the first one crossed in this order.
constexpr int faceTriangles[12][3] = {{0, 1, 2}, {0, 2, 3}, {0, 4, 5}, {0, 5, 1},
                                      {3, 7, 4}, {3, 4, 0}, {2, 1, 5}, {2, 5, 6},
                                      {3, 7, 6}, {3, 6, 2}, {6, 7, 4}, {6, 4, 5}};

bool isOutside(const oxLinear::Point& p, const oxLinear::Plane& plane)
{
    return oxLinear::isAbove(p, plane, oxLinear::epsilonTol);
}

// Casts the ray a + t dir (dir of unit length) against the face triangles and
// returns the first crossing with 0 <= t <= length.
bool firstFaceCrossing(const oxLinear::PointFlt& a, const oxLinear::Vector& dir, double length,
                       const Frustum& f, oxLinear::PointFlt& hit)
{
    float corners[8][3];
    for (int i = 0; i < 8; ++i)
        for (int k = 0; k < 3; ++k)
            corners[i][k] = static_cast<float>(f.getCorner(i)[k]);
    for (const int* tri : faceTriangles)
    {
        double t = 0.0, u = 0.0, v = 0.0;
        if (!intersectRayTriangle(dir.data(), a.data(), corners[tri[0]], corners[tri[1]],
                                  corners[tri[2]], t, u, v))
            continue;
        if (t >= 0.0 && t <= length)
        {
            hit = oxLinear::PointFlt(oxLinear::Point(a) + dir * t);
            return true;
        }
    }
    return false;
}
}  // namespace

bool pointFrustumIntersect(const oxLinear::Point& p, const Frustum& f)
{
    for (int i = 0; i < 6; ++i)
        if (isOutside(p, f.getPlane(i)))
            return false;
    return true;
}

bool intersectBoxFrustum(const oxLinear::AffineMatrix& m, const CompactMesh& mesh, const Frustum& f)
{
    BoundingBox box;
    meshBoundingBox(mesh, box);
    box.transform(m);
    return intersects(box, f);
}

bool lineFrustumIntersect(const oxLinear::PointFlt& a, const oxLinear::PointFlt& b,
                          const Frustum& f, oxLinear::PointFlt& hit)
{
    const oxLinear::Point pa(a), pb(b);
    bool aInside = true, bInside = true;
    for (int i = 0; i < 6; ++i)
    {
        const bool aOut = isOutside(pa, f.getPlane(i));
        const bool bOut = isOutside(pb, f.getPlane(i));
        if (aOut && bOut)
            return false;
        aInside = aInside && !aOut;
        bInside = bInside && !bOut;
    }
    if (aInside || bInside)
    {
        hit = a;
        return true;
    }
    oxLinear::Vector dir = pb - pa;
    const double length = dir.normalize();
    return firstFaceCrossing(a, dir, length, f, hit);
}

bool lineFrustumIntersect(const oxLinear::PointFlt& a, const oxLinear::PointFlt& b,
                          const Frustum& f)
{
    oxLinear::PointFlt scratch;
    return lineFrustumIntersect(a, b, f, scratch);
}
}  // namespace oxGeom
