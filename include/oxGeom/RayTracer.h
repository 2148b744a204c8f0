#pragma once
// Casting single rays into a triangle mesh through its octree and per-leaf triangle lists:
// whether a ray hits the mesh at all (first-hit mode, for shadow and occlusion rays) or where
// it hits it first (nearest mode).

#include <oxGeom/CompactMesh.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeIterators.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/Ray.h>
#include <oxLinear/Point.h>

#include <cstdint>
#include <memory>

namespace oxGeom
{
/// Repeated ray casts into one mesh. The tracer is the ray's octree walk (it derives from
/// OctreeRayIntersectIt and walks itself, leaves front to back along the ray) plus one visit
/// mark per triangle, so a triangle listed in several leaves is tested once per ray.
///
/// Inputs (constructor): `octree`, built over `mesh`'s vertices with tiling (its leaves must
/// cover every triangle); `tris`, that octree's per-leaf triangle lists (computeOctreeTris);
/// `mesh` (T triangles), may be null. The octree, the lists and the mesh are held by reference
/// or pointer and must outlive the tracer and stay unchanged while it is used.
///
/// Visit stamps: a query marks the triangles it tests with the current stamp (starting at 1)
/// and then moves the stamp on; only when the stamp reaches 4294967295 are all marks zeroed and
/// the stamp set back to 1.
///
/// Not copyable. Thread safety: a tracer serves one thread; threads each build their own over
/// the same octree, lists and mesh (those are only read). The triangle tests read the
/// process-wide back-face cull distance (setBackfaceCullDistance).
/// Cost: construction O(T) (the zeroed marks).
class RayTracer : public OctreeRayIntersectIt
{
public:
    /// Builds the marks (T zeros, T = 0 for a null mesh) and sets the stamp to 1. First-hit
    /// mode.
    RayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh);
    ~RayTracer();
    RayTracer(const RayTracer&) = delete;
    RayTracer& operator=(const RayTracer&) = delete;

    /// Casts the ray origin + t * direction, t > oxLinear::epsilonTolFlt, into the mesh.
    ///
    /// Inputs: the origin and the direction (any non-zero length; t counts in multiples of
    /// it). Both are copied, so the caller's values may change afterwards.
    /// Output: true when some triangle is hit. A triangle counts as hit by the rules of
    /// Ray::intersects (intersectRayTriangle: front faces at any t > epsilonTolFlt, back faces
    /// only from the back-face cull distance on, closed edges, |det| <= 1e-6 never).
    /// First-hit mode (the default): the walk stops at the first hit found, in leaf order
    /// front to back, which is not necessarily the nearest; intersectionDist() is left at
    /// 3.4028234663852886e38. Nearest mode (setFindNearestHit(true)): every leaf the ray
    /// meets is searched, and intersectionDist() gives the smallest t.
    /// In both modes intersectionTriangle() and the barycentrics name the hit found (the
    /// nearest one in nearest mode).
    /// Preconditions: the octree, lists and mesh belong together (see the class notes).
    /// Empty or degenerate input: a null or empty mesh, an octree without leaves, a zero or
    /// non-finite direction or a non-finite origin give false. Listed triangle indices outside
    /// [0, T), and triangles with a vertex index outside the vertex array, are skipped.
    /// Thread safety: see the class notes.
    /// Cost: the leaves along the ray up to the hit (first-hit mode) or all of them (nearest
    /// mode), and one test of each triangle they list.
    bool intersect(const oxLinear::PointFlt& origin, const oxLinear::Vector& direction);

    /// The ray parameter of the nearest hit of the last intersect call in nearest mode;
    /// 3.4028234663852886e38 (the largest float) when it found nothing, and always in
    /// first-hit mode.
    double intersectionDist() const { return m_nearestDist; }
    /// The triangle index of the last call's hit (the nearest in nearest mode, the first found
    /// in first-hit mode); -1 when nothing was hit.
    int intersectionTriangle() const { return m_hitTriangle; }
    /// The barycentric weights of the corners 1 and 2 of intersectionTriangle() at the hit
    /// point (0 when nothing was hit).
    double intersectionBaryU() const { return m_hitU; }
    double intersectionBaryV() const { return m_hitV; }

    /// Chooses nearest mode (true) or first-hit mode (false, the default) for later calls.
    void setFindNearestHit(bool findNearest) { m_findNearestHit = findNearest; }
    bool getFindNearestHit() const { return m_findNearestHit; }

protected:
    /// The current stamp (1 after construction).
    std::uint32_t stamp() const { return m_stamp; }
    /// Sets the current stamp; marks are left as they are. 0 is taken as 1 (0 is the unvisited
    /// mark). Lets a test bring the stamp close to the wrap.
    void setStamp(std::uint32_t value) { m_stamp = value == 0 ? 1u : value; }

private:
    bool searchLeaf(const OctreeIterator& leaf);
    void advanceStamp();

    const OctreeTris& m_tris;
    const MeshVertex* m_vertices = nullptr;
    const MeshTriangle* m_triangles = nullptr;
    int m_numTriangles = 0;
    int m_numVertices = 0;
    std::unique_ptr<std::uint32_t[]> m_marks;
    std::uint32_t m_stamp = 1;
    bool m_findNearestHit = false;

    // The ray of the current walk, over copies of the caller's origin and direction, so the
    // inherited walk never refers to values that have gone out of scope.
    oxLinear::PointFlt m_origin;
    oxLinear::Vector m_direction;
    Ray m_ray;

    double m_nearestDist;
    int m_hitTriangle = -1;
    double m_hitU = 0.0;
    double m_hitV = 0.0;
};
}  // namespace oxGeom
