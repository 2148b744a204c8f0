#pragma once
// Axis-aligned intervals: Range2d (a rectangle, corners Point2) and Range3d (a
// box, corners Point). Closed on all sides: a point on the boundary is inside.
//
// Empty by default: min = +DBL_MAX and max = -DBL_MAX on every axis, so that
// extending by the first point makes the range exactly that point. A range is
// empty when min > max on any axis; an empty range contains nothing, intersects
// nothing, has size (0, ...) and is neutral for extend.
//
// Common contract: plain values, every operation O(1) (the box transform O(8)),
// no allocation or shared state; concurrent use of distinct or const values is
// safe.

#include <cfloat>

#include "oxLinear/AffineMatrix.h"
#include "oxLinear/Point.h"
#include "oxLinear/Point2.h"

namespace oxLinear
{
/// A closed 2-D rectangle [min, max].
class Range2d
{
public:
    /// The empty range.
    Range2d() : m_min(DBL_MAX, DBL_MAX), m_max(-DBL_MAX, -DBL_MAX) {}
    /// Exactly [min, max] as given; min > max on an axis makes it empty.
    Range2d(const Point2& min, const Point2& max) : m_min(min), m_max(max) {}
    /// [0, 1] x [0, 1].
    static Range2d unitSquare() { return Range2d(Point2(0.0, 0.0), Point2(1.0, 1.0)); }

    Point2& min() { return m_min; }
    Point2& max() { return m_max; }
    const Point2& min() const { return m_min; }
    const Point2& max() const { return m_max; }

    bool isEmpty() const { return m_min[0] > m_max[0] || m_min[1] > m_max[1]; }
    /// Makes the range empty again.
    void setEmpty() { *this = Range2d(); }

    /// Grows to cover p (or r); extending by an empty range changes nothing.
    void extend(const Point2& p);
    void extend(const Range2d& r);
    void include(const Point2& p) { extend(p); }
    void include(const Range2d& r) { extend(r); }

    bool contains(const Point2& p) const;
    /// True when r lies inside; an empty r is contained in every non-empty range.
    bool contains(const Range2d& r) const;
    /// True when the two closed ranges share a point (touching counts).
    bool intersects(const Range2d& r) const;

    /// (width, height); (0, 0) when empty.
    Tuple2 size() const;
    /// The midpoint; (0, 0) when empty.
    Point2 center() const;

private:
    Point2 m_min;
    Point2 m_max;
};

/// A closed axis-aligned 3-D box [min, max].
class Range3d
{
public:
    /// The empty range.
    Range3d() : m_min(DBL_MAX, DBL_MAX, DBL_MAX), m_max(-DBL_MAX, -DBL_MAX, -DBL_MAX) {}
    /// Exactly [min, max] as given; min > max on an axis makes it empty.
    Range3d(const Point& min, const Point& max) : m_min(min), m_max(max) {}

    Point& min() { return m_min; }
    Point& max() { return m_max; }
    const Point& min() const { return m_min; }
    const Point& max() const { return m_max; }

    bool isEmpty() const
    {
        return m_min[0] > m_max[0] || m_min[1] > m_max[1] || m_min[2] > m_max[2];
    }
    void setEmpty() { *this = Range3d(); }

    void extend(const Point& p);
    void extend(const Range3d& r);
    void include(const Point& p) { extend(p); }
    void include(const Range3d& r) { extend(r); }

    bool contains(const Point& p) const;
    bool contains(const Range3d& r) const;
    bool intersects(const Range3d& r) const;

    /// (dx, dy, dz); (0, 0, 0) when empty.
    Vector size() const;
    /// The midpoint; the origin when empty.
    Point center() const;
    /// Length of the diagonal; 0 when empty.
    double diagonalLength() const { return size().length(); }
    /// Corner i (0..7, clamped): bit 0 picks max x, bit 1 max y, bit 2 max z.
    Point corner(int i) const;
    /// Squared distance from p to the box (0 inside); DBL_MAX when empty.
    double distance2(const Point& p) const;

    /// The smallest box holding the eight transformed corners; empty stays empty.
    Range3d transformed(const AffineMatrix& m) const;

private:
    Point m_min;
    Point m_max;
};
}  // namespace oxLinear
