#pragma once
// A mesh placed in a scene: the mesh and the single-precision affine matrix
// that carries its coordinates into the scene's space. Arrangement functions
// (area, boxes, concatenation, merging) take lists of these.

#include <oxLinear/AffineMatrix.h>

namespace oxGeom
{
class CompactMesh;

/// A plain value: `matrix` places `mesh` (row-vector convention, p' = p * M,
/// translation in row 3). The mesh is not owned and must outlive every use
/// of the placement; a null mesh is allowed where a function says so (the
/// area functions give 0 for it).
struct MeshPlacement
{
    /// The identity unless set.
    oxLinear::AffineMatrixFlt matrix{1.0f};
    /// Null unless set.
    const CompactMesh* mesh = nullptr;
};
}  // namespace oxGeom
