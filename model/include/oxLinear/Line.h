#pragma once
// An infinite parametric line, origin + t * direction, and the closest-approach
// point of two lines.
//
// Common contract: plain values, O(1) operations, no allocation or shared
// state; concurrent use of distinct or const values is safe.

#include "oxLinear/Point.h"
#include "oxLinear/Tolerance.h"

namespace oxLinear
{
/// The line origin + t * direction, t over all reals. The direction is kept as
/// given (not normalised), so t measures multiples of it.
class Line
{
public:
    /// The x axis: origin (0,0,0), direction (1,0,0).
    Line() : m_direction(1.0, 0.0, 0.0) {}
    Line(const Point& origin, const Vector& direction) : m_origin(origin), m_direction(direction) {}
    /// The line through a (t = 0) and b (t = 1).
    static Line throughPoints(const Point& a, const Point& b) { return Line(a, b - a); }

    const Point& origin() const { return m_origin; }
    const Vector& direction() const { return m_direction; }
    void setOrigin(const Point& origin) { m_origin = origin; }
    void setDirection(const Vector& direction) { m_direction = direction; }

    /// origin + t * direction.
    Point eval(double t) const { return m_origin + m_direction * t; }
    /// The parameter of the point of the line nearest to p.
    /// Degenerate: a zero direction gives 0 (the line is just its origin).
    double closestParameter(const Point& p) const;
    /// The point of the line nearest to p.
    Point closestPoint(const Point& p) const { return eval(closestParameter(p)); }
    /// Squared distance from p to the line.
    double distance2(const Point& p) const { return oxLinear::distance2(p, closestPoint(p)); }
    double distance(const Point& p) const { return oxLinear::distance(p, closestPoint(p)); }

private:
    Point m_origin;
    Vector m_direction;
};

/// The point of line a nearest to line b (a's end of their common perpendicular).
/// Inputs: two lines; tol compared with the squared sine of the angle between
/// their directions (pass perpendicular2Tol unless a caller needs otherwise).
/// Outputs: `parallel` = true when that squared sine is <= tol, else false.
/// Degenerate: parallel lines, and lines with a zero direction (which have no
/// angle), set `parallel` and return a.origin(): every point of a is then
/// equally near to b, and the origin is the one the caller already knows.
/// O(1), thread-safe.
Point intersect(const Line& a, const Line& b, bool& parallel, double tol);
}  // namespace oxLinear
