#pragma once
// Nearest points of a triangle mesh: a stateful query object over the octree and its per-leaf
// triangle lists for many queries, one-off searches that reach triangles through the vertex
// octree and the vertex -> triangle table, the nearest vertex, the nearest point of one triangle
// and the nearest point to a line's start.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshCoord.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/meshLongestEdge.h>
#include <oxLinear/Line.h>
#include <oxLinear/Point.h>

#include <cstdint>

namespace oxGeom
{
/// Repeated nearest-point queries on one mesh.
///
/// Inputs (constructor): `mesh` (T triangles over V vertices), `octree` built over the mesh's
/// vertices with tiling (so its leaves cover every triangle), and `tris`, the per-leaf triangle
/// lists of that octree (computeOctreeTris). All three are held by reference and must outlive
/// the object and stay unchanged while it is used.
/// The object owns a query context: one visit mark per triangle (32-bit stamps), the current
/// stamp, the walk's stack, one byte per octree node telling whether any triangle is listed
/// below it, and for each leaf, built on its first visit, the box of its triangles and a
/// byte-quantised box per listed triangle. Marks are never cleared between queries: a query
/// marks with the current stamp and then moves the stamp on; only when the stamp would reach
/// 4294967295 are all marks zeroed and the stamp set back to 1 (once every 4294967294 queries).
///
/// Copies share the context: the copy constructor takes the three references and the context
/// of `other` without owning it. A copy must not outlive the object it was copied from, and the
/// two must not be used at the same time. Assignment is not provided.
///
/// Thread safety: one object (with its copies) serves one thread at a time; concurrent callers
/// each construct their own object over the same mesh, octree and lists (they are only read).
/// Cost: construction O(T) (the zeroed marks); the first query adds O(octree nodes) for the
/// node flags. Memory: 4 bytes per triangle, 1 per node, 28 per leaf and 6 per listed triangle
/// (the last two only for leaves visited).
class MeshClosestPoint
{
public:
    /// Builds the context with T zeroed marks and stamp 1.
    MeshClosestPoint(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris);
    /// Shares `other`'s context (see the class notes).
    MeshClosestPoint(const MeshClosestPoint& other);
    MeshClosestPoint& operator=(const MeshClosestPoint&) = delete;
    /// Frees the context when this object owns it.
    ~MeshClosestPoint();

    /// Distance from `p` to the mesh.
    ///
    /// Inputs: the query point `p`; `out`, may be null.
    /// Output: returns the distance (not squared) from `p` to the nearest point of the mesh;
    /// `*out`, when given, receives that point as a triangle and its barycentric weights,
    /// exactly as MeshCoord::project on that triangle gives them.
    /// Walk: octree cells depth first, the nearer child cell first (equal distances in slot
    /// order); cells without listed triangles, and cells no nearer than the best distance found
    /// so far, are not entered. Every leaf nearer than the answer is visited, so the answer is
    /// the nearest point over all triangles. Each triangle is projected at most once per query;
    /// triangles whose box, plane or distance lies beyond the best answer are not projected.
    /// Equally near triangles: the one met first (walk order, then list order within a leaf)
    /// is kept; a later one must be strictly nearer.
    /// Preconditions: as for the constructor; every triangle index that `tris` lists has its
    /// three vertex indices inside the mesh's vertex array (true of lists from computeOctreeTris).
    /// Empty or degenerate input: triangles without area (MeshCoord::project fails) are skipped.
    /// With no triangle found (an empty mesh or octree) the result is the square root of the
    /// largest double, 1.3407807929942596e154, and `*out` is left untouched. Listed indices
    /// outside [0, T) are skipped. If the mesh's triangle count has changed since construction,
    /// the marks are resized (and zeroed) first, and when the octree's nodes or the lists have
    /// been rebuilt the cached flags and boxes are dropped, so a stale object never reads past
    /// its arrays.
    /// Thread safety: uses the shared context (class notes).
    /// Cost: proportional to the leaves visited and the triangles they list, never to T.
    double compute(const oxLinear::Point& p, MeshCoord* out);

protected:
    /// The current stamp of the shared context (1 after construction).
    std::uint32_t stamp() const;
    /// Sets the current stamp of the shared context; marks are left as they are. A value of 0 is
    /// taken as 1 (0 is the unvisited mark). Lets a test bring the stamp close to the wrap.
    void setStamp(std::uint32_t value);

private:
    struct Context;

    const CompactMesh& m_mesh;
    const Octree& m_octree;
    const OctreeTris& m_tris;
    Context* m_context;
    bool m_ownsContext;
    double m_scale;  // largest coordinate magnitude of the octree's box
};

/// Distance from `p` to the nearest point of `mesh` whose squared distance is below `maxDist2`,
/// reaching triangles through the vertex octree and the vertex -> triangle table.
///
/// Inputs: `mesh` (V vertices, T triangles); `octree` over the mesh's vertices (the leaves'
/// point ranges name the vertices); `adj`, the mesh's meshAdjTris table; the point `p`;
/// `searchRadius`, normally the mesh's longest edge (meshLongestEdge); `maxDist2`, the squared
/// distance below which points count; `vertexBoxes`, may be null, else V boxes, box v enclosing
/// every triangle adjacent to v (without it the box is built from the adjacent triangles'
/// corners on the fly).
/// Output: returns the distance (not squared); `*out`, when given, receives the coordinate of
/// each better candidate as it is found, so it ends on the nearest one.
/// Search: leaves are taken nearest first; those nearer than searchRadius / sqrt(2) are always
/// visited, later ones only while nearer than the best distance found. A vertex's triangles are
/// projected only when the box round them is nearer than the best so far; a candidate replaces
/// the best only when strictly nearer.
/// Exactness: the answer is the nearest point whenever a corner of the nearest triangle lies in
/// a visited leaf. Every point of a triangle lies within searchRadius / sqrt(3) of one of its
/// corners, so this always holds for queries within 0.12 searchRadius of the surface; a query
/// farther out can, in rare layouts (a large triangle whose corners are all farther than a
/// nearby small one), get the small triangle's point. Use MeshClosestPoint where exactness
/// matters for every query.
/// Preconditions: `adj` and `octree` were built from `mesh`.
/// Empty or degenerate input: nothing found (an empty mesh, or `maxDist2` at or below every
/// candidate, e.g. 0) returns sqrt(maxDist2) and leaves `*out` untouched; a negative or NaN
/// `maxDist2` is taken as 0. Triangles without area are skipped; octree points and table
/// entries outside the mesh are skipped.
/// Thread safety: all state is local (visit marks for V vertices and T triangles, allocated per
/// call); any number of threads may call it on the same mesh, octree and table.
/// Cost: O((V + T) / 32) to clear the marks, plus the leaves visited and the adjacent triangles
/// of their vertices. For many queries use MeshClosestPoint.
double meshClosestPoint(const CompactMesh& mesh, const Octree& octree, const MeshAdjTris& adj,
                        const oxLinear::Point& p, double searchRadius, double maxDist2,
                        const BoundingBox* vertexBoxes, MeshCoord* out);

/// meshClosestPoint with searchRadius = meshLongestEdge(mesh), maxDist2 = the largest double
/// (1.7976931348623157e308) and no vertex boxes. With no triangle found it returns
/// 1.3407807929942596e154 and leaves `*out` untouched.
/// Cost: as above plus O(T) for the longest edge.
double meshClosestPoint(const CompactMesh& mesh, const Octree& octree, const MeshAdjTris& adj,
                        const oxLinear::Point& p, MeshCoord* out);

/// Squared distance from `p` to the nearest vertex of `mesh`.
///
/// Inputs: `mesh` (V vertices); `octree` over its vertices; the point `p`.
/// Output: the squared distance, in double, to the nearest vertex listed in the octree.
/// Vertices need not be used by any triangle.
/// Empty or degenerate input: no vertex gives the largest double, 1.7976931348623157e308.
/// Octree points outside [0, V) are skipped.
/// Thread safety: all state is local; any number of threads may call it at once.
/// Diagnostics: "   meshClosestVertex: %f s\n" (three leading blanks) with the seconds spent.
/// Cost: O(V / 32) for the visited bits plus the leaves nearer than the answer.
double meshClosestVertex2(const CompactMesh& mesh, const Octree& octree, const oxLinear::Point& p);

/// The point of one triangle nearest to `p`.
///
/// Inputs: `vertices` (packed x, y, z floats), `triangles` (packed index triples), the index
/// `triangle`, the point `p`.
/// Output: a MeshCoord on `triangle` with the barycentric weights of its nearest point.
/// Preconditions: `triangle` and its corner indices address the arrays.
/// Empty or degenerate input: a triangle without area, a negative index or a null array give
/// the invalid coordinate (triangle -1, weights 0).
/// Thread safety: pure function. Cost O(1).
MeshCoord meshTriClosestPt(const float* vertices, const int* triangles, int triangle,
                           const oxLinear::Point& p);

/// The mesh point nearest to a start point taken on `line`.
///
/// Inputs: `mesh`, `searchRadius`, `octree`, `adj` as for meshClosestPoint; `line`; `p`.
/// The start point is the point that oxLinear::intersect (tolerance
/// oxLinear::perpendicular2Tol) gives for `line` and the line through `p` with `line`'s
/// direction. Those two lines are parallel, for which intersect returns `line`'s origin: the
/// query therefore runs from `line.origin()`, and `p` only fixes the second line.
/// Output: the MeshCoord of meshClosestPoint(mesh, octree, adj, start, searchRadius,
/// largest double, no vertex boxes).
/// Empty or degenerate input: nothing found gives the invalid coordinate (triangle -1).
/// Thread safety: as meshClosestPoint. Cost: as meshClosestPoint.
MeshCoord meshRayClosestPt(const CompactMesh& mesh, double searchRadius, const Octree& octree,
                           const MeshAdjTris& adj, const oxLinear::Line& line,
                           const oxLinear::Point& p);
}  // namespace oxGeom
