// Triangle-box and segment-box overlap by separating axes, in single precision with the box
// expressed relative to the first corner so that the products stay small near the item. Every
// comparison is closed, so items that only touch a box count as overlapping it. The kernels live
// in boxOverlapKernels.h; these entry points add the checks of the public contract.

#include <oxGeom/boxOverlap.h>

#include "boxOverlapKernels.h"

namespace oxGeom
{
namespace
{
// Valid (minimum <= maximum on every axis); false for the empty box and for NaN values.
inline bool isValidBox(const float box[6])
{
    return box[0] <= box[3] && box[1] <= box[4] && box[2] <= box[5];
}

// True when no coordinate is infinite or NaN (x - x is 0 only for finite x).
inline bool isFinite(const float* p)
{
    return (p[0] - p[0]) + (p[1] - p[1]) + (p[2] - p[2]) == 0.0f;
}
}  // namespace

void project(const BoundingBox& box, const oxLinear::VectorFlt& axis, float& lo, float& hi)
{
    detail::projectBox(box.m_box, axis.data(), lo, hi);
}

bool intersects(const BoundingBox& box, const float* const a, const float* const b,
                const float* const c)
{
    return isValidBox(box.m_box) && isFinite(a) && isFinite(b) && isFinite(c) &&
           detail::triangleMeetsBox(box.m_box, a, b, c);
}

bool intersects(const BoundingBox& box, const float* const p, const float* const q)
{
    return isValidBox(box.m_box) && isFinite(p) && isFinite(q) &&
           detail::segmentMeetsBox(box.m_box, p, q);
}
}  // namespace oxGeom
