#pragma once
// Closed overlap tests of a triangle or a line segment against an axis-aligned box, by
// separating axes in single precision; the octree partitions use them to decide which leaves
// an item touches.

#include <oxGeom/BoundingBox.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// Projects a box onto an axis.
///
/// Inputs: `box` (taken as given: a box relative to some origin projects relative to it);
/// `axis`, any vector (not normalised; a zero axis gives [0, 0]).
/// Outputs: `lo` and `hi`, replaced: the sum over the three coordinates of the smaller and the
/// larger of min[k] * axis[k] and max[k] * axis[k], so [lo, hi] is the box's extent along the
/// axis in units of the axis length.
/// Empty box: the result is meaningless (the empty box's huge values overflow); callers test
/// validity first.
/// Thread safety: pure function. Cost: O(1).
void project(const BoundingBox& box, const oxLinear::VectorFlt& axis, float& lo, float& hi);

/// True when the closed triangle ABC and the closed box share a point.
///
/// Inputs: `box`; `a`, `b`, `c`, each three floats x, y, z (the triangle's corners).
/// Output: the answer. Touching (a shared face, edge or corner point) counts as overlap.
/// Method: a corner of the triangle inside the closed box answers true at once (exactly, where
/// the axes below could be misled by rounding on a contact). Otherwise separating axes in single
/// precision, relative to A (box corners minus A, edges B - A, C - B, C - A): first the nine
/// cross products of the coordinate axes with the edges, then the three coordinate axes, last
/// the triangle's plane; the first axis that separates answers false.
/// Degenerate input: a triangle collapsed to a segment or a point is tested as that segment or
/// point (zero axes separate nothing, the others still do). An empty box overlaps nothing; a
/// triangle with an infinite or NaN coordinate overlaps nothing.
/// Thread safety: pure function. Cost: O(1), at most 13 axes.
bool intersects(const BoundingBox& box, const float* const a, const float* const b,
                const float* const c);

/// True when the closed segment PQ and the closed box share a point.
///
/// Inputs: `box`; `p`, `q`, each three floats (the segment's end points).
/// Output: the answer; touching counts as overlap.
/// Method: per coordinate, both end points below the box's minimum or both above its maximum
/// separate; then the three cross products of the direction Q - P with the coordinate axes,
/// with the box projected relative to P (the segment projects to 0 on each of them).
/// Degenerate input: P == Q tests the point against the closed box. An empty box overlaps
/// nothing; a segment with an infinite or NaN coordinate overlaps nothing.
/// Thread safety: pure function. Cost: O(1), at most 6 axes.
bool intersects(const BoundingBox& box, const float* const p, const float* const q);
}  // namespace oxGeom
