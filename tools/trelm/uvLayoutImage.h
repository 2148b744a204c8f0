#pragma once
// A picture of a mesh's UV layout, for checking a flattening or a packing by eye: the unit
// square on white, every chart filled with its own pale tint, triangle edges drawn dark.

#include "pngWrite.h"

#include <oxGeom/CompactMesh.h>

#include <vector>

namespace trelm::cli
{
/// Draws the UV triangles of `mesh` into a `size` x `size` picture of the unit square (u to the
/// right, v up). `chartOfTriangle` (one entry per triangle, may be empty) picks each triangle's
/// tint; triangles outside the square are clipped.
/// Empty or degenerate input: a mesh without UVs or triangles gives the empty square.
/// Precondition: size >= 1; triangle indices address the UVs (others are skipped).
/// Cost: O(size^2 + covered pixels + edge pixels).
Image drawUvLayout(const oxGeom::CompactMesh& mesh, int size,
                   const std::vector<int>& chartOfTriangle);
}  // namespace trelm::cli
