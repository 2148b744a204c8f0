#pragma once
// Surface area of placed meshes, in 3-D or in a 2-D texture channel.

#include <oxGeom/MeshElements.h>
#include <oxGeom/MeshPlacement.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Area of one placed mesh.
///
/// Inputs: `placement` (its `mesh` may be null); `channel`: VertexChannel measures the 3-D
/// triangles with the placement's linear part applied (translation ignored, so a uniform scale
/// by s multiplies the area by s^2); UVChannel / STChannel measure the triangles in that 2-D
/// array and ignore the matrix.
/// Output: the sum of the triangle areas, accumulated per thread in double and returned as float.
/// Empty or degenerate input: 0 for a null mesh, a channel other than 0, 2 or 3, or a 2-D
/// channel the mesh does not carry; a mesh without triangles gives 0.
/// Precondition: every triangle index is in [0, number of vertices).
/// Threads: runs on oxUtil::ThreadPool::get(); the result does not depend on the thread count
/// beyond floating-point summation order, which is fixed by the slice split. Safe to call from
/// several host threads at once on meshes that nobody modifies meanwhile.
/// Cost: O(triangles), one pass over the triangle and vertex arrays.
float meshArea(const MeshPlacement& placement, MeshChannel channel);

/// Areas of a list of placed meshes.
///
/// Inputs: `placements`, `channel` as above. Output: `areas` gets one entry per placement, in list
/// order (0 for a null mesh or a missing 2-D channel); the return value is their sum, added up
/// in float in list order.
/// Empty or degenerate input: a channel other than 0, 2 or 3 returns 0 and leaves `areas` empty;
/// an empty list returns 0 with `areas` empty.
/// Threads and cost: as the single-placement overload, once per placement.
float meshArea(const ox::list<MeshPlacement>& placements, MeshChannel channel,
               ox::vector<float>& areas);
}  // namespace oxGeom
