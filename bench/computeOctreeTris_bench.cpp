// Building the spatial index of a mesh: the octree over the vertices plus computeOctreeTris,
// against Embree 3's BVH build (rtcCommitScene at default quality) and CGAL's AABB tree build,
// all three on the same triangles in one process, alternately. "vs_embree" and "vs_cgal" are
// peer time / library time (above 1 means the library is faster); "octree_share" is the part of
// the library time spent building the octree.

#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxUtil/ThreadPool.h>

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Simple_cartesian.h>
#include <benchmark/benchmark.h>
#include <embree3/rtcore.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;
using benchMeshes::geodesicSphere;
using benchMeshes::scanSurface;
using benchMeshes::secondsSince;

// ---- meshes ---------------------------------------------------------------------------------

// The meshes, each built once per process and shared by the runs that use it.
const oxGeom::CompactMesh& benchMesh(int kind, int numTriangles)
{
    static std::vector<std::pair<std::pair<int, int>, std::unique_ptr<oxGeom::CompactMesh>>> cache;
    for (auto& entry : cache)
        if (entry.first == std::make_pair(kind, numTriangles))
            return *entry.second;
    cache.clear();  // one mesh at a time keeps the peak memory of the 5M runs down
    auto mesh = std::make_unique<oxGeom::CompactMesh>(kind == 0 ? geodesicSphere(numTriangles)
                                                                : scanSurface(numTriangles));
    cache.emplace_back(std::make_pair(kind, numTriangles), std::move(mesh));
    return *cache.back().second;
}

// ---- the library ----------------------------------------------------------------------------

struct LibraryTimes
{
    double octree = 0, partition = 0;
};

LibraryTimes buildLibraryIndex(const oxGeom::CompactMesh& mesh)
{
    LibraryTimes times;
    const auto start = Clock::now();
    oxGeom::BoundingBox bounds;
    oxGeom::meshBoundingBox(mesh, bounds);
    ox::Reference<oxGeom::Octree> octree(
        new oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, 16));
    times.octree = secondsSince(start);
    const auto partitionStart = Clock::now();
    ox::Reference<oxGeom::OctreeTris> tris(new oxGeom::OctreeTris);
    oxGeom::computeOctreeTris(mesh, *octree, *tris);
    times.partition = secondsSince(partitionStart);
    benchmark::DoNotOptimize(tris->getData().getTotalSize());
    return times;
}

// ---- Embree ---------------------------------------------------------------------------------

class EmbreeBuild
{
public:
    EmbreeBuild(const oxGeom::CompactMesh& mesh, int threads) : m_mesh(mesh)
    {
        const std::string config = "threads=" + std::to_string(threads);
        m_device = rtcNewDevice(config.c_str());
        // Embree reads vertex buffers 16 bytes at a time, so the shared buffer needs 4 bytes of
        // padding after the last vertex: one padded copy, made outside the timing.
        const size_t floats = 3 * static_cast<size_t>(mesh.getNumVertices());
        m_vertices.assign(floats + 1, 0.0f);
        std::copy(mesh.getVerticesRaw(), mesh.getVerticesRaw() + floats, m_vertices.begin());
    }
    ~EmbreeBuild() { rtcReleaseDevice(m_device); }

    // Seconds spent in rtcCommitScene; the scene is set up and released outside the timing.
    double run()
    {
        RTCScene scene = rtcNewScene(m_device);
        RTCGeometry geometry = rtcNewGeometry(m_device, RTC_GEOMETRY_TYPE_TRIANGLE);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                   m_vertices.data(), 0, 3 * sizeof(float),
                                   static_cast<size_t>(m_mesh.getNumVertices()));
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                   m_mesh.getTrianglesRaw(), 0, 3 * sizeof(int),
                                   static_cast<size_t>(m_mesh.getNumTriangles()));
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene, geometry);
        rtcReleaseGeometry(geometry);
        const auto start = Clock::now();
        rtcCommitScene(scene);
        const double seconds = secondsSince(start);
        rtcReleaseScene(scene);
        return seconds;
    }

private:
    const oxGeom::CompactMesh& m_mesh;
    RTCDevice m_device;
    std::vector<float> m_vertices;
};

// ---- CGAL -----------------------------------------------------------------------------------

using Kernel = CGAL::Simple_cartesian<double>;
using CgalTriangles = std::vector<Kernel::Triangle_3>;
using CgalPrimitive = CGAL::AABB_triangle_primitive<Kernel, CgalTriangles::const_iterator>;
using CgalTree = CGAL::AABB_tree<CGAL::AABB_traits<Kernel, CgalPrimitive>>;

CgalTriangles cgalTriangles(const oxGeom::CompactMesh& mesh)
{
    CgalTriangles triangles;
    triangles.reserve(static_cast<size_t>(mesh.getNumTriangles()));
    const oxGeom::MeshVertex* v = mesh.getVertices();
    auto point = [&](int i) { return Kernel::Point_3(v[i][0], v[i][1], v[i][2]); };
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
        triangles.emplace_back(point(t[0]), point(t[1]), point(t[2]));
    }
    return triangles;
}

// Seconds to construct the tree over the triangles and build its hierarchy (no distance-query
// acceleration); the tree is destroyed outside the timing.
double cgalBuild(const CgalTriangles& triangles)
{
    const auto start = Clock::now();
    auto tree = std::make_unique<CgalTree>(triangles.begin(), triangles.end());
    tree->build();
    const double seconds = secondsSince(start);
    tree.reset();
    return seconds;
}

// ---- the benchmark --------------------------------------------------------------------------

// Arguments: triangles, threads, mesh kind (0 sphere, 1 scan).
void BM_octreeTrisVsPeers(benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(1));
    const oxGeom::CompactMesh& mesh =
        benchMesh(static_cast<int>(state.range(2)), static_cast<int>(state.range(0)));
    oxUtil::ThreadPool::get().setNumThreads(threads);
    EmbreeBuild embree(mesh, threads);
    const CgalTriangles triangles = cgalTriangles(mesh);

    double library = 0, octree = 0, embreeSeconds = 0, cgalSeconds = 0;
    for (auto _ : state)
    {
        const LibraryTimes times = buildLibraryIndex(mesh);
        embreeSeconds += embree.run();
        cgalSeconds += cgalBuild(triangles);
        library += times.octree + times.partition;
        octree += times.octree;
        state.SetIterationTime(times.octree + times.partition);
    }
    state.counters["vs_embree"] = embreeSeconds / library;
    state.counters["vs_cgal"] = cgalSeconds / library;
    state.counters["octree_share"] = octree / library;
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(mesh.getNumTriangles()));
}

void sizesThreadsAndMeshes(benchmark::internal::Benchmark* b)
{
    for (int kind : {0, 1})
        for (int triangles : {100000, 1000000, 5000000})
            for (int threads : {1, 2})
                b->Args({triangles, threads, kind});
    b->ArgNames({"tris", "threads", "scan"})->UseManualTime()->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_octreeTrisVsPeers)->Apply(sizesThreadsAndMeshes);

BENCHMARK_MAIN();
