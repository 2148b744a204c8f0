#pragma once
// Axis-aligned bounding boxes of meshes, arrangements of placed meshes, and
// single triangles.

#include <oxGeom/BitVector.h>
#include <oxGeom/BoundingBox.h>
#include <oxGeom/MeshElements.h>
#include <oxGeom/MeshPlacement.h>
#include <oxGeom/PointMesh.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Bounding box of the vertices of `mesh`, whether or not triangles use them.
///
/// Inputs: `mesh`; `selection` (may be null): when given, only vertices whose bit is set count;
/// it must have at least as many bits as the mesh has vertices.
/// Output: `box`, replaced.
/// Empty or degenerate input: no vertex (or no selected vertex) gives the empty box
/// (minimum +3.4028235e38, maximum -3.4028235e38).
/// Threads: runs on oxUtil::ThreadPool::get(); the box is the same for every thread count.
/// Diagnostics: "meshBoundingBox: %d vertices  %f s" with the mesh's full vertex count.
/// Cost: O(vertices).
void meshBoundingBox(const PointMesh& mesh, const BitVector* selection, BoundingBox& box);

/// Bounding box of all vertices of `mesh`; the overload above without a selection.
void meshBoundingBox(const PointMesh& mesh, BoundingBox& box);

/// Bounding box of all vertices of `mesh` as double corners: `min[0..2]` and `max[0..2]`
/// receive the box's minimum and maximum corners, widened from float. An empty mesh gives
/// min = +3.4028235e38 and max = -3.4028235e38 per coordinate.
void meshBoundingBox(const PointMesh& mesh, double min[3], double max[3]);

/// Bounding box of an arrangement: the union of each placement's mesh box transformed by the
/// placement's matrix (the box of the eight transformed corners, so it encloses the placed mesh
/// but may be larger than its tight box under rotation).
///
/// Inputs: `placements`; every placement's `mesh` must be set (it is not checked).
/// Output: `box`, replaced; an empty list gives the empty box.
/// Threads: each mesh box is computed on the pool, one mesh after the other.
/// Diagnostics: one meshBoundingBox line per mesh, then "arrangementBoundingBox: %d meshes  %f s".
/// Cost: O(total vertices).
void arrangementBoundingBox(const ox::list<MeshPlacement>& placements, BoundingBox& box);

/// Bounding box of one triangle: `box` becomes the box of the triangle's three vertices.
/// Precondition: the triangle's indices lie inside `vertices`. Thread safe; O(1); not timed.
void meshTriBoundingBox(const MeshVertex* vertices, const MeshTriangle& triangle, BoundingBox& box);

/// Bounding boxes of `count` triangles: `boxes[i]` becomes the box of `triangles[i]`.
///
/// Inputs: `vertices`, `triangles` (count entries), `boxes` (room for count boxes).
/// Precondition: every index lies inside `vertices`. A count of 0 or less writes nothing.
/// Threads: runs on the calling thread only.
/// Diagnostics: "meshTriBoundingBoxes: %d triangles, %f s".
/// Cost: O(count).
void meshTriBoundingBoxes(const MeshVertex* vertices, const MeshTriangle* triangles, int count,
                          BoundingBox* boxes);
}  // namespace oxGeom
