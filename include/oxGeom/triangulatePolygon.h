#pragma once
// Triangulation of a simple polygon given by its corners in 3-D space, such as a boundary loop
// of a mesh that is to be closed.

#include <oxGeom/BitVector.h>
#include <oxLinear/Point.h>
#include <oxUtil/Progress.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Splits a polygon into triangles over its own corners.
///
/// Inputs: `polygon`, n corners in order (the edge from the last corner back to the first
/// closes it). The polygon is projected on its best-fit plane: the plane through the corners'
/// centroid whose normal is the polygon's vector area (Newell's normal), so a bent polygon is
/// flattened the way it winds and a planar one is not changed. `progress` is told the fraction
/// of triangles made and polled for cancellation.
/// Outputs: `indices` is replaced by 3 (n - 2) corner indices, one triple per triangle, each
/// triangle wound like the polygon (its normal on the side of the polygon's normal). `reflex`
/// is resized to n with bit i set when corner i is reflex: its interior angle in the plane
/// exceeds 180 degrees (straight corners, in collinear runs, are not reflex). Returns true.
/// Preconditions: none. The polygon is meant to be simple in its plane (no edge crosses
/// another); then the triangles tile it exactly, none reaches outside, and corners in
/// collinear runs never make a triangle of zero area.
/// Empty or degenerate input: fewer than 3 corners give no triangles, no reflex bits and
/// false. A cancelled run returns false with `indices` empty. A polygon that is not simple, or
/// whose corners are collinear, still gets n - 2 triangles (the ear search then takes the most
/// convex corner left when no clean ear remains), but they may overlap or have zero area.
/// Thread safety: reentrant; reads `polygon`, writes `indices` and `reflex`.
/// Diagnostics: "triangulatePolygon: %d vertices, %d triangles: %f s" (n, triangles, seconds).
/// Cost: O(n r) for r reflex and straight corners when every ear is found on the first try,
/// O(n^2 r) at worst; O(n) memory.
bool triangulatePolygon(const ox::vector<oxLinear::Point>& polygon, ox::vector<int>& indices,
                        BitVector& reflex, oxUtil::Progress& progress);

/// As above, without reflex corners or progress.
bool triangulatePolygon(const ox::vector<oxLinear::Point>& polygon, ox::vector<int>& indices);
}  // namespace oxGeom
