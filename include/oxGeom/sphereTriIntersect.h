#pragma once
// Whether a ball and a triangle share a point.

#include <oxGeom/OctreeIterators.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// True when the ball of `sphere` (centre and radius) and the triangle a, b, c
/// share a point: a corner strictly inside the ball, or the triangle's nearest
/// point to the centre at a distance not above the radius (touching counts).
///
/// Inputs: the sphere; the three corners in doubles.
/// Method: corners first; then the centre is taken into the triangle's own
/// frame (origin a, x along b - a, z along the normal): too far from the
/// plane gives false, a foot inside the triangle gives true, otherwise the
/// nearest edge segment decides.
/// Empty or degenerate input: corners that coincide (oxLinear::equivalent with
/// oxLinear::epsilonTol) reduce the triangle to a segment, tested as the
/// distance from the centre to the segment against the radius; three
/// coinciding corners give false unless the point is strictly inside the ball.
/// Distinct but collinear corners (twice the area at most epsilonTol times the
/// longest edge squared) are tested as their longest edge. A negative or NaN
/// radius gives false.
/// Thread safety: pure function. Cost: O(1).
bool sphereTriIntersect(const Sphere& sphere, const oxLinear::Point& a, const oxLinear::Point& b,
                        const oxLinear::Point& c);
}  // namespace oxGeom
