#pragma once
// Vertex and triangle normals of an indexed mesh: the unit normal of one triangle, the
// per-vertex and per-triangle normal channels of a CompactMesh, and the normalisation of a
// packed array of vectors.

#include <oxGeom/CompactMesh.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// Unit normal of the triangle p0 p1 p2, following its winding by the right-hand rule.
///
/// Inputs: the three corners in winding order.
/// Output: (p2 - p1) x (p0 - p1) (equal to (p1 - p0) x (p2 - p0)) scaled to unit length.
/// Empty or degenerate input: when that cross product has no direction (zero length: collinear
/// or repeated corners; or a non-finite length from infinite or NaN coordinates) the result is
/// (0, 0, 1).
/// Thread safety: reentrant. Cost: O(1).
oxLinear::Normal triNormal(const oxLinear::Point& p0, const oxLinear::Point& p1,
                           const oxLinear::Point& p2);

/// triNormal of one triangle of a mesh, its corners widened from float to double.
///
/// Inputs: `vertices`, packed x, y, z floats; `triangle`, three vertex indices into it.
/// Output: the triangle's unit normal, bit for bit the triNormal of the widened corners.
/// Preconditions: the three indices address vertices of `vertices`.
/// Empty or degenerate input: as triNormal, (0, 0, 1) for a triangle without a direction.
/// Thread safety: reentrant. Cost: O(1).
oxLinear::Normal meshTriNormal(const float* vertices, const int* triangle);

/// Computes the vertex normals of `mesh`: each vertex gets the normalised, unweighted sum of
/// the unit normals (meshTriNormal, rounded to float) of the triangles using it.
///
/// Inputs: `mesh` (V vertices, T triangles).
/// Outputs: the mesh's normal channel (made present if absent) holds V unit normals; the
/// normals-computed flag is set; the mesh is sent a MeshModification of type
/// MeshModification::Normals without remap, flagged normalsModified().
/// The sum is unweighted: every triangle adds its unit normal whatever its area or angle, a
/// degenerate triangle adds (0, 0, 1), and a triangle naming a vertex at two corners adds to it
/// twice. Sums are accumulated in float in ascending triangle order, then normalised as by
/// meshNormalize, so the result is bit for bit that of the plain serial loop.
/// Preconditions: none on the indices.
/// Empty or degenerate input: a mesh without vertices is left untouched (no line printed, no
/// notice sent). A vertex on no triangle, or whose normals cancel out, gets (0, 0, 0). A
/// triangle with a corner index outside [0, V) is skipped.
/// Thread safety: runs on oxUtil::ThreadPool::get() and gives the same bits for every thread
/// count; the caller needs exclusive access to `mesh`.
/// Diagnostics: "meshComputeNormals:  vertices %d  triangles %d" before the work.
/// Cost: O(V + T) time. Each pool thread owns a contiguous range of vertices and adds the
/// normals of the triangles touching it, skipping blocks of 256 triangles whose corners all lie
/// outside it; with more than one thread a table of the blocks' vertex spans is built first
/// (2 ints per block). When the ranges would share most blocks (a mesh numbered at random),
/// every thread would read every triangle, which costs more memory traffic than it saves: the
/// calling thread then does the work alone. About the serial loop's time on one thread, less
/// on two for a mesh numbered along its surface.
void meshComputeNormals(CompactMesh& mesh);

/// Computes the triangle normals of `mesh`: triangle i gets meshTriNormal of its corners,
/// rounded to float.
///
/// Inputs: `mesh` (V vertices, T triangles).
/// Outputs: the mesh's triangle-normal array (made present if absent) holds T unit normals;
/// the mesh is sent a MeshModification of type MeshModification::Normals without remap,
/// flagged triangleNormalsModified().
/// Preconditions: none on the indices.
/// Empty or degenerate input: a mesh without triangles is left untouched (no line printed, no
/// notice sent). A degenerate triangle, or one with a corner index outside [0, V), gets
/// (0, 0, 1).
/// Thread safety: runs on oxUtil::ThreadPool::get(), each thread writing its own slice of
/// triangles; the result does not depend on the thread count. The caller needs exclusive
/// access to `mesh`.
/// Diagnostics: "meshComputeTriangleNormals:  vertices %d  triangles %d", then
/// "  normalized: %f s" with the seconds taken.
/// Cost: O(T).
void meshComputeTriangleNormals(CompactMesh& mesh);

/// Scales each of `count` packed 3-float vectors to unit length, in place.
///
/// Inputs: `vectors`, 3 * count floats.
/// Output: each vector divided by its length; the length is taken and the division done in
/// double, then each component rounded to float once.
/// Empty or degenerate input: a null array or a count of 0 or less does nothing. A zero vector
/// stays (0, 0, 0), and a vector with an infinite or NaN component becomes (0, 0, 0): there is
/// no direction to give it, and a caller can tell "no normal" (length 0) from a real one,
/// which an invented axis would hide.
/// Thread safety: runs on oxUtil::ThreadPool::get(), each thread on its own slice; the result
/// does not depend on the thread count. Nobody else may touch `vectors` meanwhile.
/// Cost: O(count).
void meshNormalize(float* vectors, int count);
}  // namespace oxGeom
