#pragma once
// Packing UV charts: placing axis-aligned rectangles (chart extents) without
// overlap inside the unit square with a binary space-partition packer.

#include <ox/containers.h>
#include <oxLinear/Range.h>

namespace oxGeom
{
/// One packing attempt at the given sizes.
///
/// Inputs: `rects` (N rectangles; only their sizes matter). Each is inserted in list order into
/// a binary partition of [0, 1] x [0, 1]: the first free leaf (depth first) that is at least as
/// large (within oxLinear::epsilonTol) takes it, either whole when the sizes match or after
/// being split off along the axis with the smaller slack.
/// Output: true when every rectangle was placed; each placed rectangle is replaced by its
/// region (minimum corner where it went, extents equal to its own within epsilonTol).
/// On failure, the rectangles before the first one that did not fit keep their new places and
/// the rest keep their old values.
/// Quick rejection: false, nothing changed, when the larger side of the LAST rectangle exceeds
/// 1.0 (with the list sorted by decreasing side that is the smallest one).
/// Empty or degenerate input: an empty list places nothing and returns true. A rectangle with
/// a non-finite corner, a non-finite size or max < min on an axis (an empty Range2d) cannot be
/// placed: false, nothing changed. Zero-sized rectangles are placed.
/// Thread safety: reentrant; no shared state.
/// Cost: O(N * tree size) in the worst case; subtrees without a large enough free leaf are
/// skipped, which makes a typical insertion close to O(depth).
bool pack(ox::vector<oxLinear::Range2d>& rects);

/// Packs every rectangle, shrinking all of them uniformly until they fit, then enlarges the
/// layout to touch the far side of the unit square.
///
/// Inputs: `rects` (N rectangles); the int is accepted and unused.
/// Work: sorts the rectangles by decreasing larger side (stable: equal sides keep list order)
/// and tries pack(sorted); after each failure every size is multiplied by f = 0.499^(1/N) and
/// the attempt repeated. The placements are written back in the caller's order. Then, with
/// bounds the union of all placements and s = 1 / (larger side of bounds), the layout is
/// scaled about the origin by s when s > 1.01.
/// Output: `rects` holds the new non-overlapping placements inside the unit square.
/// Diagnostics on the geometry debug channel: for the first six rectangles in sorted order
/// "Packed (x0,y0)-(x1,y1) to (x0,y0)-(x1,y1)" (old and new corners, "%.4f"); "Scaling packing by
/// %.2f" when rescaled; then "Packed N items with C coverage in I iterations in S seconds.",
/// where C is the product of all shrink factors.
/// Empty or degenerate input: an empty list is left as it is, with no output. A list holding
/// a rectangle that pack(rects) could never place (non-finite corner or size, or an empty
/// Range2d) is left unchanged and one line "pack: N items, a rectangle is empty or not finite;
/// nothing packed" is written. When every rectangle has zero size no rescaling happens.
/// Thread safety: reentrant; prints to the shared debug channel.
/// Cost: one attempt per shrink round; the rounds grow like N times the log of the shrink
/// needed.
void pack(ox::vector<oxLinear::Range2d>& rects, int);
}  // namespace oxGeom
