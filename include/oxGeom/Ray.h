#pragma once
// A single ray with the values its box tests need precomputed (reciprocal
// direction, near and far box coordinates per axis), and the record of the
// nearest triangle hit found along it; the ray-triangle tests and the
// process-wide back-face cull distance they share.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/MeshElements.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// A ray origin + t * direction, t >= 0, over the caller's origin and
/// direction (referenced, not copied: both must outlive the ray and stay
/// unchanged while it is used).
///
/// Precomputed at construction: the reciprocal direction in floats (a zero
/// component gives an infinity, which the slab test relies on) and per axis the
/// index of the box value met first (near) and last (far) in a box laid out as
/// min x, min y, min z, max x, max y, max z: for x near 3 and far 0 when
/// 1/dx < 0, else near 0 and far 3; likewise 4/1 or 1/4 for y, 5/2 or 2/5 for z.
///
/// Nearest hit: ray parameter t (initially 3.4028234663852886e38, the largest
/// float) and barycentric u and v (initially 0). They are `mutable`: a const
/// ray records what its triangle tests find.
///
/// Copyable. Thread safety: a ray records hits in itself, so each thread uses
/// its own rays. Every operation is O(1).
class Ray
{
public:
    /// Inputs: the origin and the direction (any length; not normalised).
    Ray(const oxLinear::PointFlt& origin, const oxLinear::Vector& direction);
    // The ray keeps references: temporaries would dangle.
    Ray(const oxLinear::PointFlt&&, const oxLinear::Vector&) = delete;
    Ray(const oxLinear::PointFlt&, const oxLinear::Vector&&) = delete;
    Ray(const oxLinear::PointFlt&&, const oxLinear::Vector&&) = delete;

    const oxLinear::PointFlt& origin() const { return *m_origin; }
    const oxLinear::Vector& direction() const { return *m_direction; }
    /// The three reciprocal direction components, 1/dx, 1/dy, 1/dz in float.
    const float* reciprocal() const { return m_reciprocal; }
    /// Index (0..5) into a box's six values of the coordinate met first / last
    /// on `axis` (0..2, clamped).
    int nearIndex(int axis) const { return m_near[clampAxis(axis)]; }
    int farIndex(int axis) const { return m_far[clampAxis(axis)]; }

    /// Slab test in single precision: per axis the entry and exit parameters
    /// (box[near] - origin) / d and (box[far] - origin) / d; no hit when the x
    /// and y intervals are disjoint, then the same against z; a hit when the
    /// combined entry < tmax and the combined exit > tmin.
    /// A ray parallel to a slab with its origin exactly on one of the slab's
    /// planes gives 0 * infinity; that NaN is taken as "no limit" (the ray runs
    /// along the face, which touching counts as meeting).
    /// Inputs: a box (the empty box is never hit), the parameter range.
    bool intersects(const BoundingBox& box, float tmin, float tmax) const;

    /// Triangle test: intersectRayTriangle with this ray's direction and origin.
    /// A hit counts only when its parameter t > oxLinear::epsilonTolFlt; a
    /// counted hit nearer than the recorded one (strictly smaller t) replaces
    /// the record (t, u, v).
    /// Inputs: `triangle` (three vertex indices), `vertices` (the mesh's vertex
    /// array). Output: true for every counted hit, nearer or not, so a caller
    /// can count crossings and read the nearest from the record.
    /// Precondition: the three indices are valid in `vertices`.
    /// Degenerate: a triangle whose |det| <= 1e-6 (flat seen from the ray,
    /// zero area) is never hit.
    /// Thread safety: writes the ray's record; one thread per ray. O(1).
    bool intersects(const MeshTriangle& triangle, const MeshVertex* const vertices) const;

    /// The nearest hit recorded so far: ray parameter and barycentric u, v.
    double triIntersectionRayParam() const { return m_t; }
    double triIntersectionBaryU() const { return m_u; }
    double triIntersectionBaryV() const { return m_v; }
    /// Records a hit at parameter t with barycentric u, v when t is below the
    /// stored nearest t (strictly); returns whether it was stored.
    bool recordIntersection(double t, double u, double v) const;
    /// Forgets the recorded hit: t back to 3.4028234663852886e38, u and v to 0.
    void resetIntersection() const;

private:
    static int clampAxis(int axis) { return axis < 0 ? 0 : (axis > 2 ? 2 : axis); }

    const oxLinear::PointFlt* m_origin;
    const oxLinear::Vector* m_direction;
    float m_reciprocal[3];
    int m_near[3];
    int m_far[3];
    mutable double m_t;
    mutable double m_u;
    mutable double m_v;
};

/// Two-sided ray-triangle test (Moeller-Trumbore), in double precision with the
/// float origin and corners widened.
///
/// Inputs: `dir` (3 doubles, any non-zero length; t is measured in multiples
/// of it), `orig`, `a`, `b`, `c` (3 floats each).
/// Outputs: on a hit, `t` (ray parameter) and the barycentric `u` (weight of
/// b) and `v` (weight of c), so the point is orig + t dir = (1-u-v) a + u b +
/// v c. On a miss t, u and v are left unchanged.
/// Rule: det = (b - a) . (dir x (c - a)). det > 1e-6 is a front face (a, b, c
/// counter-clockwise seen looking along dir), det < -1e-6 a back face, anything
/// between (ray parallel to the plane, degenerate triangle) misses. The
/// barycentric bounds are closed (u >= 0, v >= 0, u + v <= 1), so edges and
/// corners hit. A front face is accepted for any t, also behind the origin;
/// a back face only when t >= getBackfaceCullDistance().
/// Thread safety: reads the process-wide cull distance (relaxed atomic load);
/// otherwise pure. O(1).
bool intersectRayTriangle(const double* const dir, const float* const orig, const float* const a,
                          const float* const b, const float* const c, double& t, double& u,
                          double& v);

/// One-sided form of intersectRayTriangle: only front faces are tested; a
/// determinant below 1e-6 (back faces, parallel rays) misses at once, while
/// det = 1e-6 exactly, which the two-sided form takes as parallel, is tested.
/// A front-face hit is returned whatever its t (also behind the origin). Does
/// not read the cull distance. Inputs, outputs and cost as intersectRayTriangle.
bool intersectRayTriangleCull(const double* const dir, const float* const orig,
                              const float* const a, const float* const b, const float* const c,
                              double& t, double& u, double& v);

/// Convenience form: true when intersectRayTriangle hits and the hit lies in
/// front of the origin, t > oxLinear::epsilonTol.
/// Inputs: the direction (doubles), origin and corners (floats).
/// Thread safety and cost as intersectRayTriangle.
bool intersectRayTriangle(const oxLinear::Vector& dir, const oxLinear::PointFlt& orig,
                          const oxLinear::PointFlt& a, const oxLinear::PointFlt& b,
                          const oxLinear::PointFlt& c);

/// Sets the process-wide back-face cull distance: the smallest ray parameter
/// at which intersectRayTriangle accepts a back-face hit (initially 1e-6).
/// Thread safety: the value is a std::atomic<double> written and read with
/// relaxed ordering, so concurrent calls are free of data races; a change is
/// not ordered with other memory, so set it before starting the threaded work
/// that should see it. O(1).
void setBackfaceCullDistance(double distance);
/// The current back-face cull distance (relaxed atomic load). O(1).
double getBackfaceCullDistance();
}  // namespace oxGeom
