#pragma once
// An overlap oracle for triangles and segments against boxes that shares no method with the
// library's separating-axis tests: the item is clipped by the box's six half-spaces in double
// precision. Rounding can matter only near the box's faces, so the oracle answers "apart" or
// "overlapping" outside a margin around them and "near" inside it.

#include <oxGeom/BoundingBox.h>

#include <array>
#include <vector>

namespace testsupport
{
enum class Overlap
{
    apart,        ///< misses the box grown by the margin
    near,         ///< meets the grown box but not the shrunk one: either answer is right
    overlapping,  ///< meets the box shrunk by the margin
};

namespace detail
{
using Point3 = std::array<double, 3>;

// Sutherland-Hodgman against the half-space side * (p[axis] - bound) <= 0. A segment is a
// two-corner polygon, a point a one-corner polygon.
inline std::vector<Point3> clip(const std::vector<Point3>& polygon, int axis, double bound,
                                double side)
{
    std::vector<Point3> out;
    for (size_t i = 0; i < polygon.size(); ++i)
    {
        const Point3& p = polygon[i];
        const Point3& q = polygon[(i + 1) % polygon.size()];
        const double dp = side * (p[axis] - bound), dq = side * (q[axis] - bound);
        if (dp <= 0)
            out.push_back(p);
        if ((dp < 0 && dq > 0) || (dp > 0 && dq < 0))
        {
            Point3 x;
            for (int k = 0; k < 3; ++k)
                x[k] = p[k] + dp / (dp - dq) * (q[k] - p[k]);
            x[axis] = bound;
            out.push_back(x);
        }
    }
    return out;
}

// Does the closed polygon meet the box with every face moved outwards by `margin`?
inline bool meets(std::vector<Point3> polygon, const oxGeom::BoundingBox& box, double margin)
{
    for (int k = 0; k < 3 && !polygon.empty(); ++k)
    {
        const double lo = double(box[k]) - margin, hi = double(box[k + 3]) + margin;
        if (lo > hi)
            return false;
        polygon = clip(clip(polygon, k, lo, -1.0), k, hi, 1.0);
    }
    return !polygon.empty();
}
}  // namespace detail

/// The triangle or segment with the given corners (three or two float triples) against `box`.
inline Overlap classify(const oxGeom::BoundingBox& box, const std::vector<const float*>& corners,
                        double margin)
{
    std::vector<detail::Point3> polygon;
    for (const float* p : corners)
        polygon.push_back({double(p[0]), double(p[1]), double(p[2])});
    if (!detail::meets(polygon, box, margin))
        return Overlap::apart;
    return detail::meets(polygon, box, -margin) ? Overlap::overlapping : Overlap::near;
}
}  // namespace testsupport
