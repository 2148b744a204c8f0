#pragma once
// Direction sampling for ray casting: random unit vectors and hemisphere sets, and the maps
// between the unit square and the unit sphere that turn low-discrepancy point sets (see
// Hammersley.h) into evenly spread directions.

#include <ox/containers.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// A uniformly distributed random unit vector, by rejection: three coordinates are drawn
/// uniformly from [-1, 1) until their squared length L lies in [0.01, 1), then the sample is
/// scaled by 1 / sqrt(L). Samples near the centre are rejected too, so that rounding never
/// magnifies a tiny sample into a biased direction.
///
/// Output: `v` is replaced. Draws from the C library's drand48 generator, whose state is
/// process-wide (seed it with srand48 for a repeatable sequence; on platforms without it, a
/// generator of the library with the same recurrence is used).
/// Thread safety: none (shared generator state); call from one thread at a time.
/// Cost: O(1) expected (about 1.9 draws of three numbers per vector).
void randomUnitVector(oxLinear::Vector& v);

/// Fills every element already in `vectors` (the caller sets the size) with a random unit
/// vector on the side of the plane through the origin that `normal` points to: a
/// randomUnitVector, reversed when its dot product with `normal` is negative. The result is
/// uniform over the hemisphere. An empty array is left empty.
/// Thread safety and cost: as randomUnitVector, per element.
void computeHemisphereVectors(const oxLinear::Vector& normal,
                              ox::vector<oxLinear::Vector>& vectors);

/// The uniform map of the unit square onto the unit sphere: theta = acos(2v - 1),
/// phi = 2 pi u; out = (cos phi sin theta, sin phi sin theta, cos theta), in single precision.
/// Inputs in [0, 1] give unit vectors; (u, 1) is the pole +Z, (u, 0) the pole -Z.
/// Thread-safe; O(1).
void mapSphericalToUniformCartesian(float u, float v, oxLinear::VectorFlt& out);

/// The uniform map of the unit square onto the spherical cap z >= 1 - cap of the unit sphere:
/// phi = 2 pi u, w = v cap, r = sqrt((2 - w) w); out = (cos phi r, sin phi r, 1 - w).
/// cap = 2 covers the whole sphere, cap = 1 the upper hemisphere. Thread-safe; O(1).
void mapSphericalCapToUniformCartesian(float u, float v, float cap, oxLinear::VectorFlt& out);

/// The inverse of mapSphericalToUniformCartesian for a unit vector `p`: theta = acos(p.z);
/// u = atan2(p.y / sin theta, p.x / sin theta) / (2 pi), plus 1 when negative, or 0 within
/// 0.001 of a pole (where the longitude is meaningless); v = (cos theta + 1) / 2.
/// Outputs u and v in [0, 1]. Precondition: p has unit length (|p.z| > 1 gives NaN).
/// Thread-safe; O(1).
void mapUniformCartesianToSpherical(const oxLinear::VectorFlt& p, float& u, float& v);
}  // namespace oxGeom
