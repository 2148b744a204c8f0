// Many query objects over one shared octree at once: each host thread owns its own
// MeshClosestPoint, RayTracer, QuadRayTracer, MeshPtInside and octree iterators, all reading the
// same mesh, octree and per-leaf triangle lists. Every answer must equal, bit for bit, the answer
// of a serial run, whatever the thread count and the order in which a thread asks its queries.

#include <oxGeom/MeshPtInside.h>
#include <oxGeom/OctreeIterators.h>
#include <oxGeom/QuadRay.h>
#include <oxGeom/RayTracer.h>
#include <oxGeom/meshClosestPoint.h>

#include "support/hostThreads.h"
#include "support/meshes.h"
#include "support/rayQueryScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace
{
using oxLinear::Point;
using oxLinear::PointFlt;
using oxLinear::Vector;
using oxLinear::VectorFlt;

constexpr int queriesPerKind = 500;
constexpr int iteratorLeavesKept = 12;

/// Appends the bytes of `value` to `out`, so that results compare bitwise (a NaN or a -0.0
/// that differs from the serial run is a difference too).
template <class T>
void appendBits(std::vector<std::uint8_t>& out, const T& value)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof(T));
}

struct QueryInputs
{
    std::vector<Point> points;          // closest point, inside test, sphere and closest leaves
    std::vector<PointFlt> origins;      // single rays and packets
    std::vector<Vector> directions;     // single rays
    std::vector<VectorFlt> packetDirs;  // four per packet
};

/// Points in and around the unit sphere, rays from outside aimed roughly at it (some missing).
QueryInputs makeInputs(std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> coordinate(-1.6, 1.6);
    std::uniform_real_distribution<double> spread(-0.7, 0.7);
    QueryInputs in;
    for (int i = 0; i < queriesPerKind; ++i)
    {
        in.points.emplace_back(coordinate(random), coordinate(random), coordinate(random));
        const PointFlt origin(float(coordinate(random)), float(coordinate(random)), 3.0f);
        in.origins.push_back(origin);
        in.directions.emplace_back(spread(random) - origin[0], spread(random) - origin[1], -3.0);
        for (int lane = 0; lane < 4; ++lane)
            in.packetDirs.emplace_back(float(spread(random) - origin[0]),
                                       float(spread(random) - origin[1]), -3.0f);
    }
    return in;
}

/// Every query kind over the shared scene with this thread's own query objects; `order` says
/// in which order the queries are asked, the results are stored by query index.
struct QueryRun
{
    std::vector<std::vector<std::uint8_t>> closest, inside, ray, packet, boxLeaves, sphereLeaves,
        rayLeaves, closestLeaves;
    std::vector<std::uint8_t> allLeaves;
};

void runClosestAndInside(const testsupport::RayQueryScene& scene, const QueryInputs& in,
                         const std::vector<int>& order, QueryRun& run)
{
    oxGeom::MeshClosestPoint closest(scene.mesh, scene.octree, scene.tris);
    oxGeom::MeshPtInside inside(scene.mesh, scene.octree, scene.tris, 1e-6);
    for (int q : order)
    {
        oxGeom::MeshCoord coord;
        const double distance = closest.compute(in.points[q], &coord);
        appendBits(run.closest[q], distance);
        appendBits(run.closest[q], coord.triangle);
        for (double w : coord.weights)
            appendBits(run.closest[q], w);
        appendBits(run.inside[q], int(inside.evaluate(in.points[q])));
    }
}

void runRays(const testsupport::RayQueryScene& scene, const QueryInputs& in,
             const std::vector<int>& order, QueryRun& run)
{
    oxGeom::RayTracer tracer(scene.octree, scene.tris, &scene.mesh);
    tracer.setFindNearestHit(true);
    oxGeom::QuadRayTracer quadTracer(scene.octree, scene.tris, &scene.mesh);
    for (int q : order)
    {
        const bool hit = tracer.intersect(in.origins[q], in.directions[q]);
        appendBits(run.ray[q], hit);
        if (hit)
        {
            appendBits(run.ray[q], tracer.intersectionDist());
            appendBits(run.ray[q], tracer.intersectionTriangle());
            appendBits(run.ray[q], tracer.intersectionBaryU());
            appendBits(run.ray[q], tracer.intersectionBaryV());
        }
        const VectorFlt* d = &in.packetDirs[4 * size_t(q)];
        oxGeom::QuadRay packet(in.origins[q], d[0], d[1], d[2], d[3], false);
        quadTracer.intersect(packet);
        for (int lane = 0; lane < 4; ++lane)
        {
            appendBits(run.packet[q], packet.triHit(lane));
            appendBits(run.packet[q], quadTracer.triangleIndex(packet, lane));
            if (packet.triHit(lane))
            {
                appendBits(run.packet[q], packet.triIntersectionRayParam(lane));
                appendBits(run.packet[q], packet.triIntersectionBaryU(lane));
                appendBits(run.packet[q], packet.triIntersectionBaryV(lane));
            }
        }
    }
}

template <class It>
void recordLeaves(It& it, std::vector<std::uint8_t>& out)
{
    for (int k = 0; it.valid() && k < iteratorLeavesKept; it.next(), ++k)
        appendBits(out, it.get().getNodeIndex());
}

void runIterators(const testsupport::RayQueryScene& scene, const QueryInputs& in,
                  const std::vector<int>& order, QueryRun& run)
{
    oxGeom::OctreeBBoxIntersectIt boxIt(scene.octree);
    oxGeom::OctreeSphereIntersectIt sphereIt(scene.octree);
    oxGeom::OctreeRayIntersectIt rayIt(scene.octree);
    oxGeom::OctreeClosestIt closestIt;
    for (int q : order)
    {
        const Point& p = in.points[q];
        oxGeom::BoundingBox box;
        for (int axis = 0; axis < 3; ++axis)
        {
            box.m_box[axis] = float(p[axis] - 0.2);
            box.m_box[axis + 3] = float(p[axis] + 0.2);
        }
        boxIt.reset(box);
        recordLeaves(boxIt, run.boxLeaves[q]);
        const oxGeom::Sphere sphere(p, 0.3);
        sphereIt.reset(sphere);
        recordLeaves(sphereIt, run.sphereLeaves[q]);
        const oxGeom::Ray ray(in.origins[q], in.directions[q]);
        rayIt.reset(ray);
        recordLeaves(rayIt, run.rayLeaves[q]);
        closestIt.reset(scene.octree, p);
        for (int k = 0; closestIt.valid() && k < iteratorLeavesKept; closestIt.next(), ++k)
        {
            appendBits(run.closestLeaves[q], closestIt.get().getNodeIndex());
            appendBits(run.closestLeaves[q], closestIt.getDistance2());
        }
    }
    for (oxGeom::OctreeLeafIterator leaves(scene.octree); leaves.valid(); leaves.next())
        appendBits(run.allLeaves, leaves.get().getLeafNumber());
}

QueryRun runAll(const testsupport::RayQueryScene& scene, const QueryInputs& in,
                const std::vector<int>& order)
{
    QueryRun run;
    for (auto* table : {&run.closest, &run.inside, &run.ray, &run.packet, &run.boxLeaves,
                        &run.sphereLeaves, &run.rayLeaves, &run.closestLeaves})
        table->resize(in.points.size());
    runClosestAndInside(scene, in, order, run);
    runRays(scene, in, order, run);
    runIterators(scene, in, order, run);
    return run;
}

/// Thread t asks the queries rotated by a t-dependent offset, odd threads backwards, so that the
/// per-object visit stamps and walk stacks see a different history in every thread.
std::vector<int> queryOrder(int thread, int count)
{
    std::vector<int> order(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        order[size_t(i)] = (i + 37 * thread) % count;
    if (thread % 2)
        std::reverse(order.begin(), order.end());
    return order;
}

/// The first query index whose results differ, or -1.
int firstDifference(const std::vector<std::vector<std::uint8_t>>& a,
                    const std::vector<std::vector<std::uint8_t>>& b)
{
    for (size_t q = 0; q < a.size(); ++q)
        if (q >= b.size() || a[q] != b[q])
            return int(q);
    return a.size() == b.size() ? -1 : int(a.size());
}

void expectSameAsSerial(const QueryRun& serial, const QueryRun& run, int threads, int thread)
{
    const char* names[] = {"closest point", "inside",        "ray",        "packet",
                           "box leaves",    "sphere leaves", "ray leaves", "closest leaves"};
    const std::vector<std::vector<std::uint8_t>>* a[] = {
        &serial.closest,   &serial.inside,       &serial.ray,       &serial.packet,
        &serial.boxLeaves, &serial.sphereLeaves, &serial.rayLeaves, &serial.closestLeaves};
    const std::vector<std::vector<std::uint8_t>>* b[] = {
        &run.closest,   &run.inside,       &run.ray,       &run.packet,
        &run.boxLeaves, &run.sphereLeaves, &run.rayLeaves, &run.closestLeaves};
    for (int kind = 0; kind < 8; ++kind)
        EXPECT_EQ(firstDifference(*a[kind], *b[kind]), -1)
            << names[kind] << " differs from the serial run; " << threads << " threads, thread "
            << thread;
    EXPECT_EQ(serial.allLeaves, run.allLeaves) << threads << " threads, thread " << thread;
}

/// A query object whose visit stamp starts a few steps before it wraps.
template <class Query>
class NearWrap : public Query
{
public:
    template <class... Args>
    explicit NearWrap(const Args&... args) : Query(args...)
    {
        this->setStamp(0xFFFFFFFFu - 40u);
    }
    std::uint32_t currentStamp() const { return this->stamp(); }
};

/// A closed sphere with its vertices nudged off the regular pattern, so that queries land on
/// distinct triangles and ties are rare.
oxGeom::CompactMesh jitteredSphere()
{
    oxGeom::CompactMesh mesh = fixtures::icosphere(4, 1.0f);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> scale(0.97f, 1.03f);
    oxGeom::MeshVertex* vertices = mesh.getVertices();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const float s = scale(random);
        for (int k = 0; k < 3; ++k)
            vertices[v][k] *= s;
    }
    return mesh;
}
}  // namespace

TEST(StressSharedOctree, queryObjectsPerThreadMatchSerialRun)
{
    const testsupport::RayQueryScene scene(jitteredSphere());
    ASSERT_GT(scene.octree.getNumLeaves(), 16);
    const QueryInputs inputs = makeInputs(2024);
    const QueryRun serial = runAll(scene, inputs, queryOrder(0, queriesPerKind));

    // The serial run must itself be meaningful: rays hit, points fall on both sides.
    int rayHits = 0, insideCount = 0;
    for (int q = 0; q < queriesPerKind; ++q)
    {
        rayHits += serial.ray[size_t(q)][0] != 0;
        insideCount += serial.inside[size_t(q)][0] == oxGeom::MeshPtInside::Inside;
    }
    EXPECT_GT(rayHits, queriesPerKind / 4);
    EXPECT_GT(insideCount, 0);
    EXPECT_LT(insideCount, queriesPerKind);

    for (int threads : {2, 4, 8})
    {
        std::vector<QueryRun> runs(static_cast<size_t>(threads));
        testsupport::runTogether(
            threads, [&](int t)
            { runs[size_t(t)] = runAll(scene, inputs, queryOrder(t + 1, queriesPerKind)); });
        for (int t = 0; t < threads; ++t)
            expectSameAsSerial(serial, runs[size_t(t)], threads, t);
    }
}

TEST(StressSharedOctree, visitStampsWrappingInEveryThreadKeepResults)
{
    // Each thread's tracers and closest-point object start a few queries before their visit
    // stamp wraps, so the marks are cleared in the middle of the run, in every thread at once.
    const testsupport::RayQueryScene scene(jitteredSphere());
    const QueryInputs inputs = makeInputs(77);
    const QueryRun serial = runAll(scene, inputs, queryOrder(0, queriesPerKind));
    constexpr int threads = 4;
    std::vector<QueryRun> runs(static_cast<size_t>(threads));
    testsupport::runTogether(
        threads,
        [&](int t)
        {
            QueryRun& run = runs[size_t(t)];
            for (auto* table : {&run.closest, &run.ray, &run.packet})
                table->resize(size_t(queriesPerKind));
            NearWrap<oxGeom::MeshClosestPoint> closest(scene.mesh, scene.octree, scene.tris);
            NearWrap<oxGeom::RayTracer> tracer(scene.octree, scene.tris, &scene.mesh);
            tracer.setFindNearestHit(true);
            NearWrap<oxGeom::QuadRayTracer> quadTracer(scene.octree, scene.tris, &scene.mesh);
            for (int q : queryOrder(t, queriesPerKind))
            {
                oxGeom::MeshCoord coord;
                appendBits(run.closest[size_t(q)], closest.compute(inputs.points[q], &coord));
                appendBits(run.closest[size_t(q)], coord.triangle);
                for (double w : coord.weights)
                    appendBits(run.closest[size_t(q)], w);
                const bool hit = tracer.intersect(inputs.origins[q], inputs.directions[q]);
                appendBits(run.ray[size_t(q)], hit);
                if (hit)
                {
                    appendBits(run.ray[size_t(q)], tracer.intersectionDist());
                    appendBits(run.ray[size_t(q)], tracer.intersectionTriangle());
                    appendBits(run.ray[size_t(q)], tracer.intersectionBaryU());
                    appendBits(run.ray[size_t(q)], tracer.intersectionBaryV());
                }
                const VectorFlt* d = &inputs.packetDirs[4 * size_t(q)];
                oxGeom::QuadRay packet(inputs.origins[q], d[0], d[1], d[2], d[3], false);
                quadTracer.intersect(packet);
                for (int lane = 0; lane < 4; ++lane)
                {
                    appendBits(run.packet[size_t(q)], packet.triHit(lane));
                    appendBits(run.packet[size_t(q)], quadTracer.triangleIndex(packet, lane));
                    if (packet.triHit(lane))
                    {
                        appendBits(run.packet[size_t(q)], packet.triIntersectionRayParam(lane));
                        appendBits(run.packet[size_t(q)], packet.triIntersectionBaryU(lane));
                        appendBits(run.packet[size_t(q)], packet.triIntersectionBaryV(lane));
                    }
                }
            }
            EXPECT_LT(closest.currentStamp(), 1000u) << "the stamp never wrapped";
            EXPECT_LT(tracer.currentStamp(), 1000u) << "the stamp never wrapped";
        });
    for (int t = 0; t < threads; ++t)
    {
        EXPECT_EQ(firstDifference(serial.closest, runs[size_t(t)].closest), -1) << "thread " << t;
        EXPECT_EQ(firstDifference(serial.ray, runs[size_t(t)].ray), -1) << "thread " << t;
        EXPECT_EQ(firstDifference(serial.packet, runs[size_t(t)].packet), -1) << "thread " << t;
    }
}
