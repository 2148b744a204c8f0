#pragma once
// The library's tolerance constants, chosen once here. Code compares against
// these names; the numbers never appear as literals anywhere else.

namespace oxLinear
{
/// Geometric zero for double-precision work. Coordinates of the meshes the
/// library handles are O(1e-3 .. 1e4); 1e-10 sits well above the rounding noise
/// of sums and products of such values (~1e-16 relative) yet far below any
/// meaningful length, area or residual. It serves as the stopping tolerance of
/// the conjugate-gradient solver, the "is zero" test of curvature vectors, the
/// minimum accepted ray parameter, and the equality slack of camera values.
inline constexpr double epsilonTol = 1.0e-10;

/// Geometric zero for single-precision work (mesh vertices and placement
/// matrices are floats). A float carries ~7 significant digits (machine epsilon
/// 1.19e-7), so 1e-6 is a few ulps of values near 1: small enough to tell a
/// real offset from an identity matrix, large enough to absorb a float round
/// trip. Also the minimum hit distance of single-precision rays.
inline constexpr float epsilonTolFlt = 1.0e-6f;

/// Largest sine of the angle between two directions that still counts as
/// parallel (used by isParallel). 1e-6 rad (~5.7e-5 degrees) is far below any
/// angle that matters to a modelling user, while a double cross product of
/// unit vectors is accurate to ~1e-16, so genuinely distinct directions are
/// never merged by rounding.
inline constexpr double parallelTol = 1.0e-6;

/// Angle tolerance in degrees (convert with toRadians before comparing radians).
/// 1e-4 degrees is invisible in any view yet well above the ~1e-13 degree noise
/// that a round trip through a projection matrix (tan/atan) leaves.
inline constexpr double degreeTol = 1.0e-4;

/// Tolerance on the squared sine of the angle between two lines, below which
/// the lines are treated as parallel by the line-line closest-point routine.
/// It is parallelTol squared so both tests agree on what "parallel" means; near
/// that angle the closest-approach parameter would be 1 / sin^2 ~ 1e12 times
/// the input rounding, i.e. meaningless.
inline constexpr double perpendicular2Tol = parallelTol * parallelTol;
}  // namespace oxLinear
