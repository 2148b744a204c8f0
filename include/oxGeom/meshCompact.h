#pragma once
// Vertex welding: merges the vertices of a mesh that are exactly alike and
// renumbers every index that refers to them.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/Remap.h>
#include <oxUtil/Progress.h>

namespace oxGeom
{
/// Welds the vertices of `mesh` that are equal component by component, in place.
///
/// Inputs: `mesh` with n vertices and m triangles (plus optional triangle strips
/// and fans). Two vertices are alike when their positions are equal (floating-
/// point ==, so -0 equals +0) and, when the mesh has explicit normals (a normal
/// array not marked as computed), their normals are equal too, and, when it has
/// explicit normals and UVs, their UVs are equal too. There is no tolerance.
/// UVs without explicit normals do not keep vertices apart: vertices at one
/// position are welded even where their UVs differ. Computed normals never keep
/// vertices apart.
/// `progress`: 0.8 of it covers the sort, 0.2 the numbering; it is not polled
/// for cancellation.
///
/// Outputs:
/// - `vertexMap` (overwritten): domain n, range the new vertex count; maps
///   every old vertex to its new index. New indices follow the ascending order
///   of (x, y, z[, normal[, uv]]), so after a weld the vertex array is sorted
///   by that key. Vertices with a NaN in a compared component are never welded;
///   they come last, in ascending old index order.
/// - `mesh`: positions, explicit normals and UVs moved to their new slots (of a
///   welded group, the member with the highest old index supplies the values);
///   triangles, strip points and fan points rewritten through the map (an index
///   outside [0, n) becomes -1); triangles whose corners were welded together
///   stay, degenerate; the vertex count cut to the new count. Other per-vertex
///   data (computed normals, STs, colours, named channels, the vertex
///   selection) is not renumbered: it keeps its first entries, and a caller who
///   needs it renumbers its own copy through `vertexMap`.
/// - One notice through mesh.modified(): type MeshModification::Topology with
///   the vertex map, flags normalsModified (explicit normals), uvsModified (UVs),
///   stripsAndFansModified (strips or fans present) and triangleNormalsValid.
///   Nothing is announced when nothing was welded.
/// - Diagnostic lines on debugChannel(): "meshCompact: %d vertices, %d
///   triangles", then "  sorted vertices: %f s" and "  initialized remap: %f s";
///   after a weld also "  remapped vertices: %f s", "  remapped normals: %f s"
///   (explicit normals only) and "  remapped triangles: %f s".
///
/// Preconditions: none on the primitives' indices (see Outputs for those out of
/// range).
/// Empty or degenerate input: no duplicates (or n <= 1) leaves the mesh untouched
/// and `vertexMap` the identity of n elements; an empty mesh gives an empty
/// identity map.
/// Thread safety: sorts on oxUtil::ThreadPool::get() (at most two busy threads,
/// serial on a one-thread pool); the result does not depend on the thread
/// count. Nothing else may read or write `mesh` during the call.
/// Cost: O(n log n) comparisons for the sort, then O(n + m + strip and fan
/// points); one int per vertex for the sort order (two during the parallel
/// merge) and one scratch array per moved channel.
void meshCompact(CompactMesh& mesh, oxUtil::Progress& progress, Remap& vertexMap);

/// As above, discarding the vertex map.
void meshCompact(CompactMesh& mesh, oxUtil::Progress& progress);
}  // namespace oxGeom
