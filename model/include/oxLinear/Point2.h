#pragma once
// Two-component value types: Point2 (a position in a plane, e.g. a UV) and
// Tuple2 (a pair of doubles used as a 2-D vector, a size or a pair of window
// coordinates; also spelled Vector2).
//
// Common contract: plain values, zero-initialised by default; `[i]` indexes
// components 0..1 with an out-of-range index clamped to the nearest valid one;
// == and != are exact; every operation is O(1), allocation-free and touches no
// shared state, so concurrent use of distinct or const values is safe.
//
// The 2-D algebra is a little more permissive than the 3-D one: a Point2 may be
// scaled by a number (scaling about the origin is routine for UV layouts).

#include <cmath>

#include "oxLinear/Point.h"

namespace oxLinear
{
namespace detail
{
/// Storage and component access shared by the two-component types.
class Pair
{
public:
    constexpr Pair() : m_v{0.0, 0.0} {}
    constexpr Pair(double x, double y) : m_v{x, y} {}
    /// From two packed values. Precondition: xy points at two readable values.
    explicit Pair(const double* xy) : m_v{xy[0], xy[1]} {}

    constexpr double& operator[](int i) { return m_v[clampIndex(i, 2)]; }
    constexpr const double& operator[](int i) const { return m_v[clampIndex(i, 2)]; }
    constexpr double& x() { return m_v[0]; }
    constexpr double& y() { return m_v[1]; }
    constexpr double x() const { return m_v[0]; }
    constexpr double y() const { return m_v[1]; }
    double* data() { return m_v; }
    const double* data() const { return m_v; }

protected:
    double m_v[2];
};
}  // namespace detail

class Point2;

/// A pair of doubles used as a 2-D vector (also a size or a pair of bounds).
class Tuple2 : public detail::Pair
{
public:
    using Pair::Pair;
    constexpr Tuple2() = default;
    explicit Tuple2(const Point2& p);

    double length2() const { return m_v[0] * m_v[0] + m_v[1] * m_v[1]; }
    double length() const { return std::sqrt(length2()); }
    /// Scales to unit length and returns the former length; a zero tuple stays
    /// (0, 0) and 0 is returned.
    double normalize();
};

/// The 2-D vector type; the same type as Tuple2.
using Vector2 = Tuple2;

/// A position in a plane, two doubles.
class Point2 : public detail::Pair
{
public:
    using Pair::Pair;
    constexpr Point2() = default;
    explicit Point2(const Tuple2& t) : Pair(t[0], t[1]) {}
};

inline Tuple2::Tuple2(const Point2& p) : Pair(p[0], p[1]) {}

inline Tuple2 operator+(const Tuple2& a, const Tuple2& b)
{
    return Tuple2(a[0] + b[0], a[1] + b[1]);
}
inline Tuple2 operator-(const Tuple2& a, const Tuple2& b)
{
    return Tuple2(a[0] - b[0], a[1] - b[1]);
}
inline Tuple2 operator-(const Tuple2& a)
{
    return Tuple2(-a[0], -a[1]);
}
inline Tuple2 operator*(const Tuple2& a, double s)
{
    return Tuple2(a[0] * s, a[1] * s);
}
inline Tuple2 operator*(double s, const Tuple2& a)
{
    return a * s;
}
inline Tuple2 operator/(const Tuple2& a, double s)
{
    return Tuple2(a[0] / s, a[1] / s);
}
inline Tuple2& operator+=(Tuple2& a, const Tuple2& b)
{
    return a = a + b;
}
inline Tuple2& operator-=(Tuple2& a, const Tuple2& b)
{
    return a = a - b;
}
inline Tuple2& operator*=(Tuple2& a, double s)
{
    return a = a * s;
}

inline Tuple2 operator-(const Point2& a, const Point2& b)
{
    return Tuple2(a[0] - b[0], a[1] - b[1]);
}
inline Point2 operator+(const Point2& p, const Tuple2& t)
{
    return Point2(p[0] + t[0], p[1] + t[1]);
}
inline Point2 operator+(const Tuple2& t, const Point2& p)
{
    return p + t;
}
inline Point2 operator-(const Point2& p, const Tuple2& t)
{
    return Point2(p[0] - t[0], p[1] - t[1]);
}
/// Scales a position about the origin.
inline Point2 operator*(const Point2& p, double s)
{
    return Point2(p[0] * s, p[1] * s);
}
inline Point2 operator*(double s, const Point2& p)
{
    return p * s;
}
inline Point2& operator+=(Point2& p, const Tuple2& t)
{
    return p = p + t;
}
inline Point2& operator-=(Point2& p, const Tuple2& t)
{
    return p = p - t;
}

inline bool operator==(const Tuple2& a, const Tuple2& b)
{
    return a[0] == b[0] && a[1] == b[1];
}
inline bool operator!=(const Tuple2& a, const Tuple2& b)
{
    return !(a == b);
}
inline bool operator==(const Point2& a, const Point2& b)
{
    return a[0] == b[0] && a[1] == b[1];
}
inline bool operator!=(const Point2& a, const Point2& b)
{
    return !(a == b);
}

/// 2-D dot product.
inline double dot(const Tuple2& a, const Tuple2& b)
{
    return a[0] * b[0] + a[1] * b[1];
}
/// The z component of the 3-D cross product of (a, 0) and (b, 0): positive when
/// b is counter-clockwise from a.
inline double cross(const Tuple2& a, const Tuple2& b)
{
    return a[0] * b[1] - a[1] * b[0];
}
/// Point2 forms treat the points as position vectors from the origin.
inline double dot(const Point2& a, const Point2& b)
{
    return a[0] * b[0] + a[1] * b[1];
}
inline double cross(const Point2& a, const Point2& b)
{
    return a[0] * b[1] - a[1] * b[0];
}
inline double distance2(const Point2& a, const Point2& b)
{
    return (a - b).length2();
}
inline double distance(const Point2& a, const Point2& b)
{
    return (a - b).length();
}

inline double Tuple2::normalize()
{
    const double len = length();
    if (!(len > 0.0) || !std::isfinite(len))
    {
        m_v[0] = m_v[1] = 0.0;
        return 0.0;
    }
    m_v[0] /= len;
    m_v[1] /= len;
    return len;
}

/// True when both components differ by at most tol. O(1), thread-safe.
inline bool equivalent(const Tuple2& a, const Tuple2& b, double tol)
{
    return std::fabs(a[0] - b[0]) <= tol && std::fabs(a[1] - b[1]) <= tol;
}
inline bool equivalent(const Point2& a, const Point2& b, double tol)
{
    return std::fabs(a[0] - b[0]) <= tol && std::fabs(a[1] - b[1]) <= tol;
}

/// Weighted sums of 2-D points (affine when the weights sum to 1).
inline Point2 combine(double w0, const Point2& a, double w1, const Point2& b)
{
    return Point2(w0 * a[0] + w1 * b[0], w0 * a[1] + w1 * b[1]);
}
inline Point2 combine(double w0, const Point2& a, double w1, const Point2& b, double w2,
                      const Point2& c)
{
    return Point2(w0 * a[0] + w1 * b[0] + w2 * c[0], w0 * a[1] + w1 * b[1] + w2 * c[1]);
}

static_assert(sizeof(Point2) == 16 && sizeof(Tuple2) == 16, "packed double pairs");
}  // namespace oxLinear
