// Unit normal of one triangle, from three points or from a triangle of a mesh. Both go
// through the inline kernel that the normal channels use, so a triangle's normal is the same
// bits whichever route computed it.

#include <oxGeom/meshNormals.h>

#include "normalKernels.h"

namespace oxGeom
{
namespace
{
oxLinear::Normal asNormal(const double n[3])
{
    // Written component by component: constructing a Normal from the values would divide
    // them by their length once more and could move the last bit.
    oxLinear::Normal normal;
    normal[0] = n[0];
    normal[1] = n[1];
    normal[2] = n[2];
    return normal;
}
}  // namespace

oxLinear::Normal triNormal(const oxLinear::Point& p0, const oxLinear::Point& p1,
                           const oxLinear::Point& p2)
{
    double n[3];
    detail::triangleNormal(p0.data(), p1.data(), p2.data(), n);
    return asNormal(n);
}

oxLinear::Normal meshTriNormal(const float* vertices, const int* triangle)
{
    const float* p0 = vertices + 3 * static_cast<long long>(triangle[0]);
    const float* p1 = vertices + 3 * static_cast<long long>(triangle[1]);
    const float* p2 = vertices + 3 * static_cast<long long>(triangle[2]);
    const double q0[3] = {p0[0], p0[1], p0[2]};
    const double q1[3] = {p1[0], p1[1], p1[2]};
    const double q2[3] = {p2[0], p2[1], p2[2]};
    double n[3];
    detail::triangleNormal(q0, q1, q2, n);
    return asNormal(n);
}
}  // namespace oxGeom
