// Ray casting through the octree: RayTracer (single rays, first-hit and nearest modes) and
// QuadRayTracer (four-ray packets, nearest and first-hit lanes) against Embree 3
// (rtcIntersect1 / rtcIntersect4 for nearest hits, rtcOccluded1 / rtcOccluded4 for any hit) on
// the same rays, with the same number of threads, all in one process and alternately.
// Rays: (a) primary rays from one eye point through a 256 x 256 grid of image points, packets
// of 2 x 2 neighbouring pixels; (b) ambient-occlusion rays, four per surface point, over the
// hemisphere from a Hammersley set (bit-reversed base 2 against scrambled base 3), rotated into
// the point's normal frame: uniform ("ao:1") or cosine-weighted ("ao:2"). Counters are millions of
// rays per second; "quad_vs_int1" is QuadRayTracer's nearest-hit rate over rtcIntersect1's,
// "occl_vs_occ1" QuadRayTracer's first-hit rate over rtcOccluded1's (above 1: the library is
// faster).

#include <oxGeom/Hammersley.h>
#include <oxGeom/QuadRay.h>
#include <oxGeom/RayTracer.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/sampling.h>

#include <benchmark/benchmark.h>
#include <embree3/rtcore.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "benchMeshes.h"

namespace
{
using oxLinear::PointFlt;
using oxLinear::Vector;
using oxLinear::VectorFlt;

// ---- meshes ---------------------------------------------------------------------------------

// A sphere whose radius grows with the square root of the triangle count, so that triangles keep
// an area of about 1: the triangle test's determinant limit (1e-6, absolute) then never decides
// a hit, whatever the resolution.
oxGeom::CompactMesh unitAreaSphere(int numTriangles)
{
    const int k = benchMeshes::geodesicSubdivision(numTriangles);
    return benchMeshes::geodesicSphere(numTriangles, std::sqrt(20.0 * k * k / (4.0 * M_PI)));
}

// ---- the scene: mesh, the library's index, Embree's --------------------------------------------

// The octree's leaf size: 16, as the mesh cache builds it, unless TRELM_BENCH_LEAF_SIZE says
// otherwise (to see how the tracers scale with the leaf size).
int leafSize()
{
    const char* value = std::getenv("TRELM_BENCH_LEAF_SIZE");
    return value != nullptr && std::atoi(value) > 0 ? std::atoi(value) : 16;
}

struct Scene
{
    Scene(int kind, int numTriangles)
        : mesh(kind == 0 ? unitAreaSphere(numTriangles) : benchMeshes::scanSurface(numTriangles))
    {
        oxGeom::meshBoundingBox(mesh, bounds);
        octree = new oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true,
                                    leafSize());
        tris = new oxGeom::OctreeTris;
        oxGeom::computeOctreeTris(mesh, *octree, *tris);

        device = rtcNewDevice("threads=2");
        // Embree reads vertex buffers 16 bytes at a time: one padded copy.
        const size_t floats = 3 * static_cast<size_t>(mesh.getNumVertices());
        vertices.assign(floats + 1, 0.0f);
        std::copy(mesh.getVerticesRaw(), mesh.getVerticesRaw() + floats, vertices.begin());
        embree = rtcNewScene(device);
        RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                   vertices.data(), 0, 3 * sizeof(float),
                                   static_cast<size_t>(mesh.getNumVertices()));
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                   mesh.getTrianglesRaw(), 0, 3 * sizeof(int),
                                   static_cast<size_t>(mesh.getNumTriangles()));
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(embree, geometry);
        rtcReleaseGeometry(geometry);
        rtcCommitScene(embree);
    }
    ~Scene()
    {
        rtcReleaseScene(embree);
        rtcReleaseDevice(device);
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    oxGeom::CompactMesh mesh;
    oxGeom::BoundingBox bounds;
    ox::Reference<oxGeom::Octree> octree;
    ox::Reference<oxGeom::OctreeTris> tris;
    std::vector<float> vertices;
    RTCDevice device;
    RTCScene embree;
};

// One scene at a time keeps the peak memory of the 5M runs down.
const Scene& benchScene(int kind, int numTriangles)
{
    static std::unique_ptr<Scene> scene;
    static int sceneKind = -1, sceneTriangles = -1;
    if (kind != sceneKind || numTriangles != sceneTriangles)
    {
        scene.reset();
        scene.reset(new Scene(kind, numTriangles));
        sceneKind = kind;
        sceneTriangles = numTriangles;
    }
    return *scene;
}

// ---- rays -----------------------------------------------------------------------------------

// Packets of four rays with a common origin; the single-ray methods trace each lane alone.
struct Packet
{
    PointFlt origin;
    VectorFlt d[4];
};

constexpr int imageSide = 256;
constexpr int numPackets = imageSide * imageSide / 4;

// Primary rays: an eye point in front of the mesh (on the -z side of the sphere; above and
// beside the terrain), aimed at a 512 x 512 grid of points covering the mesh's extent in the
// plane through its centre; packets are 2 x 2 pixel tiles.
std::vector<Packet> primaryRays(const Scene& scene, int kind)
{
    const oxGeom::BoundingBox& b = scene.bounds;
    const float cx = 0.5f * (b[0] + b[3]), cy = 0.5f * (b[1] + b[4]), cz = 0.5f * (b[2] + b[5]);
    const float sx = b[3] - b[0], sy = b[4] - b[1];
    const PointFlt eye = kind == 0 ? PointFlt(cx, cy, cz - 1.5f * std::max(sx, sy))
                                   : PointFlt(cx, b[1] - 0.3f * sy, b[5] + 0.5f * std::max(sx, sy));
    std::vector<Packet> packets;
    packets.reserve(numPackets);
    for (int ty = 0; ty < imageSide; ty += 2)
        for (int tx = 0; tx < imageSide; tx += 2)
        {
            Packet p;
            p.origin = eye;
            for (int lane = 0; lane < 4; ++lane)
            {
                const float u = (tx + (lane & 1) + 0.5f) / imageSide - 0.5f;
                const float v = (ty + (lane >> 1) + 0.5f) / imageSide - 0.5f;
                const PointFlt target(cx + 1.1f * sx * u, cy + 1.1f * sy * v, cz);
                p.d[lane] = VectorFlt(target[0] - eye[0], target[1] - eye[1], target[2] - eye[2])
                                .normalized();
            }
            packets.push_back(p);
        }
    return packets;
}

// Ambient-occlusion rays: a seeded surface point per packet, lifted off its triangle by a
// thousandth of a unit along the hemisphere's axis (triangles have edges of about one unit),
// four uniform hemisphere directions from the Hammersley set. The sphere's points look inwards
// (outward rays would all escape a convex mesh); the terrain's look up.
std::vector<Packet> occlusionRays(const Scene& scene, int kind, bool cosineWeighted)
{
    oxGeom::HammersleyPermutation2 base2;
    base2.calculate(15);
    oxGeom::ScrambledHammersleySequence base3;
    base3.calculate(3, 4 * numPackets);
    std::mt19937 random(11);
    std::uniform_int_distribution<int> pick(0, scene.mesh.getNumTriangles() - 1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const oxGeom::MeshVertex* v = scene.mesh.getVertices();
    std::vector<Packet> packets;
    packets.reserve(numPackets);
    for (int p = 0; p < numPackets; ++p)
    {
        const oxGeom::MeshTriangle& t = scene.mesh.getTriangles()[pick(random)];
        double r1 = unit(random), r2 = unit(random);
        if (r1 + r2 > 1.0)
        {
            r1 = 1.0 - r1;
            r2 = 1.0 - r2;
        }
        Vector a(v[t[0]][0], v[t[0]][1], v[t[0]][2]);
        Vector e1(v[t[1]][0] - a[0], v[t[1]][1] - a[1], v[t[1]][2] - a[2]);
        Vector e2(v[t[2]][0] - a[0], v[t[2]][1] - a[1], v[t[2]][2] - a[2]);
        const Vector point = a + r1 * e1 + r2 * e2;
        Vector normal = oxLinear::cross(e1, e2).normalized();
        const double outwards = oxLinear::dot(normal, point);
        if ((kind == 0 && outwards > 0.0) || (kind == 1 && normal[2] < 0.0))
            normal = -normal;
        const Vector tangent = normal.orthogonalVector();
        const Vector bitangent = oxLinear::cross(normal, tangent);
        Packet packet;
        const Vector origin = point + 1e-3 * normal;
        packet.origin = PointFlt(float(origin[0]), float(origin[1]), float(origin[2]));
        for (int lane = 0; lane < 4; ++lane)
        {
            const int i = 4 * p + lane;
            const float u = float(base2[i]) / float(base2.size());
            VectorFlt local;
            if (cosineWeighted)
            {
                // The uniform disk point of radius sqrt(v), lifted onto the hemisphere.
                const float radius = std::sqrt(base3[i]), phi = 6.2831855f * u;
                local = VectorFlt(radius * std::cos(phi), radius * std::sin(phi),
                                  std::sqrt(std::max(0.0f, 1.0f - base3[i])));
            }
            else
                oxGeom::mapSphericalCapToUniformCartesian(u, base3[i], 1.0f, local);
            const Vector d = double(local[0]) * tangent + double(local[1]) * bitangent +
                             double(local[2]) * normal;
            packet.d[lane] = VectorFlt(float(d[0]), float(d[1]), float(d[2]));
        }
        packets.push_back(packet);
    }
    return packets;
}

// ---- the methods ----------------------------------------------------------------------------

enum Method
{
    RayFirstHit,
    RayNearest,
    QuadNearest,
    QuadFirstHit,
    EmbreeIntersect1,
    EmbreeIntersect4,
    EmbreeOccluded1,
    EmbreeOccluded4,
    numMethods
};
const char* const methodNames[numMethods] = {"ray_first",  "ray_nearest", "quad_nearest",
                                             "quad_first", "e_int1",      "e_int4",
                                             "e_occ1",     "e_occ4"};

// Per-thread tracers, built once per benchmark outside the timing (their marks are O(T)).
struct ThreadTracers
{
    ThreadTracers(const Scene& s)
        : single(*s.octree, *s.tris, &s.mesh), quad(*s.octree, *s.tris, &s.mesh)
    {
    }
    oxGeom::RayTracer single;
    oxGeom::QuadRayTracer quad;
};

void fillEmbreeRay(const Packet& p, int lane, RTCRay& ray)
{
    ray.org_x = p.origin[0];
    ray.org_y = p.origin[1];
    ray.org_z = p.origin[2];
    ray.tnear = 0.0f;
    ray.dir_x = p.d[lane][0];
    ray.dir_y = p.d[lane][1];
    ray.dir_z = p.d[lane][2];
    ray.time = 0.0f;
    ray.tfar = std::numeric_limits<float>::infinity();
    ray.mask = 0xffffffffu;
    ray.id = 0;
    ray.flags = 0;
}

void fillEmbreeRay4(const Packet& p, RTCRay4& ray)
{
    for (int lane = 0; lane < 4; ++lane)
    {
        ray.org_x[lane] = p.origin[0];
        ray.org_y[lane] = p.origin[1];
        ray.org_z[lane] = p.origin[2];
        ray.tnear[lane] = 0.0f;
        ray.dir_x[lane] = p.d[lane][0];
        ray.dir_y[lane] = p.d[lane][1];
        ray.dir_z[lane] = p.d[lane][2];
        ray.time[lane] = 0.0f;
        ray.tfar[lane] = std::numeric_limits<float>::infinity();
        ray.mask[lane] = 0xffffffffu;
        ray.id[lane] = 0;
        ray.flags[lane] = 0;
    }
}

// Traces packets [begin, end) with one method; returns the number of rays that hit.
long tracePackets(Method method, const Scene& scene, ThreadTracers& tracers,
                  const std::vector<Packet>& packets, size_t begin, size_t end)
{
    long hits = 0;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    const int valid[4] = {-1, -1, -1, -1};
    for (size_t i = begin; i < end; ++i)
    {
        const Packet& p = packets[i];
        switch (method)
        {
            case RayFirstHit:
            case RayNearest:
                tracers.single.setFindNearestHit(method == RayNearest);
                for (int lane = 0; lane < 4; ++lane)
                {
                    const Vector d(p.d[lane][0], p.d[lane][1], p.d[lane][2]);
                    hits += tracers.single.intersect(p.origin, d) ? 1 : 0;
                }
                break;
            case QuadNearest:
            case QuadFirstHit:
            {
                oxGeom::QuadRay packet(p.origin, p.d[0], p.d[1], p.d[2], p.d[3],
                                       method == QuadFirstHit);
                tracers.quad.intersect(packet);
                for (int lane = 0; lane < 4; ++lane)
                    hits += packet.triHit(lane) ? 1 : 0;
                break;
            }
            case EmbreeIntersect1:
                for (int lane = 0; lane < 4; ++lane)
                {
                    RTCRayHit rayhit;
                    fillEmbreeRay(p, lane, rayhit.ray);
                    rayhit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
                    rtcIntersect1(scene.embree, &context, &rayhit);
                    hits += rayhit.hit.geomID != RTC_INVALID_GEOMETRY_ID ? 1 : 0;
                }
                break;
            case EmbreeIntersect4:
            {
                RTCRayHit4 rayhit;
                fillEmbreeRay4(p, rayhit.ray);
                for (int lane = 0; lane < 4; ++lane)
                    rayhit.hit.geomID[lane] = RTC_INVALID_GEOMETRY_ID;
                rtcIntersect4(valid, scene.embree, &context, &rayhit);
                for (int lane = 0; lane < 4; ++lane)
                    hits += rayhit.hit.geomID[lane] != RTC_INVALID_GEOMETRY_ID ? 1 : 0;
                break;
            }
            case EmbreeOccluded1:
                for (int lane = 0; lane < 4; ++lane)
                {
                    RTCRay ray;
                    fillEmbreeRay(p, lane, ray);
                    rtcOccluded1(scene.embree, &context, &ray);
                    hits += ray.tfar < 0.0f ? 1 : 0;  // an occluded ray's tfar becomes -inf
                }
                break;
            case EmbreeOccluded4:
            {
                RTCRay4 ray;
                fillEmbreeRay4(p, ray);
                rtcOccluded4(valid, scene.embree, &context, &ray);
                for (int lane = 0; lane < 4; ++lane)
                    hits += ray.tfar[lane] < 0.0f ? 1 : 0;
                break;
            }
            default:
                break;
        }
    }
    return hits;
}

/// CPU seconds the calling thread has used so far.
double threadCpuSeconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Seconds for one method over all packets on `threads` threads (contiguous slices): the CPU
// time of the busiest thread, which is the run time on an idle machine and, unlike the wall
// time, does not grow when other processes take the cores.
double runMethod(Method method, const Scene& scene,
                 std::vector<std::unique_ptr<ThreadTracers>>& tracers,
                 const std::vector<Packet>& packets, long& hits)
{
    const int threads = static_cast<int>(tracers.size());
    std::vector<long> threadHits(static_cast<size_t>(threads), 0);
    std::vector<double> threadSeconds(static_cast<size_t>(threads), 0.0);
    auto slice = [&](int t)
    {
        const double start = threadCpuSeconds();
        const size_t begin = packets.size() * t / threads;
        const size_t end = packets.size() * (t + 1) / threads;
        threadHits[static_cast<size_t>(t)] =
            tracePackets(method, scene, *tracers[static_cast<size_t>(t)], packets, begin, end);
        threadSeconds[static_cast<size_t>(t)] = threadCpuSeconds() - start;
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t)
        pool.emplace_back(slice, t);
    slice(0);
    for (std::thread& thread : pool)
        thread.join();
    hits = 0;
    for (long h : threadHits)
        hits += h;
    return *std::max_element(threadSeconds.begin(), threadSeconds.end());
}

// ---- the benchmark --------------------------------------------------------------------------

// Arguments: triangles, mesh kind (0 sphere, 1 scan), rays (0 primary, 1 uniform occlusion,
// 2 cosine-weighted occlusion), threads.
void BM_rayTracersVsEmbree(benchmark::State& state)
{
    const int kind = static_cast<int>(state.range(1));
    const Scene& scene = benchScene(kind, static_cast<int>(state.range(0)));
    const std::vector<Packet> packets = state.range(2) == 0
                                            ? primaryRays(scene, kind)
                                            : occlusionRays(scene, kind, state.range(2) == 2);
    std::vector<std::unique_ptr<ThreadTracers>> tracers;
    for (int t = 0; t < state.range(3); ++t)
        tracers.emplace_back(new ThreadTracers(scene));

    double seconds[numMethods] = {};
    long hits[numMethods] = {};
    for (auto _ : state)
    {
        double quadSeconds = 0.0;
        for (int m = 0; m < numMethods; ++m)
        {
            const double s = runMethod(static_cast<Method>(m), scene, tracers, packets, hits[m]);
            seconds[m] += s;
            if (m == QuadNearest)
                quadSeconds = s;
        }
        state.SetIterationTime(quadSeconds);
    }
    const double rays = 4.0 * packets.size() * static_cast<double>(state.iterations());
    for (int m = 0; m < numMethods; ++m)
        state.counters[methodNames[m]] = rays / seconds[m] * 1e-6;
    state.counters["quad_vs_int1"] = seconds[EmbreeIntersect1] / seconds[QuadNearest];
    state.counters["occl_vs_occ1"] = seconds[EmbreeOccluded1] / seconds[QuadFirstHit];
    // Hit fractions of the last pass, nearest-hit library against Embree: the same rays should
    // hit, up to rounding at silhouettes.
    state.counters["hit_lib"] = hits[QuadNearest] / (4.0 * packets.size());
    state.counters["hit_embree"] = hits[EmbreeIntersect1] / (4.0 * packets.size());
    state.SetItemsProcessed(state.iterations() * 4 * static_cast<int64_t>(packets.size()));
}

void sizesMeshesRaysThreads(benchmark::internal::Benchmark* b)
{
    // Grouped by mesh: the scene is built once per mesh.
    for (int triangles : {100000, 1000000, 5000000})
        for (int rays : {1, 2, 0})
            for (int threads : {1, 2})
                b->Args({triangles, 0, rays, threads});
    for (int rays : {1, 2, 0})
        for (int threads : {1, 2})
            b->Args({1000000, 1, rays, threads});
    b->ArgNames({"tris", "scan", "ao", "threads"})
        ->UseManualTime()
        ->Iterations(3)
        ->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_rayTracersVsEmbree)->Apply(sizesMeshesRaysThreads);

BENCHMARK_MAIN();
