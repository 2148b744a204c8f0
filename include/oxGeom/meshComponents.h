#pragma once
// Connected components of a mesh, counted by flooding over shared vertices.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/TopoMesh.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Counts the connected components of an indexed mesh and optionally labels its vertices.
///
/// Inputs: `mesh` (V vertices, T triangles) and `adj`, its meshAdjTris table; `vertexLabels`
/// may be null.
/// Output: returns the number of components. Two triangles are connected when they share a
/// vertex (an edge is not needed). Components are numbered 0, 1, 2, ... in the order of their
/// lowest triangle index. When given, `vertexLabels` is resized to V and holds each vertex's
/// component number, or -1 for a vertex no triangle uses.
/// Preconditions: `adj` was built from `mesh`. Table entries naming no triangle of `mesh` are
/// ignored, and corners outside [0, V) get no label, so a mismatched table cannot make the call
/// read or write out of bounds.
/// Empty or degenerate input: no triangles gives 0 (every label -1). A triangle whose corners
/// all lie outside [0, V) has no neighbours and forms a component of its own.
/// Thread safety: runs on the calling thread; writes only `vertexLabels`.
/// Diagnostics: "meshComponents(): %d triangles" (T) before the work, then
/// "   %d components: %f s" (count, seconds).
/// Cost: O(V + T), each vertex's list read once; an explicit stack of T ints and bit vectors
/// of T and V bits.
int meshComponents(const CompactMesh& mesh, const MeshAdjTris& adj, ox::Array<int>* vertexLabels);

/// Counts the connected components of a topological mesh.
///
/// Input: `mesh`; its faces need not be linked by meshTwin.
/// Output: returns the number of components. Faces are connected through shared vertices, as
/// in the indexed overload, so a mesh has the same count in both forms, and the count does not
/// depend on whether the twin edges have been linked. The faces are visited along the face
/// list; a face not yet reached starts a new component, flooded depth-first over the faces
/// around each of its corners (corner order, then each corner's outgoing edges in creation
/// order; a vertex's faces are gathered the first time the flood reaches the vertex).
/// Empty or degenerate input: no faces gives 0; vertices on no face are not counted.
/// Thread safety: reads the mesh only (the reference is non-const for the callers' sake).
/// Diagnostics: none.
/// Cost: O(V + F + half-edges); a stack and a flag per face, a flag per vertex.
int meshComponents(TopoMesh& mesh);
}  // namespace oxGeom
