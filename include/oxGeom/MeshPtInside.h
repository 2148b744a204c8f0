#pragma once
// Inside, outside or on the surface: classifying points against a closed mesh
// by the side of the nearest surface point's interpolated normal.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/meshClosestPoint.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// Point-in-mesh classification for many query points.
///
/// Inputs (constructor): `mesh` (a closed mesh with outward winding and vertex
/// normals pointing out, e.g. from meshComputeNormals), `octree` over its
/// vertices with tiling and `tris`, its per-leaf triangle lists
/// (computeOctreeTris), all held by reference; `tolerance`, the distance
/// below which a point counts as on the surface.
/// The object holds a MeshClosestPoint over the three and the mesh's bounding
/// box, computed once here.
///
/// Copying: a copy shares the closest-point context of the original (see
/// MeshClosestPoint) without owning it: it must not outlive the original, and
/// the two must not be used at the same time. For another thread, construct a
/// new object instead.
/// Thread safety: one thread at a time per object (and its copies); any number
/// of objects may share one mesh, octree and list.
/// Cost: construction O(V + T) (the box, the closest-point marks).
class MeshPtInside
{
public:
    enum Result
    {
        Inside = 0,
        Outside = 1,
        OnSurface = 2
    };

    MeshPtInside(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris,
                 double tolerance);
    MeshPtInside(const MeshPtInside& other) = default;
    MeshPtInside& operator=(const MeshPtInside&) = delete;

    /// Classifies `p`.
    ///
    /// Output: Outside when `p`, rounded to floats, is not in the mesh's
    /// bounding box (closed test; no distance query is made). Otherwise, with
    /// d the distance to the mesh (MeshClosestPoint::compute): OnSurface when
    /// tolerance > d; else, with q the nearest surface point and n the vertex
    /// normals of its triangle interpolated with its barycentric weights,
    /// Inside when (q - p) . n >= 0 and Outside when it is negative.
    /// Preconditions: the mesh is closed and consistently wound, so the nearest
    /// point's normal tells the side; the octree and lists match the mesh.
    /// Empty or degenerate input: an empty mesh gives Outside. A mesh without
    /// vertex normals is classified with the nearest triangle's own normal
    /// (its winding), which is right away from edges but can be wrong for
    /// points whose nearest point lies on a sharp edge; a nearest triangle with
    /// an out-of-range corner, or no triangle found, gives Outside.
    /// Thread safety: uses the shared closest-point context (class notes).
    /// Cost: one closest-point query (the leaves nearer than the surface).
    Result evaluate(const oxLinear::Point& p);

    double getTolerance() const { return m_tolerance; }

private:
    const CompactMesh& m_mesh;
    MeshClosestPoint m_closest;
    BoundingBox m_box;
    double m_tolerance;
};
}  // namespace oxGeom
