// Ray: the per-ray constants of the slab test (float reciprocals, near and far
// box coordinates per axis, chosen once by the direction's signs) and the
// record of the nearest triangle hit, which the triangle test keeps.
// Based on: Williams, Barrus, Morley and Shirley, "An Efficient and Robust
// Ray-Box Intersection Algorithm" (2005).

#include <oxGeom/Ray.h>

#include <oxLinear/Tolerance.h>

#include <cfloat>

namespace oxGeom
{
namespace
{
/// The largest float, as a double: the "no hit yet" ray parameter.
constexpr double noHitParam = 3.4028234663852886e38;

/// (value - origin) * reciprocal, with the 0 * infinity of an origin lying on
/// the plane of a parallel slab replaced by `ifUndefined`.
inline float slabParam(float value, float origin, float reciprocal, float ifUndefined)
{
    const float t = (value - origin) * reciprocal;
    return t != t ? ifUndefined : t;
}
}  // namespace

Ray::Ray(const oxLinear::PointFlt& origin, const oxLinear::Vector& direction)
    : m_origin(&origin), m_direction(&direction)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        m_reciprocal[axis] = static_cast<float>(1.0 / direction[axis]);
        const bool negative = m_reciprocal[axis] < 0.0f;
        m_near[axis] = negative ? axis + 3 : axis;
        m_far[axis] = negative ? axis : axis + 3;
    }
    resetIntersection();
}

bool Ray::intersects(const BoundingBox& box, float tmin, float tmax) const
{
    if (!box.isValid())
        return false;
    const float* b = box.m_box;
    const float* o = m_origin->data();
    const float* r = m_reciprocal;
    float t0 = slabParam(b[m_near[0]], o[0], r[0], -FLT_MAX);
    float t1 = slabParam(b[m_far[0]], o[0], r[0], FLT_MAX);
    for (int axis = 1; axis < 3; ++axis)
    {
        const float a0 = slabParam(b[m_near[axis]], o[axis], r[axis], -FLT_MAX);
        const float a1 = slabParam(b[m_far[axis]], o[axis], r[axis], FLT_MAX);
        if (t0 > a1 || a0 > t1)
            return false;
        if (a0 > t0)
            t0 = a0;
        if (a1 < t1)
            t1 = a1;
    }
    return t0 < tmax && t1 > tmin;
}

bool Ray::intersects(const MeshTriangle& triangle, const MeshVertex* const vertices) const
{
    double t, u, v;
    if (!intersectRayTriangle(m_direction->data(), m_origin->data(), vertices[triangle[0]].v,
                              vertices[triangle[1]].v, vertices[triangle[2]].v, t, u, v))
        return false;
    // Hits at the origin itself are the surface a ray was cast from.
    if (!(t > double(oxLinear::epsilonTolFlt)))
        return false;
    recordIntersection(t, u, v);
    return true;
}

bool Ray::recordIntersection(double t, double u, double v) const
{
    if (!(t < m_t))
        return false;
    m_t = t;
    m_u = u;
    m_v = v;
    return true;
}

void Ray::resetIntersection() const
{
    m_t = noHitParam;
    m_u = 0.0;
    m_v = 0.0;
}
}  // namespace oxGeom
