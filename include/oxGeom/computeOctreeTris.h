#pragma once
// Partitioning a mesh's triangles and lines into the leaves of an octree: the per-leaf lists
// that every spatial query (closest point, rays, inside tests) walks.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeLines.h>
#include <oxGeom/OctreeTris.h>

namespace oxGeom
{
/// Lists, for every leaf of `octree`, the triangles of `mesh` that touch the leaf's box.
///
/// Inputs: `mesh` (its vertices and triangles; strips, fans and lines are ignored); `octree`,
/// normally built over the mesh's vertices with the mesh's bounding box, tiling flag true and
/// leaf size 16, so that its leaves cover every triangle.
/// Output: `result`, replaced in one swap by one set per leaf (set k = leaf number k), each
/// holding the indices of the triangles listed for that leaf in ascending order.
/// Preconditions: none beyond the mesh and the octree staying unchanged during the call; bad
/// indices and coordinates are detected (below).
/// Which triangles are listed: a triangle is tested (closed triangle-box overlap,
/// `intersects(BoundingBox, a, b, c)`) against every leaf whose box meets its bounding box, and
/// listed where it overlaps, so one lying on a face shared by two leaves is listed in both.
/// Shortcut: when a triangle's bounding box lies inside (or on the boundary of) the last leaf
/// visited for the previous triangle, it is listed in that leaf alone, without a walk; this
/// drops only contacts with neighbouring leaves along that leaf's boundary. The remembered leaf
/// is forgotten every 1024 triangles (at indices that are multiples of 1024), which keeps the
/// lists identical for every thread count.
/// Empty or degenerate input: an octree with no leaves leaves `result` untouched and prints
/// nothing. A mesh without triangles gives one empty set per leaf. A triangle with a vertex
/// index outside the vertex array, or with an infinite or NaN coordinate, is listed nowhere.
/// Parts of triangles outside the octree's root box are not listed anywhere, nor are parts in
/// cells that an octree built without tiling leaves out.
/// Threads: runs on oxUtil::ThreadPool::get(), each thread on a contiguous slice of the
/// triangles; the lists and the printed ratios do not depend on the thread count.
/// Diagnostics: "OctreeTris:  Partitioned %d triangles into %d voxels in %.3f seconds.\n" then
/// "             (%.2f coherence, %.2f voxels/tri, %.0f tri/sec)\n": coherence is the share of
/// triangles that took the shortcut, voxels/tri the number of listings per triangle; an empty
/// mesh prints not-a-number ratios.
/// Cost: O(n * (walk depth + leaves touched)) time; about 12 bytes per listing at the peak.
void computeOctreeTris(const CompactMesh& mesh, const Octree& octree, OctreeTris& result);

/// Lists, for every leaf of `octree`, the line segments of `mesh` (getLines) that touch the
/// leaf's box.
///
/// The same contract as computeOctreeTris with lines in place of triangles: the item's box is
/// the box of its two end points, the overlap test is the closed segment-box test
/// `intersects(BoundingBox, p, q)`, `result` receives one set of line indices per leaf, and a
/// line with an end point index outside the vertex array, or with an infinite or NaN
/// coordinate, is listed nowhere. Line strips are ignored.
/// Diagnostics: "OctreeLines:  Partitioned %d lines into %d voxels in %.3f seconds.\n" then
/// "             (%.2f coherence, %.2f duplication, %.0f tri/sec)\n" (the rate counts lines).
/// Cost: O(lines * (walk depth + leaves touched)).
void meshOctreeLines(const CompactMesh& mesh, const Octree& octree, OctreeLines& result);
}  // namespace oxGeom
