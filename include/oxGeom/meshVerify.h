#pragma once
// Mesh verification: one read-only pass that says whether a mesh is safe to hand to the rest of
// the library. Most algorithms trust their input for speed (they index vertex arrays with the
// stored indices without checking); a host that reads meshes from outside runs this first.

#include <oxGeom/CompactMesh.h>

#include <cstdint>
#include <string>

namespace oxGeom
{
/// What meshVerify found. Counts are of faulty items; `first...` give the index of the first
/// faulty item of a kind, or -1 when there is none.
struct MeshVerifyReport
{
    /// Triangles with a corner index outside [0, V).
    std::int64_t badTriangles = 0;
    int firstBadTriangle = -1;
    /// Vertices with a NaN or infinite coordinate.
    std::int64_t nonFiniteVertices = 0;
    int firstNonFiniteVertex = -1;
    /// Strip or fan points outside [0, V), and lines with an end outside [0, V).
    std::int64_t badStripPoints = 0;
    std::int64_t badFanPoints = 0;
    std::int64_t badLines = 0;
    std::int64_t badLineStripPoints = 0;
    /// A strip, fan or line-strip table whose lengths are negative or do not add up to the
    /// number of points stored.
    bool stripLengthsDisagree = false;
    bool fanLengthsDisagree = false;
    bool lineStripLengthsDisagree = false;
    /// A selection whose bit count differs from the vertex or triangle count.
    bool vertexSelectionSizeDisagrees = false;
    bool triangleSelectionSizeDisagrees = false;
    /// Vertex channels whose element count differs from the vertex count.
    int badAttributeChannels = 0;

    /// True when nothing above was found.
    bool ok() const;
    /// One line naming the first kind of fault found, for example "triangle 12 has a corner index
    /// outside the vertex array (3 triangles in all)"; "mesh is valid" when ok().
    std::string describe() const;
};

/// Checks every index and coordinate of `mesh` without changing it.
///
/// Inputs: `mesh` (V vertices, T triangles, strips, fans, lines, line strips, selections and
/// vertex channels).
/// Output: the report. A mesh passes (report.ok()) when every primitive index lies in [0, V),
/// every position is finite, each strip, fan and line-strip table's lengths are non-negative and
/// add up to its point count, both selections have V and T bits, and every vertex channel has V
/// elements. Normals and UVs may hold any values (a NaN normal is data, not a broken mesh).
/// Which functions assume a verified mesh: everything that reads corner indices without its own
/// check (meshArea, meshComputeNormals, meshCurvature, meshAdjTris and the adjacency family,
/// computeOctreeTris, the closest-point and ray queries, meshCompact, the editing family and
/// reparameterizeMesh). meshLongestEdge (which skips bad triangles), meshBoundingBox (which
/// reads positions only) and meshRead (which validates as it reads) do not need it.
/// Empty input: an empty mesh is valid.
/// Thread safety: reads only; any number of threads may call it at once.
/// Cost: O(V + T + strip, fan and line points), one pass on the calling thread; no allocation.
/// Not cancellable and silent: it is a fraction of the cost of reading the mesh.
MeshVerifyReport meshVerify(const CompactMesh& mesh);
}  // namespace oxGeom
