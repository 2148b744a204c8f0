#pragma once
// An overlap oracle for triangles and segments against boxes that shares no method with the
// separating-axis tests: the item is clipped by the box's six half-spaces in double precision.
// Within `margin` of the box's faces rounding may decide, so the oracle answers "near" there.

#include <oxGeom/BoundingBox.h>

#include <array>
#include <vector>

namespace testsupport
{
enum class Overlap
{
    apart,        // misses the box grown by the margin
    near,         // either answer is right
    overlapping,  // meets the box shrunk by the margin
};

namespace detail
{
using Point3 = std::array<double, 3>;

// Does the closed polygon (a segment has two corners) meet the box grown by `margin`? Clips it
// by each face in turn, Sutherland-Hodgman style.
inline bool meets(std::vector<Point3> polygon, const oxGeom::BoundingBox& box, double margin)
{
    for (int face = 0; face < 6 && !polygon.empty(); ++face)
    {
        const int axis = face % 3;
        const double side = face < 3 ? -1.0 : 1.0, bound = box[face] + side * margin;
        std::vector<Point3> kept;
        for (size_t i = 0; i < polygon.size(); ++i)
        {
            const Point3 &p = polygon[i], &q = polygon[(i + 1) % polygon.size()];
            const double dp = side * (p[axis] - bound), dq = side * (q[axis] - bound);
            if (dp <= 0)
                kept.push_back(p);
            if ((dp < 0 && dq > 0) || (dp > 0 && dq < 0))
            {
                Point3 x;
                for (int k = 0; k < 3; ++k)
                    x[k] = p[k] + dp / (dp - dq) * (q[k] - p[k]);
                kept.push_back(x);
            }
        }
        polygon.swap(kept);
    }
    return !polygon.empty();
}
}  // namespace detail

/// The triangle or segment with the given corners (float triples) against `box`.
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
