#pragma once
// The longest triangle edge of a mesh: the length that bounds how far a triangle's points can
// lie from its corners, used to widen nearest-point searches over a vertex octree.

#include <oxGeom/CompactMesh.h>

namespace oxGeom
{
/// Length of the longest triangle edge of `mesh`.
///
/// Inputs: `mesh` (V vertices, T triangles; strips, fans and lines are ignored).
/// Output: the largest distance between two corners of one triangle, computed in double from
/// the float coordinates.
/// Empty or degenerate input: no triangles gives 0. Triangles with a corner index outside
/// [0, V) are skipped; an edge with a NaN coordinate does not count, an infinite one gives
/// infinity.
/// Thread safety: reads only; any number of threads may call it at once.
/// Cost: O(T), one pass over the triangles on the calling thread; not timed.
double meshLongestEdge(const CompactMesh& mesh);
}  // namespace oxGeom
