// Vector operations that are more than one expression: normalisation with a
// defined zero case, perpendicular and rotated vectors, tolerant comparisons
// and weighted sums. Single-precision sums are formed in double and rounded once.

#include "oxLinear/Point.h"

#include <cmath>

namespace oxLinear
{
namespace
{
/// True when len can be divided by: positive and finite (rules out 0, NaN, inf).
bool isUsableLength(double len)
{
    return len > 0.0 && std::isfinite(len);
}

template <class A, class B>
bool componentsWithin(const A& a, const B& b, double tol)
{
    for (int i = 0; i < 3; ++i)
    {
        // Written so that a NaN difference fails the test.
        if (!(std::fabs(double(a[i]) - double(b[i])) <= tol))
            return false;
    }
    return true;
}
}  // namespace

double Vector::normalize()
{
    const double len = length();
    if (!isUsableLength(len))
    {
        m_v[0] = m_v[1] = m_v[2] = 0.0;
        return 0.0;
    }
    m_v[0] /= len;
    m_v[1] /= len;
    m_v[2] /= len;
    return len;
}

Vector Vector::normalized() const
{
    Vector v(*this);
    v.normalize();
    return v;
}

Vector Vector::orthogonalVector() const
{
    // Crossing with the axis of the smallest component keeps the cross product
    // as long as possible (at least |v| * sqrt(2/3)), so the result is accurate.
    const double ax = std::fabs(m_v[0]), ay = std::fabs(m_v[1]), az = std::fabs(m_v[2]);
    Vector axis(0.0, 0.0, 1.0);
    if (ax <= ay && ax <= az)
        axis = Vector(1.0, 0.0, 0.0);
    else if (ay <= az)
        axis = Vector(0.0, 1.0, 0.0);
    Vector result = cross(*this, axis);
    if (result.normalize() == 0.0)
        return Vector(1.0, 0.0, 0.0);
    return result;
}

float VectorFlt::normalize()
{
    const float len = length();
    if (!isUsableLength(len))
    {
        m_v[0] = m_v[1] = m_v[2] = 0.0f;
        return 0.0f;
    }
    m_v[0] /= len;
    m_v[1] /= len;
    m_v[2] /= len;
    return len;
}

VectorFlt VectorFlt::normalized() const
{
    VectorFlt v(*this);
    v.normalize();
    return v;
}

Normal::Normal(double x, double y, double z) : Vector(x, y, z)
{
    normalize();
}

Normal::Normal(const Vector& v) : Vector(v)
{
    normalize();
}

bool equivalent(const Point& a, const Point& b, double tol)
{
    return componentsWithin(a, b, tol);
}
bool equivalent(const Vector& a, const Vector& b, double tol)
{
    return componentsWithin(a, b, tol);
}
bool equivalent(const PointFlt& a, const PointFlt& b, double tol)
{
    return componentsWithin(a, b, tol);
}
bool equivalent(const VectorFlt& a, const VectorFlt& b, double tol)
{
    return componentsWithin(a, b, tol);
}

bool isParallel(const Vector& a, const Vector& b, double tol)
{
    // |a x b|^2 = sin^2 |a|^2 |b|^2; comparing squares avoids two square roots.
    return cross(a, b).length2() <= tol * tol * a.length2() * b.length2();
}

Vector combine(double w0, const Vector& a, double w1, const Vector& b)
{
    return Vector(w0 * a[0] + w1 * b[0], w0 * a[1] + w1 * b[1], w0 * a[2] + w1 * b[2]);
}

Vector combine(double w0, const Vector& a, double w1, const Vector& b, double w2, const Vector& c)
{
    return Vector(w0 * a[0] + w1 * b[0] + w2 * c[0], w0 * a[1] + w1 * b[1] + w2 * c[1],
                  w0 * a[2] + w1 * b[2] + w2 * c[2]);
}

Point combine(double w0, const Point& a, double w1, const Point& b)
{
    return Point(combine(w0, Vector(a), w1, Vector(b)));
}

Point combine(double w0, const Point& a, double w1, const Point& b, double w2, const Point& c)
{
    return Point(combine(w0, Vector(a), w1, Vector(b), w2, Vector(c)));
}

VectorFlt combine(double w0, const VectorFlt& a, double w1, const VectorFlt& b)
{
    return VectorFlt(combine(w0, Vector(a), w1, Vector(b)));
}

VectorFlt combine(double w0, const VectorFlt& a, double w1, const VectorFlt& b, double w2,
                  const VectorFlt& c)
{
    return VectorFlt(combine(w0, Vector(a), w1, Vector(b), w2, Vector(c)));
}

PointFlt combine(double w0, const PointFlt& a, double w1, const PointFlt& b)
{
    return PointFlt(Point(combine(w0, Vector(Point(a)), w1, Vector(Point(b)))));
}

PointFlt combine(double w0, const PointFlt& a, double w1, const PointFlt& b, double w2,
                 const PointFlt& c)
{
    return PointFlt(
        Point(combine(w0, Vector(Point(a)), w1, Vector(Point(b)), w2, Vector(Point(c)))));
}

Vector project(const Vector& v, const Vector& normal)
{
    const double n2 = normal.length2();
    if (!isUsableLength(n2))
        return v;
    return v - normal * (dot(v, normal) / n2);
}

double det3x3(const Vector& a, const Vector& b, const Vector& c)
{
    return dot(a, cross(b, c));
}

Vector rotate(const Vector& v, const Vector& axis, double angle)
{
    const Vector k = axis.normalized();
    if (k.length2() == 0.0)
        return v;
    // Rodrigues: v cos + (k x v) sin + k (k . v)(1 - cos).
    const double c = std::cos(angle), s = std::sin(angle);
    return v * c + cross(k, v) * s + k * (dot(k, v) * (1.0 - c));
}
}  // namespace oxLinear
