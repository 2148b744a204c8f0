#pragma once
// Disk parameterization: fresh UV coordinates for a mesh that is topologically a disk (or can
// be cut into one), from a conformal flattening with two pinned boundary vertices.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshCache.h>
#include <oxGeom/Remap.h>
#include <oxGeom/SparseMatrix.h>
#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Point.h>
#include <oxLinear/Point2.h>
#include <oxUtil/Progress.h>

#include <ox/containers.h>

namespace oxOS
{
class AppOutput;
}

namespace oxGeom
{
class ConjugateGradient;

/// Flattens a mesh onto the plane and writes the result as its UV channel.
///
/// The job runs on a private working copy: UVs and normals are dropped, coincident vertices
/// welded (meshCompact), the boundary loops and the genus counted; a mesh that is not a disk
/// is cut into one (cutSurface::makeDisk) when cutting is enabled. Two vertices of the outer
/// loop (the loop of largest extent along an axis) are pinned at their positions in a plane
/// chosen from that loop; inner loops are closed for the solve by triangulating them; every
/// other vertex's (u, v) comes from one sparse symmetric system with cotangent weights and
/// rotation coupling terms (the least-squares conformal energy), solved by conjugate gradients
/// from the projected positions. The result is scaled uniformly so that its longer side spans
/// [0, 1] and written into the caller's mesh through the weld's vertex map.
///
/// Usage: construct on a mesh, optionally change the two flags, call flatten once.
///
/// Messages: user-facing notices go to oxOS::AppOutput (info, and error for the reasons a mesh
/// is refused, each ending in "mesh not changed" or "No changes made"); progress captions
/// "Copying Mesh", "Finding Mesh Boundaries", "Getting Extreme Vertices", "Creating Plane",
/// "Filling Mesh Holes", "Solving", "Applying to Mesh" go to the caller's progress.
/// Thread safety: one object is used by one thread; objects on distinct meshes are
/// independent. The target mesh must not change while the object lives.
/// Based on: Lévy, Petitjean, Ray and Maillot 2002 (least squares conformal maps); Pinkall and
/// Polthier 1993 (cotangent weights).
class reparameterizeMesh
{
public:
    /// One directed boundary edge of the working copy, in loop order.
    struct boundaryEdge
    {
        int first = -1;
        int second = -1;
    };
    /// One triangle used only by the solve (hole filling): working-copy vertices, then their
    /// free-variable indices (-1 for a pinned vertex).
    struct triIndices
    {
        int vertices[3] = {-1, -1, -1};
        int free[3] = {-1, -1, -1};
    };
    /// A boundary edge found by the triangle walk of findBoundaryEdges, with its triangle.
    struct unsortedEdge
    {
        int first = -1;
        int second = -1;
        int triangle = -1;
    };
    using BoundaryLoop = ox::vector<boundaryEdge>;
    using BoundaryLoops = ox::vector<BoundaryLoop>;
    /// Vertex index -> free index: -1 for the two pinned vertices, 0, 1, 2 ... for the others in
    /// increasing vertex order.
    using FreeIndexMap = ox::map<int, int, ox::less<int>>;

    /// Inputs: `mesh`, the target; it is copied now and written only by a successful flatten.
    /// Both flags start true. Cost: one copy of the mesh.
    explicit reparameterizeMesh(CompactMesh& mesh);
    ~reparameterizeMesh();
    reparameterizeMesh(const reparameterizeMesh&) = delete;
    reparameterizeMesh& operator=(const reparameterizeMesh&) = delete;

    /// Whether welding may change the topology. Welding always runs; with the flag off, a weld
    /// that changes the number of boundary loops is undone (the unwelded copy is flattened).
    void enableMeshCompact(bool enable);
    /// Whether a mesh of higher genus, or without boundary, is cut into a disk; with the flag
    /// off such a mesh is refused.
    void enableMeshCutSurface(bool enable);

    /// Runs the whole job.
    /// Inputs: `progress`, divided into stages of 0.025 (copy and weld), 0.1 (boundaries and
    /// genus), 0.025 each (extreme vertices, plane, free-variable map, hole filling), 0.75
    /// (solve) and 0.025 (writing the UVs); it is polled for cancellation after the first two
    /// stages and throughout the solve.
    /// Output: true when UVs were written: the target gets a UV array (allocated if absent)
    /// with every vertex's (u, v) in the unit square, and one notice through its modified():
    /// type Attributes, flag uvsModified. The layout of the working copy is scaled so that its
    /// longer side spans [0, 1]. The solve stops at a relative residual of
    /// oxLinear::epsilonTol, or earlier when a step's curvature p.Ap falls below epsilonTol
    /// (an absolute bound, so a mesh of larger coordinates is solved more tightly).
    /// Returns false, with the target untouched (every array as it was, no notice), when
    /// cancelled; when a triangle repeats a vertex, a boundary loop is shorter than 3 edges or
    /// the genus count is negative (several pieces, a border that touches itself); when the
    /// mesh is not a disk and cutting is off or does not give one; or when no boundary loop
    /// has any extent.
    /// Preconditions: none; the mesh may have any shape, the refusals above cover the rest.
    /// Degenerate input: a vertex that no triangle with area uses keeps its projected position;
    /// a layout of a single point gets the UV (0, 0) everywhere. Vertices split by a cut get the
    /// UV of one side of the cut in the target (which has one UV per vertex), so its triangles
    /// along the cut stretch across the layout, and the copies alone may reach the layout's
    /// edges.
    /// Diagnostics (application output): the genus count ("getMeshGenus: ..."), "- - -
    /// MeshReparameterize: genus = %d", the plane choice ("Parameterization: calculated
    /// planeNormal is good.  Using orthogonal component." or a fallback), "Parameterization
    /// %5.1f%% complete" twenty times over the solve when it has more than 100 unknowns,
    /// "Parameterization: CG finished, code = %d" with the solver's status, and the refusals as
    /// error lines.
    /// Thread safety: see the class; the weld sorts on the shared thread pool.
    /// Cost: the weld's O(V log V); O(V + T) assembly; the solve, at most 2V - 4 conjugate-
    /// gradient steps of O(V + T) each (on smooth disks 10 to 20 sqrt(V)); memory dominated by the
    /// sparse system, about 15 entries per vertex.
    bool flatten(oxUtil::Progress& progress);
    /// As above with a progress of its own (never cancelled).
    bool flatten();

    // ---- an alternative boundary finder, not used by flatten ----

    /// Walks the working copy's triangles and collects the edges that no other triangle runs
    /// the other way.
    /// Outputs: `edges` replaced by the boundary edges, triangle by triangle (corner 0 -> 1,
    /// 1 -> 2, 2 -> 0), and `numBoundaryEdges` set to their number. Returns true on success.
    /// Returns false, with an error message, on a degenerate triangle ("Found degenerate
    /// triangle %d (%d,%d,%d), mesh not changed. "), on an edge shared by three or more
    /// triangles, or two that run it the same way (see compareTriangles), and when cancelled.
    /// Cost: O(T * valence).
    bool findBoundaryEdges(int& numBoundaryEdges, ox::vector<unsortedEdge>& edges,
                           oxUtil::Progress& progress);

    /// Chains boundary edges into closed loops.
    /// Inputs: `edges` from findBoundaryEdges (any order). Outputs: `loops` gets one loop per
    /// cycle, in the order of each cycle's first edge in `edges`, starting with that edge.
    /// Returns false with an error message when a vertex starts two boundary edges, an edge
    /// starts and ends at one vertex or a cycle has fewer than 3 edges ("A degenerate boundary
    /// found, mesh not changed. "), or when an edge leads nowhere ("Found an un-closed
    /// boundary, mesh not changed. "). Cost: O(E log E) for E edges.
    bool orderBoundaries(ox::vector<unsortedEdge>& edges, BoundaryLoops& loops);

    /// Checks the neighbours across edge `edge` (corner edge -> edge + 1) of `triangle`.
    /// Inputs: `adj`, the working copy's meshAdjTris table. Outputs: `isBoundary` true when no
    /// other triangle has both ends of the edge. Returns true when the edge is a boundary edge
    /// or is shared with exactly one triangle that runs it the other way; false with an error
    /// message for a neighbour running it the same way ("Invalid mesh, reverse wound triangle
    /// %d (%d,%d,%d) ", naming that neighbour) or for more than one neighbour ("Invalid mesh,
    /// non-manifold triangle %d (%d,%d,%d) ", naming `triangle`).
    bool compareTriangles(int triangle, int edge, const MeshAdjTris& adj, bool& isBoundary);

private:
    void prepareMesh(oxUtil::Progress& progress, Remap& remap);
    int getMeshGenus(BoundaryLoops& loops);
    bool testDegenerate(int triangle, const int corners[3]);
    int getExtremeVerts(BoundaryLoops& loops, int extremes[2]);
    oxLinear::AffineMatrix determineRotMatrix(BoundaryLoop& outerLoop, int extremes[2]);
    void rotateAndProject(BoundaryLoop& outerLoop, ox::vector<oxLinear::Point>& points,
                          int extremes[2]);
    void buildFreeToCompleteMapping(FreeIndexMap& map, int extremes[2]);
    void fillHoles(BoundaryLoops& loops, int outer, FreeIndexMap& map,
                   ox::vector<triIndices>& holeTriangles);
    void doCG(ox::vector<oxLinear::Point2>& uvs, const int& pinned0, const int& pinned1,
              ox::vector<oxLinear::Point>& points, FreeIndexMap& map,
              ox::vector<triIndices>& holeTriangles, oxUtil::Progress& progress);
    void setupVertexCG(const MeshAdjTris& adj, ConjugateGradient& cg, NVector& b, int vertex,
                       FreeIndexMap& map, const ox::vector<oxLinear::Point>& points,
                       ox::vector<triIndices>& holeTriangles);
    void setupTriangle(ConjugateGradient& cg, NVector& b, const int& i, const int& j, const int& k,
                       const oxLinear::Point& Pi, const oxLinear::Point& Pj,
                       const oxLinear::Point& Pk);
    void applyUvsToMesh(ox::vector<oxLinear::Point2>& uvs, const Remap& remap);

    int freeIndexOf(int vertex) const;
    void indexHoleTriangles(const ox::vector<triIndices>& holeTriangles);
    static void addToRow(ox::vector<SparseElement>& row, int column, double value);
    static void writeRow(ox::vector<SparseElement>& row, SparseMatrix& matrix, int index);

    CompactMesh& m_target;
    CompactMesh m_copy;
    SimpleMeshCache m_cache;
    oxOS::AppOutput* m_output;
    bool m_compact = true;
    bool m_cutSurface = true;

    // Flat forms of the free-index map and of "hole triangles at a vertex", so that assembly
    // looks each up in O(1).
    ox::vector<int> m_freeIndex;
    ox::vector<int> m_holeStarts;
    ox::vector<int> m_holeTriangles;
    // The u and v rows of the vertex being assembled, entries in the order they were first
    // touched (the order the matrix keeps).
    ox::vector<SparseElement> m_rowU;
    ox::vector<SparseElement> m_rowV;
};
}  // namespace oxGeom
