#pragma once
// Lines and picking rays against a mesh: one line against one triangle, and the
// picking line of a view frustum against the whole mesh through its vertex octree.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/Frustum.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/Octree.h>
#include <oxLinear/Line.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// Where a line crosses one triangle of a mesh.
///
/// Inputs: `mesh`; `triangle`, an index into its triangles; `line` (origin and
/// direction in doubles; the origin is rounded to floats for the test).
/// Output: true on a hit, with `hit` = line.eval(t) rounded to floats.
/// The test is intersectRayTriangle (Ray.h) with the line's direction and
/// origin, so the line is cast both ways: a front face behind the origin hits
/// too, a back face only at t >= getBackfaceCullDistance().
/// Empty or degenerate input: a triangle index or a corner index out of range,
/// a zero direction or a triangle without area give false; `hit` is written
/// only on a hit.
/// Thread safety: reads the mesh and the process-wide cull distance; any number
/// of threads may call it. Cost: O(1).
bool meshRayTriIntersect(const CompactMesh& mesh, int triangle, const oxLinear::Line& line,
                         oxLinear::PointFlt& hit);
/// The same with the hit point widened to doubles: the float hit point of the
/// form above, converted (so both forms give the same point).
bool meshRayTriIntersect(const CompactMesh& mesh, int triangle, const oxLinear::Line& line,
                         oxLinear::Point& hit);

/// Picking: the first triangle that the picking line of `frustum`
/// (Frustum::getRay) crosses, searched near the view volume.
///
/// Inputs: `mesh` (V vertices, T triangles); `octree` built over the mesh's
/// vertices (its leaf ranges name vertices); `adj`, the mesh's vertex ->
/// triangle table (meshAdjTris); `frustum`; `triangle`, may be null.
/// Output: true when a triangle is hit; then `hit` is the hit point and
/// `*triangle` (when given) its index. On a miss both are left unchanged.
/// Order: leaves meeting the frustum arrive front to back along its view
/// vector (OctreeIntersectIt); each vertex of a leaf and each triangle round
/// such a vertex is tried once, with meshRayTriIntersect. The first triangle
/// hit ends the search: this is the first hit in that order, usually but not
/// always the nearest along the line. Triangles none of whose vertices lie in
/// a leaf that meets the frustum are not tried.
/// Preconditions: `octree` and `adj` were built from `mesh`.
/// Empty or degenerate input: an empty mesh or octree, or a frustum that misses
/// the octree, gives false. Octree points or table entries out of range are
/// skipped.
/// Diagnostics: prints "meshRayIntersect:  (%f,%f,%f) %f s\n" (hit point,
/// seconds) on a hit and "meshRayIntersect:  no intersection %f s\n" otherwise
/// to the geometry debug channel.
/// Thread safety: state is local; any number of threads may call it on the
/// same mesh, octree and table. Cost: O(V + T) bits for the visit marks, plus
/// the leaves walked and the triangles round their vertices.
bool meshRayIntersect(const CompactMesh& mesh, const Octree& octree, const MeshAdjTris& adj,
                      const Frustum& frustum, oxLinear::PointFlt& hit, int* triangle);
}  // namespace oxGeom
