#pragma once
// Packet ray tracing: four rays with a common origin traced at once, one four-lane vector
// instruction serving all four rays in every box and triangle test. QuadRay is the packet, with
// its per-lane hit records; OctreeQuadRayIntersectIt walks the octree leaves that at least one
// live ray of a packet meets; QuadRayTracer casts packets into a mesh through its octree and
// per-leaf triangle lists. Typical use: ambient-occlusion and shadow rays leaving one surface
// point.
//
// Four-lane arithmetic: SSE on processors that have it; elsewhere, or when the library and its
// users are compiled with TRELM_PORTABLE_SIMD defined, plain four-float arrays with the same
// layout (16 bytes, 16-byte aligned) and the same results up to the precision of the
// reciprocals. The macro must be the same for the library and every user of this header.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshElements.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxLinear/Point.h>
#include <oxUtil/BitField32.h>

#include <cstdint>
#include <memory>
#include <vector>

#if !defined(TRELM_PORTABLE_SIMD) && \
    (defined(__SSE__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 1))
#define TRELM_QUAD_SSE 1
#include <xmmintrin.h>
#else
#define TRELM_QUAD_SSE 0
#endif

namespace oxGeom
{
#if TRELM_QUAD_SSE
/// Four single-precision lanes in one SSE register.
using QuadFloat = __m128;
#else
/// Four single-precision lanes, laid out like an SSE register.
struct alignas(16) QuadFloat
{
    float lane[4];
};
#endif

/// Four rays origin + t * d_i (lanes i = 0..3) with one common origin, and per lane the record
/// of the hit found so far.
///
/// Held per packet: the origin in all four lanes; the four directions transposed (all x
/// components in one four-lane value, then all y, then all z); their reciprocals from the
/// processor's fast approximate reciprocal (about 12 bits; the box test widens its intervals to
/// cover that error, so it never drops a box a ray meets); the mean direction; per lane the hit
/// parameter t (initially 3.4028234663852886e38, the largest float), the barycentrics and the
/// triangle hit; the mask of terminated lanes.
///
/// The constructor's flag chooses how lanes end:
/// - `terminateAtFirstHit` true (occlusion, ambient occlusion, shadows): a lane terminates at
///   the first hit accepted, and records that hit, which need not be its nearest. A packet whose
///   four lanes are terminated is finished (allRaysTerminated), and walks stop there.
/// - false (nearest hit): lanes never terminate by hitting; each keeps its nearest hit, and its
///   box tests shrink to the range [0, nearest t] found so far, so the walk skips every box
///   beyond it.
/// Lanes whose direction is zero or not finite, and all lanes when the origin is not finite,
/// are terminated from the start and never hit anything.
///
/// Triangle rule per lane, the rule of intersectRayTriangle followed by Ray::intersects, in
/// single precision: det = d . ((c - a) x (b - a)); |det| <= 1e-6 never hits (ray parallel to
/// the triangle, or no area); barycentric bounds closed (edges and corners hit); a front face
/// (det > 0) is accepted for t > oxLinear::epsilonTolFlt, a back face only for t >= the
/// class-wide back-face cull distance; a hit replaces the lane's record only when strictly
/// nearer. Because the arithmetic is single precision, a hit within about 1e-5 (relative to the
/// triangle) of an edge, or at a parameter within rounding of a limit, can come out differently
/// from the double-precision intersectRayTriangle.
///
/// Copyable (copies keep their own records). Alignment: 16 bytes (new and standard containers
/// respect it since C++17).
/// Thread safety: a packet is used by one thread at a time; the class-wide constants are only
/// read, except the cull distance (setBackfaceCullDistance). Every operation is O(1).
class QuadRay
{
public:
    /// Inputs: the common origin, the four directions (any length; t counts in multiples of
    /// each), the lane mode (class notes).
    QuadRay(const oxLinear::PointFlt& origin, const oxLinear::VectorFlt& d0,
            const oxLinear::VectorFlt& d1, const oxLinear::VectorFlt& d2,
            const oxLinear::VectorFlt& d3, bool terminateAtFirstHit);

    /// Tests the four rays against one triangle and records, per live lane, an accepted hit
    /// that is nearer than the lane's record (rule in the class notes); in first-hit mode the
    /// lanes that hit terminate.
    /// Inputs: `triangle` (three vertex indices), `vertices` (the mesh's vertex array). The hit
    /// triangle is recorded as the address of `triangle`.
    /// Precondition: the three indices are valid in `vertices`.
    void intersect(const MeshTriangle& triangle, const MeshVertex* const vertices);

    /// Per-lane box test: bit i of `lanes` is set when lane i is live and its ray meets the
    /// closed box within its parameter range ([0, largest float], or [0, nearest t] for a
    /// nearest-hit lane with a hit); the other bits are cleared. The test is conservative: rays
    /// that pass within about 1e-3 (relative to their parameters) of the box may also be
    /// reported. An empty or invalid box (a minimum above its maximum, or NaN) meets nothing.
    void intersect(const BoundingBox& box, oxUtil::BitField32& lanes) const;

    /// True when every lane is terminated (by a hit in first-hit mode, or dead from the start).
    bool allRaysTerminated() const;
    /// The lanes that are terminated, as bits 0..3.
    oxUtil::BitField32 terminatedLanes() const;
    /// Whether lane `lane` (0..3) has recorded a hit; false for other values.
    bool triHit(int lane) const;
    /// The parameter t of lane `lane`'s recorded hit; 3.4028234663852886e38 without a hit or
    /// for a lane outside 0..3.
    float triIntersectionRayParam(int lane) const;
    /// The barycentric weights of corners 1 and 2 of the hit triangle at lane `lane`'s hit
    /// point; 0 without a hit.
    float triIntersectionBaryU(int lane) const;
    float triIntersectionBaryV(int lane) const;
    /// The triangle of lane `lane`'s recorded hit (the address given to intersect); null
    /// without a hit. QuadRayTracer::triangleIndex turns it into an index.
    const MeshTriangle* triIntersectionTriangle(int lane) const;

    /// Forgets every recorded hit: parameters back to the largest float, no triangles, and
    /// only the dead lanes (zero or non-finite directions) terminated.
    void clearHits();

    /// 0.25 times the sum of the four directions.
    const oxLinear::VectorFlt& meanDirection() const { return m_mean; }
    const oxLinear::PointFlt& origin() const { return m_originPoint; }
    /// Direction of lane `lane` (clamped to 0..3).
    oxLinear::VectorFlt direction(int lane) const;
    /// The constructor's flag.
    bool terminatesAtFirstHit() const { return m_terminateAtFirstHit; }
    /// A counter that changes whenever a lane's parameter range shrinks, a lane terminates or
    /// the records are cleared: walks retest the nodes they hold when it has moved.
    std::uint32_t version() const { return m_version; }

    /// Sets the class-wide back-face cull distance (all four lanes of `cullDistance`; initially
    /// 1e-6, as for intersectRayTriangle). Thread safety: not synchronised; call before tracing
    /// starts. Set both this and oxGeom::setBackfaceCullDistance to have packets and single rays
    /// agree.
    static void setBackfaceCullDistance(float distance);
    static float getBackfaceCullDistance();

    /// Lane-wise dot product of two transposed vectors (x lanes, y lanes, z lanes).
    static QuadFloat dot(const QuadFloat a[3], const QuadFloat b[3]);
    /// Lane-wise cross product a x b of two transposed vectors, into `out` (may alias neither).
    static void cross(const QuadFloat a[3], const QuadFloat b[3], QuadFloat out[3]);

    /// Class-wide constants, set when the library loads: 0; the sign bit alone (-0.0f); every
    /// bit but the sign; 1e-6, the |det| at or below which a ray counts as parallel to a
    /// triangle; the largest float, 3.4028234663852886e38; in every lane.
    static const QuadFloat zero;
    static const QuadFloat sgn_mask;
    static const QuadFloat abs_mask;
    static const QuadFloat eps;
    static const QuadFloat maxfloat;
    /// The back-face cull distance in every lane (see setBackfaceCullDistance).
    static QuadFloat cullDistance;

private:
    friend struct QuadRayKernels;

    QuadFloat m_origin[3];
    QuadFloat m_dir[3];
    QuadFloat m_rcp[3];
    QuadFloat m_t;
    QuadFloat m_u;
    QuadFloat m_v;
    QuadFloat m_terminated;  // all bits set in terminated lanes
    QuadFloat m_dead;        // all bits set in lanes that can never hit
    const MeshTriangle* m_tri[4];
    oxLinear::PointFlt m_originPoint;
    oxLinear::VectorFlt m_mean;
    std::uint32_t m_version = 0;
    bool m_terminateAtFirstHit;
    bool m_axisParallel;  // some live lane has an infinite reciprocal component
};

/// The octree leaves that at least one live lane of a packet meets (QuadRay::intersect(box)),
/// depth-first with the children of each node taken in the order Octree::getNodeOrdering gives
/// for the packet's mean direction, so for coherent packets leaves come roughly front to back.
///
/// Iterator protocol as for the other octree iterators (OctreeIterators.h): valid(), get(),
/// next(), reset(); after construction with a packet or after reset it stands on its first
/// leaf, or is not valid. A node is tested when its parent is expanded and again before it is
/// used when the packet has changed since (a lane's range shrank or a lane terminated), so
/// nodes that no live lane can reach any more are dropped without being visited.
///
/// The packet is held by pointer: it must outlive the walk, and it may (and is meant to) change
/// during the walk through its own intersect calls.
/// Not copyable. Thread safety: one walk per thread; any number may read one octree.
/// Cost: the stack (8 * (depth + 1) entries) is allocated at construction; reset and next never
/// allocate. Per node expanded, eight four-lane box tests.
class OctreeQuadRayIntersectIt
{
public:
    /// No packet: not valid until reset.
    explicit OctreeQuadRayIntersectIt(const Octree& octree);
    /// Starts on `packet`, keeping its hit records (reset(packet, false)).
    OctreeQuadRayIntersectIt(const Octree& octree, QuadRay& packet);
    ~OctreeQuadRayIntersectIt();
    OctreeQuadRayIntersectIt(const OctreeQuadRayIntersectIt&) = delete;
    OctreeQuadRayIntersectIt& operator=(const OctreeQuadRayIntersectIt&) = delete;

    /// Restarts the walk for `packet`. With `clearHits` true the packet's records are cleared
    /// first (QuadRay::clearHits); with false they are kept, so that a packet traced through
    /// several meshes in turn keeps the nearest hit over all of them (and terminated lanes stay
    /// terminated).
    void reset(QuadRay& packet, bool clearHits);
    bool valid() const;
    /// The current leaf; a default OctreeIterator (no node, empty box) when not valid.
    OctreeIterator get() const;
    void next();

protected:
    /// The walk's state (defined inside the library), for QuadRayTracer's inlined walk.
    struct State;
    State& walkState() const { return *m_state; }

private:
    std::unique_ptr<State> m_state;
};

/// Repeated packet casts into one mesh: the packet walk plus one visit mark per triangle, so a
/// triangle listed in several leaves is tested once per packet.
///
/// Runs: each leaf's triangle list is taken in runs of 8 consecutive entries, and the tracer
/// keeps the bounding box of each run's triangles, computed on the leaf's first visit. A run
/// whose box no live lane of a packet meets is passed over without touching its triangles:
/// leaves hold a few dozen triangles, and a packet usually reaches only a few of them. The
/// outcome is the same as testing every listed triangle, since the box test never drops a box
/// a lane meets within its range. Subtrees of the octree without listed triangles are never
/// entered. Memory: 24 bytes per run, 4 bytes per leaf and 1 byte per octree node, besides the
/// marks.
///
/// Inputs (constructor): `octree`, built over `mesh`'s vertices with tiling (its leaves must
/// cover every triangle); `tris`, its per-leaf triangle lists (computeOctreeTris); `mesh` (T
/// triangles), may be null. All three must outlive the tracer and stay unchanged while it is
/// used. Visit stamps as for RayTracer: a query marks with the current stamp (from 1) and moves
/// it on; on reaching 4294967295 all marks are zeroed and the stamp restarts at 1.
///
/// Not copyable. Thread safety: a tracer serves one thread; threads build one each over the
/// same octree, lists and mesh. Cost: construction O(T + nodes) (the zeroed marks and the
/// occupied-node flags).
class QuadRayTracer : public OctreeQuadRayIntersectIt
{
public:
    QuadRayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh);
    ~QuadRayTracer();
    QuadRayTracer(const QuadRayTracer&) = delete;
    QuadRayTracer& operator=(const QuadRayTracer&) = delete;

    /// Traces `packet` into the mesh: walks the leaves its live lanes meet and tests each listed
    /// triangle once with QuadRay::intersect, stopping as soon as all lanes are terminated.
    /// The packet's existing records are kept (reset(packet, false)), so tracing one packet
    /// through several tracers gives the nearest hit over all their meshes; call
    /// packet.clearHits() to start afresh.
    /// Output: the packet's per-lane records (nearest hits, or first hits and terminated lanes
    /// in first-hit mode).
    /// Empty or degenerate input: a null or empty mesh or an octree without leaves leaves the
    /// packet as it was. Listed triangle indices outside [0, T), and triangles with a vertex
    /// index outside the vertex array, are skipped.
    /// Cost: the leaves the live lanes reach and one four-lane test per listed triangle.
    void intersect(QuadRay& packet);

    /// The index in this tracer's mesh of lane `lane`'s hit triangle; -1 when the lane has no
    /// hit or its triangle is not one of this mesh's.
    int triangleIndex(const QuadRay& packet, int lane) const;

protected:
    /// The current stamp (1 after construction).
    std::uint32_t stamp() const { return m_stamp; }
    /// Sets the current stamp; marks are left as they are. 0 is taken as 1. Lets a test bring
    /// the stamp close to the wrap.
    void setStamp(std::uint32_t value) { m_stamp = value == 0 ? 1u : value; }

private:
    void advanceStamp();
    const float* runBoxes(int leaf);

    const OctreeTris& m_tris;
    const MeshVertex* m_vertices = nullptr;
    const MeshTriangle* m_triangles = nullptr;
    int m_numTriangles = 0;
    int m_numVertices = 0;
    std::unique_ptr<std::uint32_t[]> m_marks;
    std::uint32_t m_stamp = 1;
    std::unique_ptr<int[]> m_firstRun;     // per leaf its first run r, or -1 - r before its boxes
    std::unique_ptr<float[]> m_runBoxes;   // six floats per run, written on a leaf's first visit
    std::vector<std::uint8_t> m_occupied;  // per octree node: has it a listed triangle below it
};
}  // namespace oxGeom
