#pragma once
// Where a circle in space meets the surface of a mesh.

#include <ox/containers.h>
#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeIterators.h>
#include <oxGeom/OctreeTris.h>
#include <oxLinear/Plane.h>
#include <oxLinear/Point.h>

#include <cstdint>
#include <vector>

namespace oxGeom
{
/// Repeated circle-mesh intersection queries on one mesh.
///
/// Inputs (constructor): `mesh` (T triangles), `octree` over its vertices with
/// tiling and `tris`, its per-leaf triangle lists (computeOctreeTris), held by
/// reference (they must outlive the object and stay unchanged while it is
/// used); `tolerance` >= 0, a distance: corners within it of the circle's
/// plane count as on the plane, crossings within it of the circle count, and
/// output points closer than it are merged.
/// The object keeps one visit mark per triangle and a stamp, so a query visits
/// each triangle once however many leaves list it, without clearing marks.
///
/// Not copyable. Thread safety: one thread at a time per object; objects may
/// share a mesh, octree and list. Cost: construction O(T).
class MeshCircleIntersect
{
public:
    MeshCircleIntersect(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris,
                        double tolerance);
    MeshCircleIntersect(const MeshCircleIntersect&) = delete;
    MeshCircleIntersect& operator=(const MeshCircleIntersect&) = delete;

    /// Appends the points where the circle meets the mesh to `points`.
    ///
    /// Inputs: `plane`, whose point is the circle's centre and whose normal is
    /// the circle's axis; `radius`.
    /// Rule: each triangle is cut by the plane into a segment (two crossings of
    /// its edges or corners on the plane), a single point (a corner touching
    /// the plane) or, for a triangle lying in the plane, its three edges. A
    /// segment meets the circle where its distance from the centre equals the
    /// radius: two points where it crosses, one where it is tangent within the
    /// tolerance, each kept when it lies on the segment (parameter slack of
    /// the tolerance, clamped onto the segment). A single point is kept when
    /// its distance from the centre is within the tolerance of the radius.
    /// A triangle in the plane thus contributes where the circle crosses its
    /// boundary, not the arc inside it.
    /// Output order: the new points are sorted by their angle about the axis,
    /// counter-clockwise from Vector::orthogonalVector() of the normal, in
    /// [0, 2 pi), ties by coordinates; points within the tolerance of the
    /// previous kept one (and the last of the first, round the circle) are
    /// dropped, so a crossing at a vertex or edge shared by several triangles
    /// appears once. The order therefore does not depend on the octree. Points
    /// already in `points` are left as they are.
    /// Empty or degenerate input: a negative or non-finite radius, a plane
    /// without a normal or an empty mesh add nothing; radius 0 finds the
    /// centre when the surface passes through it (within the tolerance).
    /// Triangles with an out-of-range corner are skipped.
    /// Cost: the leaves meeting the circle's bounding cube and their
    /// triangles, then O(k log k) for the k crossings.
    void operator()(const oxLinear::Plane& plane, double radius,
                    ox::vector<oxLinear::Point>& points);

private:
    bool markVisited(int triangle);
    void advanceStamp();

    const CompactMesh& m_mesh;
    const OctreeTris& m_tris;
    double m_tolerance;
    std::vector<std::uint32_t> m_marks;
    std::uint32_t m_stamp = 1;
    BoundingBox m_cube;
    OctreeBBoxIntersectIt m_leaves;
};
}  // namespace oxGeom
