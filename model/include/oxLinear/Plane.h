#pragma once
// Planes: Plane (a point and a unit normal, the oriented plane used for
// clipping and view-volume tests) and ParamPlane (a plane with an orthonormal
// in-plane coordinate system, mapping 3-D points to 2-D parameters and back).
//
// Common contract: plain values, O(1) operations, no allocation or shared
// state; concurrent use of distinct or const values is safe.

#include "oxLinear/Point.h"
#include "oxLinear/Point2.h"

namespace oxLinear
{
/// An oriented plane through `point()` with unit normal `normal()`. The side
/// the normal points to is "above" (positive signed distance).
class Plane
{
public:
    /// The plane z = 0 with normal +Z.
    Plane() = default;
    /// Through `point` with `normal` normalised. Degenerate: a zero normal gives
    /// a zero normal() (every signed distance is then 0; isValid() is false).
    Plane(const Point& point, const Vector& normal) : m_point(point), m_normal(normal) {}
    /// Through a, b, c with normal (b - a) x (c - a) normalised (counter-clockwise
    /// corners seen from above). Degenerate: collinear or coincident points give a
    /// zero normal (isValid() false).
    Plane(const Point& a, const Point& b, const Point& c);

    const Point& point() const { return m_point; }
    const Normal& normal() const { return m_normal; }
    /// False when the plane was built from a zero normal or degenerate points.
    bool isValid() const { return m_normal.length2() > 0.0; }

    /// (p - point) . normal: positive above, negative below.
    double signedDistance(const Point& p) const { return dot(p - m_point, m_normal); }
    /// |signedDistance(p)|.
    double distance(const Point& p) const;
    /// The foot of the perpendicular from p onto the plane.
    Point project(const Point& p) const { return p - m_normal * signedDistance(p); }
    /// The same plane with the opposite orientation.
    Plane flipped() const { return Plane(m_point, -m_normal); }

private:
    Point m_point;
    Normal m_normal;
};

/// True when p is above the plane by more than tol (signedDistance(p) > tol).
/// O(1), thread-safe.
inline bool isAbove(const Point& p, const Plane& plane, double tol = 0.0)
{
    return plane.signedDistance(p) > tol;
}
/// The foot of the perpendicular from p onto the plane (plane.project(p)).
inline Point project(const Point& p, const Plane& plane)
{
    return plane.project(p);
}

/// A plane with an origin and two orthonormal in-plane axes u and v (normal
/// u x v), and optional half extents describing a centred window on it
/// (a parameter rectangle [-halfWidth, halfWidth] x [-halfHeight, halfHeight]).
/// Point (s, t) of the parameter plane is origin + s*u + t*v.
class ParamPlane
{
public:
    /// The plane z = 0 with u = +X, v = +Y, zero extents.
    ParamPlane() : m_u(1.0, 0.0, 0.0), m_v(0.0, 1.0, 0.0) {}
    /// u is uAxis normalised; v is the part of vAxis perpendicular to u,
    /// normalised. Degenerate: a zero uAxis becomes +X; a vAxis that is zero or
    /// parallel to u becomes u.orthogonalVector().
    ParamPlane(const Point& origin, const Vector& uAxis, const Vector& vAxis,
               double halfWidth = 0.0, double halfHeight = 0.0);
    /// The plane through origin with the given normal; u = normal.orthogonalVector(),
    /// v = normal x u. A zero normal gives the z = 0 orientation.
    ParamPlane(const Point& origin, const Vector& normal);

    const Point& origin() const { return m_origin; }
    const Vector& uAxis() const { return m_u; }
    const Vector& vAxis() const { return m_v; }
    /// u x v (unit).
    Normal normal() const { return Normal(cross(m_u, m_v)); }
    /// The oriented plane (origin, normal()).
    Plane plane() const { return Plane(m_origin, cross(m_u, m_v)); }

    double halfWidth() const { return m_halfWidth; }
    double halfHeight() const { return m_halfHeight; }
    void setExtents(double halfWidth, double halfHeight)
    {
        m_halfWidth = halfWidth;
        m_halfHeight = halfHeight;
    }

    /// The parameters (s, t) of p's orthogonal projection onto the plane.
    Point2 parameters(const Point& p) const;
    /// origin + s*u + t*v.
    Point eval(double s, double t) const { return m_origin + m_u * s + m_v * t; }
    Point eval(const Point2& st) const { return eval(st[0], st[1]); }

private:
    Point m_origin;
    Vector m_u;
    Vector m_v;
    double m_halfWidth = 0.0;
    double m_halfHeight = 0.0;
};
}  // namespace oxLinear
