#pragma once
// In-place transformation of packed coordinate and normal arrays by an affine
// matrix (row-vector convention: p' = p * M).

#include <oxLinear/AffineMatrix.h>

namespace oxGeom
{
/// Transforms `count` points stored as packed x, y, z floats in `coordinates` by `matrix`
/// (linear part and translation), in place, computing in double.
///
/// Empty input: a null array or a count of 0 or less does nothing (and prints nothing).
/// Threads: arrays of fewer than 10000 points run on the calling thread (the pool hand-off
/// would cost more than the work); larger ones on oxUtil::ThreadPool::get().
/// Diagnostics: "meshTransform: %d points, %f s".
/// Cost: O(count).
void meshTransform(const oxLinear::AffineMatrix& matrix, float* coordinates, int count);

/// Transforms `count` normals stored as packed x, y, z floats in `normals`, in place, so that
/// they stay perpendicular to surfaces transformed by `matrix` with meshTransform, and scales
/// each back to unit length. The normals are multiplied by the inverse transpose of the
/// matrix's linear part; a mirroring matrix therefore keeps each normal on the same side of its
/// surface. For a singular matrix (a projection onto a plane or a line) there is no inverse,
/// and the cofactor matrix (the inverse transpose times the determinant, defined for every
/// matrix) is used instead; a normal it sends to zero stays (0, 0, 0).
///
/// Empty input, threads and cost: as meshTransform.
/// Diagnostics: "meshTransformNormals: %d normals, %f s".
void meshTransformNormals(const oxLinear::AffineMatrix& matrix, float* normals, int count);
}  // namespace oxGeom
