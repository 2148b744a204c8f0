// Batched spatial queries from Python: closest points, ray casts and inside tests over arrays of
// points and rays. Each batch releases the GIL and runs on the library's thread pool in chunks
// handed out from a shared counter, one query object per pool thread (the library's query
// objects serve one thread each), every result written to its own row, so the output does not
// depend on the thread count or on timing. Rays are cast as four-lane packets: four at a time
// wherever four consecutive rays share their origin, one at a time otherwise.

#include "bindings.h"

#include <oxGeom/MeshPtInside.h>
#include <oxGeom/QuadRay.h>
#include <oxGeom/meshClosestPoint.h>
#include <oxUtil/ThreadPool.h>
#include <oxUtil/ThreadedAlg.h>

#include <cmath>
#include <limits>

namespace trelm_py
{
namespace
{
constexpr double infinity = std::numeric_limits<double>::infinity();
// Chunks are a multiple of four, so packets of four consecutive rays never straddle two.
constexpr int chunkSize = 256;

oxLinear::Point pointAt(const double* xyz, std::int64_t i)
{
    return oxLinear::Point(xyz + 3 * i);
}

py::array_t<double> finitePoints(py::handle object, const char* name)
{
    py::array_t<double> points = doubleRows(object, 3, name);
    requireFinite(points.data(), points.size(), name);
    return points;
}

// ---- visiting order ----

// Spreads the low 10 bits of x so that bit k lands on bit 3k.
std::uint32_t spreadBits(std::uint32_t x)
{
    x &= 0x3ffu;
    x = (x | (x << 16)) & 0x30000ffu;
    x = (x | (x << 8)) & 0x300f00fu;
    x = (x | (x << 4)) & 0x30c30c3u;
    x = (x | (x << 2)) & 0x9249249u;
    return x;
}

/// The order in which to answer `count` query points: ascending Morton code of their cell in a
/// 1024^3 grid over their own box. Neighbouring queries then walk the same octree leaves one
/// after the other, which keeps those leaves and their triangles in cache: on scattered points
/// this alone makes a batch about 1.7 times faster. The answers do not depend on the order.
/// Below a few thousand points the sort would cost more than it saves; the order is then the
/// identity. Cost O(count): three counting-sort passes of 10 bits.
std::vector<int> spatialOrder(const double* points, int count)
{
    std::vector<int> order(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        order[std::size_t(i)] = i;
    if (count < 4096)
        return order;
    double low[3] = {points[0], points[1], points[2]}, high[3] = {low[0], low[1], low[2]};
    for (int i = 0; i < count; ++i)
        for (int k = 0; k < 3; ++k)
        {
            low[k] = std::min(low[k], points[3 * i + k]);
            high[k] = std::max(high[k], points[3 * i + k]);
        }
    double scale[3];
    for (int k = 0; k < 3; ++k)
        scale[k] = high[k] > low[k] ? 1023.0 / (high[k] - low[k]) : 0.0;
    std::vector<std::uint32_t> codes(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
    {
        std::uint32_t code = 0;
        for (int k = 0; k < 3; ++k)
            code |= spreadBits(std::uint32_t((points[3 * i + k] - low[k]) * scale[k])) << k;
        codes[std::size_t(i)] = code;
    }
    std::vector<int> sorted(order.size());
    for (int shift = 0; shift < 30; shift += 10)
    {
        std::vector<int> start(1025, 0);
        for (int i : order)
            ++start[((codes[std::size_t(i)] >> shift) & 1023u) + 1];
        for (int b = 0; b < 1024; ++b)
            start[std::size_t(b) + 1] += start[std::size_t(b)];
        for (int i : order)
            sorted[std::size_t(start[(codes[std::size_t(i)] >> shift) & 1023u]++)] = i;
        order.swap(sorted);
    }
    return order;
}

/// Thread-count-sized slots of query objects, built on first use by the thread that owns them.
template <class Query>
using Slots = std::vector<std::unique_ptr<Query>>;

// ---- closest points ----

class ClosestPointAlg : public oxUtil::ThreadedChunkAlg
{
public:
    ClosestPointAlg(const MeshData& data, Slots<oxGeom::MeshClosestPoint>& slots,
                    const double* points, int count, double* distances, int* triangles,
                    double* weights)
        : ThreadedChunkAlg(count, chunkSize),
          m_data(data),
          m_slots(slots),
          m_order(spatialOrder(points, count)),
          m_points(points),
          m_distances(distances),
          m_triangles(triangles),
          m_weights(weights)
    {
    }

    void initialize(int numThreads) override
    {
        if (m_slots.size() < std::size_t(numThreads))
            m_slots.resize(std::size_t(numThreads));
    }

    void execute(int threadIndex, int) override
    {
        std::unique_ptr<oxGeom::MeshClosestPoint>& query = m_slots[std::size_t(threadIndex)];
        if (!query)
            query = std::make_unique<oxGeom::MeshClosestPoint>(m_data.mesh(), m_data.octree(),
                                                               m_data.octreeTris());
        int begin, end;
        while (nextChunk(threadIndex, begin, end))
            answerChunk(*query, begin, end);
    }

private:
    // The points of a chunk are scattered over the caller's arrays (the order is spatial), so
    // they are gathered first and the answers scattered last, each in a tight loop whose memory
    // accesses overlap, instead of one cache miss after another between the queries.
    void answerChunk(oxGeom::MeshClosestPoint& query, int begin, int end)
    {
        const int* order = m_order.data() + begin;
        const int count = end - begin;
        oxLinear::Point points[chunkSize];
        oxGeom::MeshCoord coords[chunkSize];
        double distances[chunkSize];
        for (int k = 0; k < count; ++k)
            points[k] = pointAt(m_points, order[k]);
        for (int k = 0; k < count; ++k)
            distances[k] = query.compute(points[k], &coords[k]);
        for (int k = 0; k < count; ++k)
        {
            const int i = order[k];
            const bool found = coords[k].valid();
            m_distances[i] = found ? distances[k] : infinity;
            m_triangles[i] = coords[k].triangle;
            for (int c = 0; c < 3; ++c)
                m_weights[3 * i + c] = found ? coords[k].weights[c] : 0.0;
        }
    }

    const MeshData& m_data;
    Slots<oxGeom::MeshClosestPoint>& m_slots;
    std::vector<int> m_order;
    const double* m_points;
    double* m_distances;
    int* m_triangles;
    double* m_weights;
};

class ClosestPoint
{
public:
    explicit ClosestPoint(const Mesh& mesh) : m_data(mesh.data)
    {
        withoutGil([&] { m_data->octreeTris(); });
    }

    py::tuple query(py::handle pointsIn)
    {
        py::array_t<double> points = finitePoints(pointsIn, "points");
        const int n = static_cast<int>(points.shape(0));
        auto distances = newArray<double>(n);
        auto triangles = newArray<int>(n);
        auto weights = newArray<double>(n, 3);
        double* distanceOut = distances.mutable_data();
        int* triangleOut = triangles.mutable_data();
        double* weightOut = weights.mutable_data();
        withoutGil(
            [&]
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                ClosestPointAlg alg(*m_data, m_slots, points.data(), n, distanceOut, triangleOut,
                                    weightOut);
                oxUtil::ThreadPool::get().run(alg);
            });
        return py::make_tuple(distances, triangles, weights);
    }

    Mesh mesh() const { return Mesh{m_data}; }

private:
    MeshPtr m_data;
    std::mutex m_mutex;  // one batch at a time uses the per-thread query objects
    Slots<oxGeom::MeshClosestPoint> m_slots;
};

// ---- rays ----

/// Rows of (n, 3) or one (3,) row shared by every ray.
struct RayRows
{
    py::array_t<double> values;
    std::int64_t rows = 0;
    bool shared = false;

    const double* row(std::int64_t i) const { return values.data() + (shared ? 0 : 3 * i); }
};

RayRows rayRows(py::handle object, const char* name)
{
    RayRows out;
    py::array probe = py::array::ensure(object);
    if (probe && probe.ndim() == 1 && probe.shape(0) == 3)
    {
        out.values = doubleRows(probe.reshape({1, 3}), 3, name);
        out.rows = 1;
        out.shared = true;
        return out;
    }
    out.values = doubleRows(object, 3, name);
    out.rows = out.values.shape(0);
    return out;
}

struct RayOutputs
{
    double* t;
    int* triangles;
    double* weights;  // null when not asked for
};

// Every ray is cast as part of a packet: four rays that share an origin fill a packet, any
// other ray goes alone in a packet whose three other lanes are dead (zero directions). The
// packet walk narrows each lane's range to its nearest hit so far and skips every box beyond
// it, while the single-ray tracer searches every leaf along the ray in nearest mode; on
// scattered rays the lone-lane packet is about four times faster.
class RayCastAlg : public oxUtil::ThreadedChunkAlg
{
public:
    RayCastAlg(const MeshData& data, Slots<oxGeom::QuadRayTracer>& tracers, const RayRows& origins,
               const RayRows& directions, int count, bool nearest, RayOutputs out)
        : ThreadedChunkAlg(count, chunkSize),
          m_scene(data.rayScene()),
          m_tracers(tracers),
          m_origins(origins),
          m_directions(directions),
          m_nearest(nearest),
          m_out(out)
    {
    }

    void initialize(int numThreads) override
    {
        if (m_tracers.size() < std::size_t(numThreads))
            m_tracers.resize(std::size_t(numThreads));
    }

    void execute(int threadIndex, int) override
    {
        std::unique_ptr<oxGeom::QuadRayTracer>& tracer = m_tracers[std::size_t(threadIndex)];
        if (!tracer)
            tracer = std::make_unique<oxGeom::QuadRayTracer>(*m_scene.octree, *m_scene.tris,
                                                             m_scene.mesh);
        int begin, end;
        while (nextChunk(threadIndex, begin, end))
            for (int i = begin; i < end; i += 4)
            {
                if (i + 4 <= end && sharedOrigin(i))
                    cast(*tracer, i, 4);
                else
                    for (int j = i; j < std::min(i + 4, end); ++j)
                        cast(*tracer, j, 1);
            }
    }

private:
    // The origin in the scene's coordinates: rounded to float, as the caller's origin would be,
    // then scaled exactly.
    oxLinear::PointFlt origin(int i) const
    {
        const double* o = m_origins.row(i);
        const auto scaled = [&](double x) { return float(double(float(x)) * m_scene.scale); };
        return oxLinear::PointFlt(scaled(o[0]), scaled(o[1]), scaled(o[2]));
    }

    // True when rays i .. i+3 start at one point once rounded to float, as the packet takes it.
    bool sharedOrigin(int i) const
    {
        if (m_origins.shared)
            return true;
        const oxLinear::PointFlt first = origin(i);
        for (int j = i + 1; j < i + 4; ++j)
            if (!(origin(j) == first))
                return false;
        return true;
    }

    // Direction of lane `lane` of the packet starting at ray i with `live` rays; zero (a dead
    // lane) beyond them.
    oxLinear::VectorFlt direction(int i, int lane, int live) const
    {
        if (lane >= live)
            return oxLinear::VectorFlt(0.0f, 0.0f, 0.0f);
        const double* d = m_directions.row(i + lane);
        return oxLinear::VectorFlt(float(d[0]), float(d[1]), float(d[2]));
    }

    void cast(oxGeom::QuadRayTracer& tracer, int i, int live)
    {
        oxGeom::QuadRay packet(origin(i), direction(i, 0, live), direction(i, 1, live),
                               direction(i, 2, live), direction(i, 3, live), !m_nearest);
        tracer.intersect(packet);
        for (int lane = 0; lane < live; ++lane)
        {
            const int triangle = packet.triHit(lane) ? tracer.triangleIndex(packet, lane) : -1;
            write(i + lane, triangle, packet.triIntersectionRayParam(lane),
                  packet.triIntersectionBaryU(lane), packet.triIntersectionBaryV(lane));
        }
    }

    void write(int i, int triangle, double t, double u, double v)
    {
        const bool hit = triangle >= 0;
        m_out.t[i] = hit ? t / m_scene.scale : infinity;
        m_out.triangles[i] = hit ? triangle : -1;
        if (m_out.weights)
        {
            m_out.weights[3 * i] = hit ? 1.0 - u - v : 0.0;
            m_out.weights[3 * i + 1] = hit ? u : 0.0;
            m_out.weights[3 * i + 2] = hit ? v : 0.0;
        }
    }

    const MeshData::RayScene& m_scene;
    Slots<oxGeom::QuadRayTracer>& m_tracers;
    const RayRows& m_origins;
    const RayRows& m_directions;
    bool m_nearest;
    RayOutputs m_out;
};

class RayCaster
{
public:
    explicit RayCaster(const Mesh& mesh) : m_data(mesh.data)
    {
        withoutGil([&] { m_data->rayScene(); });
    }

    py::tuple cast(py::handle originsIn, py::handle directionsIn, bool nearest, bool barycentrics)
    {
        const RayRows origins = rayRows(originsIn, "origins");
        const RayRows directions = rayRows(directionsIn, "directions");
        if (!origins.shared && !directions.shared && origins.rows != directions.rows)
            throw py::value_error("cast: " + std::to_string(origins.rows) + " origins for " +
                                  std::to_string(directions.rows) + " directions");
        const int n = static_cast<int>(origins.shared ? directions.rows : origins.rows);
        auto t = newArray<double>(n);
        auto triangles = newArray<int>(n);
        py::array_t<double> weights = barycentrics ? newArray<double>(n, 3) : newArray<double>(0);
        RayOutputs out{t.mutable_data(), triangles.mutable_data(),
                       barycentrics ? weights.mutable_data() : nullptr};
        withoutGil(
            [&]
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                RayCastAlg alg(*m_data, m_tracers, origins, directions, n, nearest, out);
                oxUtil::ThreadPool::get().run(alg);
            });
        if (barycentrics)
            return py::make_tuple(t, triangles, weights);
        return py::make_tuple(t, triangles);
    }

    Mesh mesh() const { return Mesh{m_data}; }

private:
    MeshPtr m_data;
    std::mutex m_mutex;  // one batch at a time uses the per-thread tracers
    Slots<oxGeom::QuadRayTracer> m_tracers;
};

// ---- inside ----

class InsideAlg : public oxUtil::ThreadedChunkAlg
{
public:
    InsideAlg(const MeshData& data, double tolerance, const double* points, int count,
              std::int8_t* out)
        : ThreadedChunkAlg(count, chunkSize),
          m_data(data),
          m_tolerance(tolerance),
          m_order(spatialOrder(points, count)),
          m_points(points),
          m_out(out)
    {
    }

    void initialize(int numThreads) override { m_slots.resize(std::size_t(numThreads)); }

    void execute(int threadIndex, int) override
    {
        std::unique_ptr<oxGeom::MeshPtInside>& test = m_slots[std::size_t(threadIndex)];
        int begin, end;
        while (nextChunk(threadIndex, begin, end))
        {
            if (!test)
                test = std::make_unique<oxGeom::MeshPtInside>(
                    m_data.meshWithNormals(), m_data.octree(), m_data.octreeTris(), m_tolerance);
            for (int k = begin; k < end; ++k)
            {
                const int i = m_order[std::size_t(k)];
                m_out[i] = static_cast<std::int8_t>(test->evaluate(pointAt(m_points, i)));
            }
        }
    }

private:
    const MeshData& m_data;
    double m_tolerance;
    std::vector<int> m_order;
    const double* m_points;
    std::int8_t* m_out;
    Slots<oxGeom::MeshPtInside> m_slots;
};

py::array_t<std::int8_t> inside(const Mesh& mesh, py::handle pointsIn, double tolerance)
{
    if (!std::isfinite(tolerance) || tolerance < 0.0)
        throw py::value_error("inside: tolerance must be finite and >= 0, got " +
                              std::to_string(tolerance));
    py::array_t<double> points = finitePoints(pointsIn, "points");
    const int n = static_cast<int>(points.shape(0));
    auto out = newArray<std::int8_t>(n);
    std::int8_t* codes = out.mutable_data();
    withoutGil(
        [&]
        {
            mesh.data->meshWithNormals();
            mesh.data->octreeTris();
            InsideAlg alg(*mesh.data, tolerance, points.data(), n, codes);
            oxUtil::ThreadPool::get().run(alg);
        });
    return out;
}
}  // namespace

void registerQueries(py::module_& m)
{
    using namespace pybind11::literals;
    py::class_<ClosestPoint>(m, "ClosestPoint", R"doc(
Nearest points of a mesh for batches of query points.

ClosestPoint(mesh) builds (or reuses) the mesh's octree and per-leaf triangle lists.
Thread-safe: calls from several Python threads on one object run one after the other; use one
object per thread to run them side by side.)doc")
        .def(py::init<const Mesh&>(), "mesh"_a)
        .def("query", &ClosestPoint::query, "points"_a, R"doc(
The nearest point of the mesh to each query point, exact over all triangles.

points: (k, 3) real array, converted to float64; every value must be finite.
Returns (distances, triangle_ids, barycentrics): (k,) float64 distances, (k,) int32 triangle
indices and (k, 3) float64 barycentric weights of that triangle's corners, so the nearest point
is w0 A + w1 B + w2 C. Of equally near triangles one is chosen by the walk order. A mesh without
(non-degenerate) triangles gives inf, -1 and zero weights. Runs on the thread pool with the GIL
released; the result does not depend on the thread count.)doc")
        .def_property_readonly("mesh", &ClosestPoint::mesh, "The mesh queried.");

    py::class_<RayCaster>(m, "RayCaster", R"doc(
Ray casts into a mesh for batches of rays.

RayCaster(mesh) builds (or reuses) the mesh's octree and per-leaf triangle lists. Rays are
traced as four-lane SSE packets: four consecutive rays with a common origin (after rounding to
float32) together, any other ray alone. Rays are cast into a copy of the mesh scaled by a power
of two (an exact change) that brings its typical edge to about 1, so that the triangle test's
absolute parallel bound never makes a finely tessellated small mesh unhittable; answers are
given back in the mesh's own units. Thread-safe as ClosestPoint.)doc")
        .def(py::init<const Mesh&>(), "mesh"_a)
        .def("cast", &RayCaster::cast, "origins"_a, "directions"_a, "nearest"_a = true,
             "barycentrics"_a = false, R"doc(
Casts the rays origin + t * direction, t > 0, into the mesh.

origins, directions: (k, 3) real arrays, or one (3,) row shared by every ray; origins are
rounded to float32, directions need not be unit length (t counts in multiples of them).
nearest: True finds each ray's nearest hit; False stops at the first hit found (for occlusion
tests), whose t need not be the smallest. Both faces of a triangle are hit.
Returns (t, triangle_ids) and, with barycentrics=True, also (k, 3) float64 weights of the hit
triangle's corners: t is float64 (inf for a miss), triangle_ids int32 (-1 for a miss).
Rays with a zero or non-finite direction or origin miss. Hits are computed in float32, so a
ray within about 1e-5 (relative) of a triangle edge may be given either neighbour. Raises
ValueError when the row counts differ.)doc")
        .def_property_readonly("mesh", &RayCaster::mesh, "The mesh cast into.");

    m.attr("INSIDE") = int(oxGeom::MeshPtInside::Inside);
    m.attr("OUTSIDE") = int(oxGeom::MeshPtInside::Outside);
    m.attr("ON_SURFACE") = int(oxGeom::MeshPtInside::OnSurface);
    m.def("inside", &inside, "mesh"_a, "points"_a, "tolerance"_a = 0.0, R"doc(
Classifies points against a closed, consistently wound mesh.

points: (k, 3) real array, every value finite. tolerance: distance (finite, >= 0) below which
a point counts as on the surface.
Returns (k,) int8 codes: trelm.INSIDE (0), trelm.OUTSIDE (1) or trelm.ON_SURFACE (2). A point
outside the mesh's bounding box is OUTSIDE; otherwise the side of the nearest surface point's
interpolated vertex normal decides (the mesh's normals, or computed ones when it has none).
Runs on the thread pool with the GIL released.)doc");
}
}  // namespace trelm_py
