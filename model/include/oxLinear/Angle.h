#pragma once
// Angle constants and degree/radian conversion shared by the geometry code.

namespace oxLinear
{
/// pi to double precision.
inline constexpr double pi = 3.14159265358979323846;

/// Degrees to radians. Pure, O(1), thread-safe.
inline constexpr double toRadians(double degrees)
{
    return degrees * (pi / 180.0);
}

/// Radians to degrees. Pure, O(1), thread-safe.
inline constexpr double toDegrees(double radians)
{
    return radians * (180.0 / pi);
}
}  // namespace oxLinear
