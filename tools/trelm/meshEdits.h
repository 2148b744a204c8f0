#pragma once
// Mesh preparation steps that several trelm subcommands share: welding that keeps every vertex
// channel attached to its vertex, welding within a tolerance, and a positions-only copy for
// measuring a file's surface rather than its vertex layout.

#include <oxGeom/CompactMesh.h>
#include <oxUtil/Progress.h>

namespace trelm::cli
{
/// Merges the vertices of `mesh` that meshCompact finds alike (equal positions, and equal
/// normals and UVs when the mesh has explicit normals) and renumbers the triangles.
/// Unlike meshCompact alone, every channel moves with its vertex: STs, colours, computed normals
/// and named channels too (of a merged group, the vertex with the highest old index supplies
/// the values, as meshCompact does for positions).
/// Output: returns the number of vertices removed (0 leaves the mesh untouched).
/// Cost: that of meshCompact plus one copy of the channels it does not move.
int weldVertices(oxGeom::CompactMesh& mesh, oxUtil::Progress& progress);

/// Merges vertices whose positions differ by at most `tolerance` on every axis (MeshMerge of
/// the mesh with itself). Merged vertices have no single normal, UV or colour any more, so
/// every channel but the positions is dropped.
/// Output: returns the number of vertices removed.
/// Cost: O(V log V + T) with a k-d tree.
int weldVerticesWithin(oxGeom::CompactMesh& mesh, float tolerance, oxUtil::Progress& progress);

/// Deletes every vertex channel except the positions.
void dropVertexChannels(oxGeom::CompactMesh& mesh);

/// A copy of the positions and triangles of `mesh` with coincident vertices merged: the surface
/// as a topologist sees it, whatever seams the file split its vertices along.
oxGeom::CompactMesh weldedSurface(const oxGeom::CompactMesh& mesh, oxUtil::Progress& progress);
}  // namespace trelm::cli
