#pragma once
// Boundary loops of an indexed triangle mesh, found by walking boundary edges from vertex to
// vertex over the adjacency tables, and the edge tests the walk is made of.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshBoundaries.h>

namespace oxGeom
{
/// Directed-edge tests on a triangle mesh, the steps of the boundary walk. A triangle holds
/// the directed edges corner 0 -> 1, 1 -> 2 and 2 -> 0. No state; every member is static,
/// reentrant and reads only its arguments.
class Boundary
{
public:
    /// The corner that follows `vertex` in `triangle` (3 ints), i.e. the end of the triangle's
    /// directed edge leaving `vertex`; with `vertex` at several corners, the first such corner
    /// counts. Returns -1 when the triangle has no corner at `vertex`. O(1).
    static int findEdge(int vertex, const int* triangle);

    /// True when some triangle around `b` (in `adj`) holds the directed edge b -> a, i.e.
    /// findEdge(b, t) == a. So hasEdge(mesh, adj, a, b) tells whether the edge a -> b has an
    /// oppositely wound partner.
    /// Preconditions: `adj` was built by meshAdjTris from `mesh`; entries naming no triangle of
    /// `mesh` are skipped. A `b` outside the table gives false. O(valence of b).
    static bool hasEdge(const CompactMesh& mesh, const MeshAdjTris& adj, int a, int b);

    /// Looks for a boundary edge leaving `vertex`: for each triangle around `vertex`, in
    /// adjacency order, takes n = findEdge(vertex, t) and stores it in `next`; returns true at
    /// the first n that is a boundary candidate (its neighbour count in `adjVertices` differs
    /// from its triangle count in `adj`) and has no reverse edge n -> vertex. Returns false
    /// when no triangle yields one; `next` then holds the last candidate tried, or is
    /// unchanged when `vertex` lies on no triangle (or outside the tables).
    /// Preconditions: both tables were built from `mesh`; entries naming no triangle of `mesh`
    /// are skipped. O(valence^2).
    static bool walkBoundary(int vertex, int& next, const CompactMesh& mesh, const MeshAdjTris& adj,
                             const MeshAdjVertices& adjVertices);
};

/// Boundary loops of `mesh`.
///
/// Inputs: `mesh` (V vertices) with its meshAdjTris table `adj` and meshAdjVertices table
/// `adjVertices`.
/// Output: `result` is replaced by the loops, in the order of the lowest vertex from which a
/// walk started. A walk from v appends each next boundary vertex and stops after appending
/// one already visited, so a closed loop starting at v lists the vertices after v along the
/// boundary and ends with v itself, each boundary edge once. Where two boundaries touch at a
/// vertex, the later walk appends that vertex and stops: its loop is left open there.
/// Preconditions: both tables were built from `mesh`. (A stale table gives wrong loops, but the
/// walk still reads only inside the arrays and ends after at most V steps.)
/// Empty or degenerate input: a closed mesh, a mesh without triangles and an empty mesh give
/// no loops; interior and unused vertices start no loop.
/// Thread safety: runs on the calling thread; reads its inputs, writes only `result`.
/// Diagnostics: none, so that the callers that build boundaries as one step of a larger
/// operation keep their own lines.
/// Cost: O(sum over boundary vertices of valence^2) plus O(V); a bit vector of V bits.
void meshComputeBoundary(const CompactMesh& mesh, const MeshAdjTris& adj,
                         const MeshAdjVertices& adjVertices, MeshBoundaries& result);
}  // namespace oxGeom
