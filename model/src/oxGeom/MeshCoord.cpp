// MeshCoord::project: nearest point of a triangle to a query point, found by
// classifying the point into the triangle's Voronoi regions (three vertex, three
// edge, one face region) with dot products only, all in double precision.
// Based on: Ericson, "Real-Time Collision Detection" (2005), section 5.1.5.

#include "oxGeom/MeshCoord.h"

#include <algorithm>

#include "oxLinear/Tolerance.h"

namespace oxGeom
{
namespace
{
using oxLinear::Point;
using oxLinear::Vector;

struct Corners
{
    Point a, b, c;
};

Corners cornersOf(int tri, const float* vertices, const int* triangles)
{
    const int* corner = triangles + 3 * static_cast<long long>(tri);
    auto at = [vertices](int v)
    {
        const float* xyz = vertices + 3 * static_cast<long long>(v);
        return Point(xyz[0], xyz[1], xyz[2]);
    };
    return {at(corner[0]), at(corner[1]), at(corner[2])};
}

// The area test is relative to the longest edge, so it does not depend on the
// mesh's scale. Written so that NaN coordinates also count as degenerate.
bool hasArea(const Corners& t)
{
    const Vector ab = t.b - t.a;
    const Vector ac = t.c - t.a;
    const double longest2 = std::max({ab.length2(), ac.length2(), (t.c - t.b).length2()});
    const double twiceArea = oxLinear::cross(ab, ac).length();
    return twiceArea > oxLinear::epsilonTol * longest2;
}

// Barycentric weights of the point of t nearest to p.
void closestWeights(const Corners& t, const Point& p, double w[3])
{
    using oxLinear::dot;
    auto set = [w](double u, double v, double s)
    {
        w[0] = u;
        w[1] = v;
        w[2] = s;
    };
    const Vector ab = t.b - t.a;
    const Vector ac = t.c - t.a;
    const Vector ap = p - t.a;
    const double d1 = dot(ab, ap);
    const double d2 = dot(ac, ap);
    if (d1 <= 0.0 && d2 <= 0.0)
        return set(1.0, 0.0, 0.0);

    const Vector bp = p - t.b;
    const double d3 = dot(ab, bp);
    const double d4 = dot(ac, bp);
    if (d3 >= 0.0 && d4 <= d3)
        return set(0.0, 1.0, 0.0);

    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0)
    {
        const double v = d1 / (d1 - d3);
        return set(1.0 - v, v, 0.0);
    }

    const Vector cp = p - t.c;
    const double d5 = dot(ab, cp);
    const double d6 = dot(ac, cp);
    if (d6 >= 0.0 && d5 <= d6)
        return set(0.0, 0.0, 1.0);

    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0)
    {
        const double s = d2 / (d2 - d6);
        return set(1.0 - s, 0.0, s);
    }

    const double va = d3 * d6 - d5 * d4;
    if (va <= 0.0 && (d4 - d3) >= 0.0 && (d5 - d6) >= 0.0)
    {
        const double s = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        return set(0.0, 1.0 - s, s);
    }

    const double inv = 1.0 / (va + vb + vc);
    const double v = vb * inv;
    const double s = vc * inv;
    set(1.0 - v - s, v, s);
}
}  // namespace

bool MeshCoord::project(int tri, const float* vertices, const int* triangles,
                        const oxLinear::Point& p)
{
    invalidate();
    if (tri < 0 || !vertices || !triangles)
        return false;
    const Corners corners = cornersOf(tri, vertices, triangles);
    if (!hasArea(corners))
        return false;
    closestWeights(corners, p, weights);
    triangle = tri;
    return true;
}

oxLinear::Point MeshCoord::evaluate(const float* vertices, const int* triangles) const
{
    if (!valid() || !vertices || !triangles)
        return oxLinear::Point();
    const Corners t = cornersOf(triangle, vertices, triangles);
    return oxLinear::Point(weights[0] * t.a[0] + weights[1] * t.b[0] + weights[2] * t.c[0],
                           weights[0] * t.a[1] + weights[1] * t.b[1] + weights[2] * t.c[1],
                           weights[0] * t.a[2] + weights[1] * t.b[2] + weights[2] * t.c[2]);
}
}  // namespace oxGeom
