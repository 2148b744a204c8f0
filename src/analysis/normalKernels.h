#pragma once
// The arithmetic of a triangle normal and of a vector normalisation, inline and over raw
// arrays, so that triNormal, the vertex and triangle normal channels and meshNormalize share
// one definition bit for bit while the hot loops pay no call. Private to the library.

#include <cmath>

namespace oxGeom
{
namespace detail
{
// A length that a direction can be divided by: positive and finite.
inline bool isDirectionLength(double length)
{
    return length > 0.0 && length <= 1.7976931348623157e308;
}

// Unit normal of p0 p1 p2 by the right-hand rule: (p2 - p1) x (p0 - p1) divided by its
// length; (0, 0, 1) when the cross product has no direction.
inline void triangleNormal(const double p0[3], const double p1[3], const double p2[3],
                           double normal[3])
{
    const double a[3] = {p2[0] - p1[0], p2[1] - p1[1], p2[2] - p1[2]};
    const double b[3] = {p0[0] - p1[0], p0[1] - p1[1], p0[2] - p1[2]};
    const double x = a[1] * b[2] - a[2] * b[1];
    const double y = a[2] * b[0] - a[0] * b[2];
    const double z = a[0] * b[1] - a[1] * b[0];
    const double length = std::sqrt(x * x + y * y + z * z);
    if (!isDirectionLength(length))
    {
        normal[0] = 0.0;
        normal[1] = 0.0;
        normal[2] = 1.0;
        return;
    }
    normal[0] = x / length;
    normal[1] = y / length;
    normal[2] = z / length;
}

// The same for three packed float corners, widened to double, the result rounded to float.
inline void triangleNormal(const float* p0, const float* p1, const float* p2, float normal[3])
{
    const double q0[3] = {p0[0], p0[1], p0[2]};
    const double q1[3] = {p1[0], p1[1], p1[2]};
    const double q2[3] = {p2[0], p2[1], p2[2]};
    double n[3];
    triangleNormal(q0, q1, q2, n);
    normal[0] = static_cast<float>(n[0]);
    normal[1] = static_cast<float>(n[1]);
    normal[2] = static_cast<float>(n[2]);
}

// Scales one packed float vector to unit length, in double; a vector without a direction
// (zero, infinite or NaN length) becomes (0, 0, 0).
inline void normalizeVector(float* v)
{
    const double x = v[0], y = v[1], z = v[2];
    const double length = std::sqrt(x * x + y * y + z * z);
    if (!isDirectionLength(length))
    {
        v[0] = v[1] = v[2] = 0.0f;
        return;
    }
    v[0] = static_cast<float>(x / length);
    v[1] = static_cast<float>(y / length);
    v[2] = static_cast<float>(z / length);
}
}  // namespace detail
}  // namespace oxGeom
