#pragma once
// Cutting a surface open along a graph of its edges so that it becomes a topological disk, the
// shape a planar parameterization needs.

#include <oxGeom/CompactMesh.h>

namespace oxGeom
{
namespace cutSurface
{
/// Cuts `mesh` along a cut graph so that each connected piece becomes a topological disk:
/// one boundary loop and Euler characteristic 1.
///
/// Inputs: `mesh` (V vertices, T triangles), closed or with boundaries, of any genus.
/// The cut graph is built tree-cotree fashion: a breadth-first spanning tree of the triangles
/// across their shared edges; the edges it does not cross, together with the existing
/// boundary edges, form a graph whose complement is a disk; branches of that graph that end
/// in a vertex of degree 1 are pruned away, which leaves the 2g loops of a genus-g surface
/// and the paths joining its boundaries. A closed piece of genus 0 keeps no edge that way, so
/// it is cut along the shortest edge path between two vertices far apart (found by two
/// breadth-first sweeps), at least two edges long so that the boundary it opens has at least
/// four edges.
/// Outputs: `mesh` in place. Each vertex is split into one copy per fan of triangles that the
/// cut separates around it: the first fan (in triangle order) keeps the vertex's index, the
/// others get new vertices appended after the last one, with every per-vertex channel value
/// and the selection bit of the original. Triangles are renumbered to the copies; positions,
/// triangle order and winding are unchanged, so the surface and its area stay the same.
/// When a vertex was split, one notice goes through mesh.modified(): type Topology, with an
/// identity vertex map of V old vertices onto the new count, flags polysModified and
/// triangleNormalsValid, and normalsValid / uvsValid / stsValid for the channels present.
/// Returns true when vertices were added; false when the mesh already was a disk (or a set of
/// disks), leaving it untouched and announcing nothing.
/// Preconditions: none. Edges shared by more than two triangles, or by two triangles that
/// run them the same way, are treated as boundary edges (the pieces they separate are cut
/// apart there), and a vertex whose triangles meet only at that vertex is split into one
/// vertex per fan.
/// Empty or degenerate input: a mesh without triangles returns false. Triangles with a
/// repeated corner or a corner outside [0, V) are left as they are and joined to no other
/// triangle.
/// Thread safety: runs on the calling thread; nothing else may use `mesh` during the call.
/// Diagnostics: "cutSurface::makeDisk: %d vertices, %d triangles, %d cut edges, %d vertices
/// added: %f s" (V, T, edges of the final cut graph, copies, seconds).
/// Cost: O(T log T) for sorting the 3T directed edges, O(V + T) for the rest; about 40 bytes
/// per triangle of scratch memory.
bool makeDisk(CompactMesh& mesh);
}  // namespace cutSurface
}  // namespace oxGeom
