// Oriented planes and parameterised planes. Constructors repair their inputs
// into an orthonormal frame (normalising and Gram-Schmidt), so the queries can
// use plain dot products.

#include "oxLinear/Plane.h"

#include <cmath>

namespace oxLinear
{
Plane::Plane(const Point& a, const Point& b, const Point& c)
    : m_point(a), m_normal(cross(b - a, c - a))
{
}

double Plane::distance(const Point& p) const
{
    return std::fabs(signedDistance(p));
}

ParamPlane::ParamPlane(const Point& origin, const Vector& uAxis, const Vector& vAxis,
                       double halfWidth, double halfHeight)
    : m_origin(origin), m_halfWidth(halfWidth), m_halfHeight(halfHeight)
{
    m_u = uAxis.normalized();
    if (m_u.length2() == 0.0)
        m_u = Vector(1.0, 0.0, 0.0);
    m_v = project(vAxis, m_u);
    if (isParallel(vAxis, m_u) || m_v.normalize() == 0.0)
        m_v = m_u.orthogonalVector();
}

ParamPlane::ParamPlane(const Point& origin, const Vector& normal) : ParamPlane()
{
    m_origin = origin;
    const Vector n = normal.normalized();
    if (n.length2() == 0.0)
        return;
    m_u = n.orthogonalVector();
    m_v = cross(n, m_u);
}

Point2 ParamPlane::parameters(const Point& p) const
{
    const Vector d = p - m_origin;
    return Point2(dot(d, m_u), dot(d, m_v));
}
}  // namespace oxLinear
