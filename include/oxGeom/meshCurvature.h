#pragma once
// Discrete per-vertex curvature of a triangle mesh: mean, Gaussian and the two principal
// curvatures from cotangent weights, angle deficits and mixed Voronoi areas, with boundary
// vertices filled in from their neighbours.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxLinear/AffineMatrix.h>

namespace oxGeom
{
/// The curvature meshCurvature computes at each vertex.
enum MeshCurvature : int
{
    MeanCurvature = 0,      ///< signed mean curvature H (positive on a sphere, normals outward)
    GaussianCurvature = 1,  ///< Gaussian curvature K
    MinCurvature = 2,       ///< the principal curvature of smaller magnitude
    MaxCurvature = 3        ///< the principal curvature of larger magnitude
};

/// Per-vertex curvature of `mesh` as placed by `placement`.
///
/// Inputs: `mesh` (V vertices, T triangles), with vertex normals (they give the mean curvature
/// its sign); `adjTris` and `adjVertices`, its meshAdjTris and meshAdjVertices tables;
/// `placement`, the mesh's placement (row-vector convention); `kind`.
/// Output: `curvature`, V floats, one per vertex, measured in the placed space (a uniform scale
/// by s divides H by s and K by s^2).
///
/// Interior vertices, those with more than one neighbour and as many neighbours as triangles
/// (a closed fan), get, with M the sum over their edges (v, u) of
/// (cot a + cot b) (v - u), a and b the angles opposite the edge, Theta their angle sum and A
/// their mixed Voronoi area:
/// - H = |M| / (4A), negative when M points away from the vertex normal (|M| >= epsilonTol);
/// - K = (2 pi - Theta) / A;
/// - principal curvatures H +- sqrt(|H^2 - K|): MinCurvature the one of smaller magnitude,
///   MaxCurvature the other (on equal magnitudes MinCurvature is H - sqrt(|H^2 - K|)).
/// Every other vertex is filled from its neighbours, in two passes: first each vertex whose
/// neighbour count is not 2 gets the mean of its interior neighbours; then each vertex with 2
/// or fewer neighbours gets the mean over its neighbours that have more than 2 (values from
/// the first pass included). A vertex with no qualifying neighbour gets 0. Means are summed in
/// double in the order of `adjVertices`.
///
/// Placement: a matrix equal to the identity within epsilonTolFlt reads the mesh's own arrays;
/// any other is applied to scratch copies of the positions (meshTransform) and the normals
/// (meshTransformNormals), which print their own lines.
/// Preconditions: `adjTris` and `adjVertices` were built from `mesh`; `curvature` has room for
/// V floats.
/// Empty or degenerate input: a null `curvature` does nothing and prints nothing; a `kind`
/// outside 0..3 sets all V values to 0 and prints nothing. A mesh without vertex normals gives
/// an unsigned H (the magnitude). A vertex whose mixed area is 0 (all its triangles
/// degenerate) gets a non-finite value; no guard is applied, as a host asking for the
/// curvature of such a mesh is better told by the value than by a made-up 0. Stale tables or
/// out-of-range indices never cause a read out of bounds: triangles and neighbours outside the
/// mesh are skipped, and vertices the tables do not cover get 0.
/// Thread safety: three phases on oxUtil::ThreadPool::get() (cotangents per triangle, interior
/// vertices, then the two boundary passes as two separate runs so that each pass reads only
/// values already final); the result is the same bits for every thread count. The mesh must
/// not change meanwhile.
/// Diagnostics: "meshCurvature:  vertices %d  triangles %d", " cotangents computed in: %f s",
/// "  interior curvature computed: %f s", "  boundary curvature computed: %f s".
/// Cost: O(V + T) time; 3T doubles of cotangents, plus 3V floats each for the placed positions
/// and normals when the placement is not the identity.
void meshCurvature(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                   const MeshAdjVertices& adjVertices, const oxLinear::AffineMatrixFlt& placement,
                   MeshCurvature kind, float* curvature);
}  // namespace oxGeom
