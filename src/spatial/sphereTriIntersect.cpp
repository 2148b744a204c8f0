// sphereTriIntersect: ball against triangle in double precision. Corners are
// tried first (cheapest, and most hits in practice); the centre is then taken
// into the triangle's frame so the face test is a plane distance and three 2-D
// sign tests, with the nearest edge segment as the last resort.

#include <oxGeom/sphereTriIntersect.h>

#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Tolerance.h>

#include <algorithm>
#include <cmath>

namespace oxGeom
{
namespace
{
using oxLinear::Point;
using oxLinear::Vector;

/// Squared distance from `p` to the segment [a, b] (a point when a == b).
double segmentDistance2(const Point& p, const Point& a, const Point& b)
{
    const Vector d = b - a;
    const double length2 = d.length2();
    double t = length2 > 0.0 ? oxLinear::dot(p - a, d) / length2 : 0.0;
    t = std::min(1.0, std::max(0.0, t));
    return oxLinear::distance2(p, a + d * t);
}

/// Ball against segment: the segment's nearest point to the centre lies within
/// the radius, closed like the edge test of the triangle branch.
bool sphereSegmentIntersect(const Point& centre, double radius2, const Point& a, const Point& b)
{
    return segmentDistance2(centre, a, b) <= radius2;
}

/// 2-D orientation of p against the directed edge from a to b (frame x, y).
double edgeSide(const Point& a, const Point& b, const Point& p)
{
    return (b[0] - a[0]) * (p[1] - a[1]) - (b[1] - a[1]) * (p[0] - a[0]);
}

/// A ball that cannot reach the triangle: farther from corner a than the
/// radius plus the longest edge from a (every triangle point is that close).
bool beyondReach(const Point& centre, double radius, const Point& a, const Point& b, const Point& c)
{
    const double reach = radius + std::sqrt(std::max((b - a).length2(), (c - a).length2()));
    return oxLinear::distance2(centre, a) > reach * reach;
}

/// The face branch: the triangle has a usable normal `n`.
bool sphereFaceIntersect(const Point& centre, double radius2, const Point& a, const Point& b,
                         const Point& c, const Vector& n)
{
    oxLinear::AffineMatrix frame;
    frame.setFrame(a, b - a, n);
    frame.invert();  // orthonormal, so never singular
    const Point o = centre * frame;
    if (o[2] * o[2] > radius2)
        return false;
    const Point fa = a * frame, fb = b * frame, fc = c * frame;
    const double s0 = edgeSide(fa, fb, o), s1 = edgeSide(fb, fc, o), s2 = edgeSide(fc, fa, o);
    if ((s0 >= 0.0 && s1 >= 0.0 && s2 >= 0.0) || (s0 <= 0.0 && s1 <= 0.0 && s2 <= 0.0))
        return true;
    const double nearest = std::min({segmentDistance2(centre, a, b), segmentDistance2(centre, b, c),
                                     segmentDistance2(centre, c, a)});
    return nearest <= radius2;
}
}  // namespace

bool sphereTriIntersect(const Sphere& sphere, const Point& a, const Point& b, const Point& c)
{
    const Point& centre = sphere.center;
    const double radius = sphere.radius;
    if (!(radius >= 0.0))
        return false;
    const double radius2 = radius * radius;
    if (oxLinear::distance2(centre, a) < radius2 || oxLinear::distance2(centre, b) < radius2 ||
        oxLinear::distance2(centre, c) < radius2)
        return true;
    if (beyondReach(centre, radius, a, b, c))
        return false;

    const double eps = oxLinear::epsilonTol;
    const bool ab = oxLinear::equivalent(a, b, eps);
    const bool ac = oxLinear::equivalent(a, c, eps);
    const bool bc = oxLinear::equivalent(b, c, eps);
    if (ab + ac + bc >= 2)
        return false;  // a single point, already tested as a corner
    if (ab || bc)
        return sphereSegmentIntersect(centre, radius2, a, c);
    if (ac)
        return sphereSegmentIntersect(centre, radius2, a, b);

    // Collinear corners: the triangle is its longest edge.
    const Vector n = oxLinear::cross(b - a, c - a);
    const double ab2 = (b - a).length2(), bc2 = (c - b).length2(), ca2 = (a - c).length2();
    const double longest2 = std::max({ab2, bc2, ca2});
    if (n.length() <= eps * longest2)
    {
        if (longest2 == ab2)
            return sphereSegmentIntersect(centre, radius2, a, b);
        if (longest2 == bc2)
            return sphereSegmentIntersect(centre, radius2, b, c);
        return sphereSegmentIntersect(centre, radius2, c, a);
    }
    return sphereFaceIntersect(centre, radius2, a, b, c, n);
}
}  // namespace oxGeom
