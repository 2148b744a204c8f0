#pragma once
// Three-component value types of the linear-algebra layer: positions (Point,
// PointFlt), displacements (Vector, VectorFlt) and unit directions (Normal).
// Points and vectors are distinct types so that the affine rules hold at
// compile time: Point - Point = Vector, Point + Vector = Point, Point + Point
// does not compile.
//
// Common contract of every type in this header:
// - plain values, zero-initialised by default (Normal: +Z), trivially copyable;
// - `[i]` indexes the components 0..2; an out-of-range index is clamped to the
//   nearest valid component (never a read outside the object);
// - == and != compare exactly, component by component;
// - every operation is O(1), allocates nothing and touches no shared state, so
//   any number of threads may use distinct or const values concurrently.

#include <cmath>

#include "oxLinear/Tolerance.h"

namespace oxLinear
{
namespace detail
{
/// Clamps an index into [0, count-1]; the safe definition of `[i]` everywhere.
constexpr int clampIndex(int i, int count)
{
    return i < 0 ? 0 : (i >= count ? count - 1 : i);
}

/// Storage and component access shared by the three-component types.
template <class T>
class Tuple3
{
public:
    using value_type = T;

    constexpr Tuple3() : m_v{T(0), T(0), T(0)} {}
    constexpr Tuple3(T x, T y, T z) : m_v{x, y, z} {}
    /// From a packed array of three values (e.g. one vertex of a mesh array).
    /// Precondition: xyz points at three readable values.
    explicit Tuple3(const T* xyz) : m_v{xyz[0], xyz[1], xyz[2]} {}

    constexpr T& operator[](int i) { return m_v[clampIndex(i, 3)]; }
    constexpr const T& operator[](int i) const { return m_v[clampIndex(i, 3)]; }
    constexpr T& x() { return m_v[0]; }
    constexpr T& y() { return m_v[1]; }
    constexpr T& z() { return m_v[2]; }
    constexpr T x() const { return m_v[0]; }
    constexpr T y() const { return m_v[1]; }
    constexpr T z() const { return m_v[2]; }
    /// The three packed components, for handing to array-based code.
    T* data() { return m_v; }
    const T* data() const { return m_v; }

protected:
    T m_v[3];
};
}  // namespace detail

class Vector;
class PointFlt;
class VectorFlt;

/// A position in space, three doubles.
class Point : public detail::Tuple3<double>
{
public:
    using Tuple3::Tuple3;
    constexpr Point() = default;
    /// Widens a single-precision point.
    explicit Point(const PointFlt& p);
    /// The point at the tip of v placed at the origin.
    explicit Point(const Vector& v);

    Point& operator+=(const Vector& v);
    Point& operator-=(const Vector& v);
};

/// A displacement or direction, three doubles.
class Vector : public detail::Tuple3<double>
{
public:
    using Tuple3::Tuple3;
    constexpr Vector() = default;
    /// Widens a single-precision vector.
    explicit Vector(const VectorFlt& v);
    /// The position vector of p (p minus the origin).
    explicit Vector(const Point& p);

    Vector& operator+=(const Vector& v);
    Vector& operator-=(const Vector& v);
    Vector& operator*=(double s);
    /// Division by 0 follows IEEE arithmetic (infinities / NaN), as for doubles.
    Vector& operator/=(double s);

    /// Squared length. O(1).
    double length2() const { return m_v[0] * m_v[0] + m_v[1] * m_v[1] + m_v[2] * m_v[2]; }
    /// Euclidean length. O(1).
    double length() const { return std::sqrt(length2()); }
    /// Scales this vector to unit length and returns the length it had.
    /// Degenerate: a zero vector (or one whose length is not finite and
    /// positive) is set to (0, 0, 0) and 0 is returned.
    double normalize();
    /// A unit copy; a zero vector gives (0, 0, 0) (see normalize).
    Vector normalized() const;
    /// Negates this vector in place and returns it.
    Vector& reverse();
    /// Some unit vector perpendicular to this one: the cross product with the
    /// coordinate axis along which this vector has its smallest absolute
    /// component, normalised. Deterministic (equal inputs give equal outputs).
    /// Degenerate: a zero vector gives (1, 0, 0), since every direction is
    /// perpendicular to it.
    Vector orthogonalVector() const;
};

/// A position in single precision, three floats (12 bytes, packed like a
/// mesh vertex).
class PointFlt : public detail::Tuple3<float>
{
public:
    using Tuple3::Tuple3;
    constexpr PointFlt() = default;
    /// Rounds a double point to the nearest floats.
    explicit PointFlt(const Point& p);
    explicit PointFlt(const VectorFlt& v);

    PointFlt& operator+=(const VectorFlt& v);
    PointFlt& operator-=(const VectorFlt& v);
};

/// A displacement or direction in single precision, three floats.
class VectorFlt : public detail::Tuple3<float>
{
public:
    using Tuple3::Tuple3;
    constexpr VectorFlt() = default;
    /// Rounds a double vector to the nearest floats.
    explicit VectorFlt(const Vector& v);
    explicit VectorFlt(const PointFlt& p);

    VectorFlt& operator+=(const VectorFlt& v);
    VectorFlt& operator-=(const VectorFlt& v);
    VectorFlt& operator*=(float s);
    VectorFlt& operator/=(float s);

    float length2() const { return m_v[0] * m_v[0] + m_v[1] * m_v[1] + m_v[2] * m_v[2]; }
    float length() const { return std::sqrt(length2()); }
    /// As Vector::normalize, in single precision: a zero vector stays zero and
    /// 0 is returned.
    float normalize();
    VectorFlt normalized() const;
    VectorFlt& reverse();
};

/// A unit direction, three doubles. Every constructor normalises its input.
/// A Normal is a Vector, so it goes wherever a `Vector const&` is taken.
///
/// The coordinate axes are the constants Normal::x, Normal::y, Normal::z; as a
/// consequence the x()/y()/z() accessors of Vector are hidden in Normal: read a
/// Normal's components with `[i]` or through asVector().x().
/// Writing components through `[i]` can break the unit length; callers that
/// do so own the consequence.
class Normal : public Vector
{
public:
    /// +Z, so that a default-constructed normal is a valid unit vector.
    constexpr Normal() : Vector(0.0, 0.0, 1.0) {}
    /// (x, y, z) normalised; a zero vector gives (0, 0, 0).
    Normal(double x, double y, double z);
    /// v normalised; a zero vector gives (0, 0, 0), the one non-unit Normal,
    /// which callers can detect with length2() == 0.
    explicit Normal(const Vector& v);

    /// The opposite direction, still a unit vector.
    Normal operator-() const { return Normal(-m_v[0], -m_v[1], -m_v[2], Unit()); }
    const Vector& asVector() const { return *this; }

    static const Normal x;  ///< (1, 0, 0)
    static const Normal y;  ///< (0, 1, 0)
    static const Normal z;  ///< (0, 0, 1)

private:
    struct Unit
    {
    };
    /// Takes components that are already of unit length, without rounding.
    constexpr Normal(double x, double y, double z, Unit) : Vector(x, y, z) {}
};

// Defined in class scope, so the unit constructor is reachable; constant
// initialisation means no static-initialisation order to worry about.
inline constexpr Normal Normal::x = Normal(1.0, 0.0, 0.0, Normal::Unit());
inline constexpr Normal Normal::y = Normal(0.0, 1.0, 0.0, Normal::Unit());
inline constexpr Normal Normal::z = Normal(0.0, 0.0, 1.0, Normal::Unit());

// ---- conversions --------------------------------------------------------------------------

inline Point::Point(const PointFlt& p) : Tuple3(p[0], p[1], p[2]) {}
inline Point::Point(const Vector& v) : Tuple3(v[0], v[1], v[2]) {}
inline Vector::Vector(const VectorFlt& v) : Tuple3(v[0], v[1], v[2]) {}
inline Vector::Vector(const Point& p) : Tuple3(p[0], p[1], p[2]) {}
inline PointFlt::PointFlt(const Point& p)
    : Tuple3(static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2]))
{
}
inline PointFlt::PointFlt(const VectorFlt& v) : Tuple3(v[0], v[1], v[2]) {}
inline VectorFlt::VectorFlt(const Vector& v)
    : Tuple3(static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2]))
{
}
inline VectorFlt::VectorFlt(const PointFlt& p) : Tuple3(p[0], p[1], p[2]) {}

// ---- double-precision algebra -------------------------------------------------------------

inline Vector operator+(const Vector& a, const Vector& b)
{
    return Vector(a[0] + b[0], a[1] + b[1], a[2] + b[2]);
}
inline Vector operator-(const Vector& a, const Vector& b)
{
    return Vector(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}
inline Vector operator-(const Vector& a)
{
    return Vector(-a[0], -a[1], -a[2]);
}
inline Vector operator*(const Vector& a, double s)
{
    return Vector(a[0] * s, a[1] * s, a[2] * s);
}
inline Vector operator*(double s, const Vector& a)
{
    return a * s;
}
inline Vector operator/(const Vector& a, double s)
{
    return Vector(a[0] / s, a[1] / s, a[2] / s);
}
inline Vector operator-(const Point& a, const Point& b)
{
    return Vector(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}
inline Point operator+(const Point& p, const Vector& v)
{
    return Point(p[0] + v[0], p[1] + v[1], p[2] + v[2]);
}
inline Point operator+(const Vector& v, const Point& p)
{
    return p + v;
}
inline Point operator-(const Point& p, const Vector& v)
{
    return Point(p[0] - v[0], p[1] - v[1], p[2] - v[2]);
}

inline Point& Point::operator+=(const Vector& v)
{
    return *this = *this + v;
}
inline Point& Point::operator-=(const Vector& v)
{
    return *this = *this - v;
}
inline Vector& Vector::operator+=(const Vector& v)
{
    return *this = *this + v;
}
inline Vector& Vector::operator-=(const Vector& v)
{
    return *this = *this - v;
}
inline Vector& Vector::operator*=(double s)
{
    return *this = *this * s;
}
inline Vector& Vector::operator/=(double s)
{
    return *this = *this / s;
}
inline Vector& Vector::reverse()
{
    m_v[0] = -m_v[0];
    m_v[1] = -m_v[1];
    m_v[2] = -m_v[2];
    return *this;
}

inline bool operator==(const Point& a, const Point& b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}
inline bool operator!=(const Point& a, const Point& b)
{
    return !(a == b);
}
inline bool operator==(const Vector& a, const Vector& b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}
inline bool operator!=(const Vector& a, const Vector& b)
{
    return !(a == b);
}

/// Dot product. O(1).
inline double dot(const Vector& a, const Vector& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
/// Right-handed cross product a x b. O(1).
inline Vector cross(const Vector& a, const Vector& b)
{
    return Vector(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
}
inline double length(const Vector& v)
{
    return v.length();
}
inline double length2(const Vector& v)
{
    return v.length2();
}
/// Squared distance between two points. O(1).
inline double distance2(const Point& a, const Point& b)
{
    return (a - b).length2();
}
/// Distance between two points. O(1).
inline double distance(const Point& a, const Point& b)
{
    return (a - b).length();
}

// ---- single-precision algebra -------------------------------------------------------------

inline VectorFlt operator+(const VectorFlt& a, const VectorFlt& b)
{
    return VectorFlt(a[0] + b[0], a[1] + b[1], a[2] + b[2]);
}
inline VectorFlt operator-(const VectorFlt& a, const VectorFlt& b)
{
    return VectorFlt(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}
inline VectorFlt operator-(const VectorFlt& a)
{
    return VectorFlt(-a[0], -a[1], -a[2]);
}
inline VectorFlt operator*(const VectorFlt& a, float s)
{
    return VectorFlt(a[0] * s, a[1] * s, a[2] * s);
}
inline VectorFlt operator*(float s, const VectorFlt& a)
{
    return a * s;
}
inline VectorFlt operator/(const VectorFlt& a, float s)
{
    return VectorFlt(a[0] / s, a[1] / s, a[2] / s);
}
inline VectorFlt operator-(const PointFlt& a, const PointFlt& b)
{
    return VectorFlt(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}
inline PointFlt operator+(const PointFlt& p, const VectorFlt& v)
{
    return PointFlt(p[0] + v[0], p[1] + v[1], p[2] + v[2]);
}
inline PointFlt operator+(const VectorFlt& v, const PointFlt& p)
{
    return p + v;
}
inline PointFlt operator-(const PointFlt& p, const VectorFlt& v)
{
    return PointFlt(p[0] - v[0], p[1] - v[1], p[2] - v[2]);
}

inline PointFlt& PointFlt::operator+=(const VectorFlt& v)
{
    return *this = *this + v;
}
inline PointFlt& PointFlt::operator-=(const VectorFlt& v)
{
    return *this = *this - v;
}
inline VectorFlt& VectorFlt::operator+=(const VectorFlt& v)
{
    return *this = *this + v;
}
inline VectorFlt& VectorFlt::operator-=(const VectorFlt& v)
{
    return *this = *this - v;
}
inline VectorFlt& VectorFlt::operator*=(float s)
{
    return *this = *this * s;
}
inline VectorFlt& VectorFlt::operator/=(float s)
{
    return *this = *this / s;
}
inline VectorFlt& VectorFlt::reverse()
{
    m_v[0] = -m_v[0];
    m_v[1] = -m_v[1];
    m_v[2] = -m_v[2];
    return *this;
}

inline bool operator==(const PointFlt& a, const PointFlt& b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}
inline bool operator!=(const PointFlt& a, const PointFlt& b)
{
    return !(a == b);
}
inline bool operator==(const VectorFlt& a, const VectorFlt& b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}
inline bool operator!=(const VectorFlt& a, const VectorFlt& b)
{
    return !(a == b);
}

inline float dot(const VectorFlt& a, const VectorFlt& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline VectorFlt cross(const VectorFlt& a, const VectorFlt& b)
{
    return VectorFlt(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                     a[0] * b[1] - a[1] * b[0]);
}
inline float length(const VectorFlt& v)
{
    return v.length();
}
inline float length2(const VectorFlt& v)
{
    return v.length2();
}
inline float distance2(const PointFlt& a, const PointFlt& b)
{
    return (a - b).length2();
}
inline float distance(const PointFlt& a, const PointFlt& b)
{
    return (a - b).length();
}

// ---- free functions -----------------------------------------------------------------------

/// True when every component of a and b differs by at most tol (|a_i - b_i| <= tol).
/// Inputs: two values, tol >= 0. A NaN component never compares equivalent.
/// O(1), thread-safe.
bool equivalent(const Point& a, const Point& b, double tol);
bool equivalent(const Vector& a, const Vector& b, double tol);
/// Single-precision forms; the differences are taken in double, so the test
/// itself adds no rounding.
bool equivalent(const PointFlt& a, const PointFlt& b, double tol);
bool equivalent(const VectorFlt& a, const VectorFlt& b, double tol);

/// True when a and b are parallel or antiparallel: the sine of the angle
/// between them is at most tol (|a x b| <= tol |a| |b|).
/// Inputs: two vectors of any length; tol defaults to parallelTol.
/// Degenerate: a zero vector has no direction and counts as parallel to every
/// vector, so callers that need a usable direction reject it either way.
/// O(1), thread-safe.
bool isParallel(const Vector& a, const Vector& b, double tol = parallelTol);

/// Weighted sums w0*a + w1*b (+ w2*c), component by component.
/// For points this is the barycentric/affine combination when the weights sum
/// to 1; other weights are applied as given (no renormalisation).
/// Single-precision forms compute in double and round once at the end.
/// O(1), thread-safe.
Vector combine(double w0, const Vector& a, double w1, const Vector& b);
Vector combine(double w0, const Vector& a, double w1, const Vector& b, double w2, const Vector& c);
Point combine(double w0, const Point& a, double w1, const Point& b);
Point combine(double w0, const Point& a, double w1, const Point& b, double w2, const Point& c);
VectorFlt combine(double w0, const VectorFlt& a, double w1, const VectorFlt& b);
VectorFlt combine(double w0, const VectorFlt& a, double w1, const VectorFlt& b, double w2,
                  const VectorFlt& c);
PointFlt combine(double w0, const PointFlt& a, double w1, const PointFlt& b);
PointFlt combine(double w0, const PointFlt& a, double w1, const PointFlt& b, double w2,
                 const PointFlt& c);

/// The component of v perpendicular to `normal` (v minus its projection on the
/// normal): the projection of v into the plane that has this normal.
/// Inputs: v; normal of any non-zero length (it is normalised implicitly).
/// Degenerate: a zero normal gives v unchanged. O(1), thread-safe.
Vector project(const Vector& v, const Vector& normal);

/// Determinant of the 3x3 matrix with rows a, b, c, i.e. the triple product
/// a . (b x c): positive for a right-handed triple. O(1), thread-safe.
double det3x3(const Vector& a, const Vector& b, const Vector& c);

/// v rotated by `angle` radians about `axis`, counter-clockwise when looking
/// down the axis towards the origin (right-hand rule); Rodrigues' formula.
/// Inputs: any v; axis of any non-zero length (normalised here).
/// Degenerate: a zero axis returns v unchanged. O(1), thread-safe.
Vector rotate(const Vector& v, const Vector& axis, double angle);

static_assert(sizeof(PointFlt) == 12 && sizeof(VectorFlt) == 12, "packed float triples");
static_assert(sizeof(Point) == 24 && sizeof(Vector) == 24 && sizeof(Normal) == 24,
              "packed double triples");
}  // namespace oxLinear
