// Closest points on infinite lines. The two-line routine solves the 2x2 normal
// equations of the squared distance between a(s) and b(t) and judges parallelism
// by the squared sine of the angle, which is exactly the normalised determinant
// of that system, so the test and the division it guards agree.

#include "oxLinear/Line.h"

namespace oxLinear
{
double Line::closestParameter(const Point& p) const
{
    const double d2 = m_direction.length2();
    if (!(d2 > 0.0))
        return 0.0;
    return dot(p - m_origin, m_direction) / d2;
}

Point intersect(const Line& a, const Line& b, bool& parallel, double tol)
{
    const Vector& da = a.direction();
    const Vector& db = b.direction();
    const Vector w = a.origin() - b.origin();
    const double aa = dot(da, da), ab = dot(da, db), bb = dot(db, db);
    const double denom = aa * bb - ab * ab;  // = |da x db|^2 >= 0 up to rounding
    const double scale = aa * bb;
    // sin^2 = denom / scale; written without the division so that zero
    // directions (scale == 0) count as parallel.
    parallel = !(denom > tol * scale) || !(scale > 0.0);
    if (parallel)
        return a.origin();
    const double s = (ab * dot(db, w) - bb * dot(da, w)) / denom;
    return a.eval(s);
}
}  // namespace oxLinear
