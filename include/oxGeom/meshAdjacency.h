#pragma once
// Vertex adjacency of an indexed triangle mesh: the triangles around each vertex, the fan
// order of those triangles, the neighbour across a triangle edge, and the distinct neighbour
// vertices of each vertex. Boundaries and components are built from these tables.
//
// The family lives in one header rather than meshAdjTris.h / meshAdjVertices.h because those
// names differ only in case from the holder types MeshAdjTris.h / MeshAdjVertices.h, which are
// installed into the same include directory.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshElements.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Builds the vertex -> triangle table of `mesh`.
///
/// Inputs: `mesh` (V vertices, T triangles).
/// Output: `result` is replaced by a table of V lists; list v holds every triangle with a corner
/// at v, in ascending triangle index; a triangle naming v at two or three corners occurs that
/// many times. The previous contents of `result` are released.
/// Preconditions: 3 * T fits in an int.
/// Empty or degenerate input: a mesh without triangles gives V empty lists; without vertices,
/// a table of no lists. A triangle with a corner index outside [0, V) is left out of the table
/// altogether (the table then holds fewer than 3T entries), so every triangle a list names
/// has all three corners in range and the functions reading the table never index past the
/// vertex arrays, whatever the index list holds.
/// Thread safety: runs on the calling thread; reads `mesh`, writes only `result`.
/// Diagnostics: "MeshAdjTris: %d vertices %d triangles %f" (V, T, seconds).
/// Cost: O(V + T) time, two passes over the triangles (counting sort into one flat array);
/// memory V + 1 + 3T ints.
void meshAdjTris(const CompactMesh& mesh, MeshAdjTris& result);

/// Orders the triangles around one vertex into a fan.
///
/// Inputs: `vertex`; `count` triangle indices at `tris` (each naming a triangle of `triangles`
/// that has a corner at `vertex`, as in a meshAdjTris list).
/// Output: `sorted` is replaced by the same `count` indices, reordered: the first stays first,
/// and each next one is the first later triangle that holds the directed edge
/// (vertex -> p), p being the corner before `vertex` in the current triangle. For triangles
/// wound counter-clockwise the fan so turns counter-clockwise about the vertex.
/// Empty or degenerate input: count <= 0 or a null `tris` gives an empty `sorted`. Where no
/// triangle continues the fan (a boundary, a flipped neighbour) the next triangle is taken as
/// it stands and a new run starts with it, so runs keep their input order; no search is made
/// for a boundary triangle to start from. A triangle without a corner at `vertex` continues
/// nothing.
/// Thread safety: reentrant; writes only `sorted`.
/// Cost: O(count^2), count being a vertex's valence.
void sortAdjTris(int vertex, int count, const int* tris, const MeshTriangle* triangles,
                 ox::vector<int>& sorted);

/// Finds a triangle across edge `edge` of triangle `tri`.
///
/// Inputs: `tri`; `edge` in 0..2, the edge from corner `edge` to corner (edge + 1) mod 3;
/// `triangles`, the mesh's triangle array; `adj`, its meshAdjTris table.
/// Outputs: on success `otherTri` is the first triangle other than `tri`, in the adjacency order
/// of the edge's first vertex, that also has a corner at the edge's second vertex, and
/// `otherCorner` is its first corner holding that second vertex. Returns true then.
/// Otherwise returns false, sets `otherCorner` to -1 and leaves `otherTri` unchanged.
/// The neighbour may run the edge either way (orientation is not checked); on an edge shared
/// by more than two triangles the lowest-index other triangle wins.
/// Preconditions: `tri` indexes `triangles`, and `adj` was built from the same mesh.
/// Empty or degenerate input: a negative `tri` or an `edge` outside 0..2 returns false.
/// Thread safety: reentrant; reads only. Cost: O(valence of the edge's first vertex).
bool getSharedEdgeAdjacentTriangle(const int& tri, int edge, const MeshTriangle* triangles,
                                   const MeshAdjTris& adj, int& otherTri, int& otherCorner);

/// Builds the vertex -> neighbour-vertex table of `mesh`.
///
/// Inputs: `mesh` (V vertices, T triangles) and `adj`, its meshAdjTris table.
/// Output: `result` is replaced by V lists; list v holds each vertex sharing a triangle with v
/// once, v itself never, in first-occurrence order: v's triangles in adjacency order, and
/// within each its corners 0, 1, 2. (For a single triangle (0 1 2), vertex 1 lists 0 then 2.)
/// Storage, as MeshAdjVertices documents: per vertex a count word and the neighbours, starts
/// pointing at each count word, maxValence the largest count.
/// Preconditions: `adj` was built by meshAdjTris from `mesh`. Table entries naming no
/// triangle of `mesh`, and corners outside [0, V), are skipped, so a stale table gives wrong
/// lists but never a read out of bounds.
/// Empty or degenerate input: vertices on no triangle have an empty record; a mesh without
/// vertices gives the empty table.
/// Thread safety: runs on the calling thread; reads `mesh` and `adj`, writes only `result`.
/// Diagnostics: "MeshAdjVertices: %d vertices, %d triangles: %f s" (V, T, seconds).
/// Cost: O(sum of valences) time, one pass over the adjacency lists; V ints of stamps while
/// building. The records' allocation may exceed their size by up to an eighth (spare room
/// left from building, like a vector's capacity; getDataSize() is the records' size).
void meshAdjVertices(const CompactMesh& mesh, const MeshAdjTris& adj, MeshAdjVertices& result);
}  // namespace oxGeom
