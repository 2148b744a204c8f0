// meshCompact on unwelded meshes (every triangle corner its own vertex) against
// (a) meshoptimizer's hashing weld (generateVertexRemap + remapVertexBuffer +
// remapIndexBuffer) and (b) the floor: one serial std::sort of an index array
// with the same lexicographic key, the run walk and the remap, on the same
// arrays. All three run in one iteration on fresh copies of one input; the copies
// are not timed. "vs_floor" and "vs_meshopt" are the peer's time / library time.

#include <oxGeom/meshCompact.h>
#include <oxUtil/ThreadPool.h>

#include <benchmark/benchmark.h>
#include <meshoptimizer.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;
using benchMeshes::secondsSince;

// A jittered height-field grid of about `numTriangles` triangles, unwelded: corner
// k of triangle t is vertex 3t + k, the layout a triangle-soup file (STL) gives.
struct SoupMesh
{
    std::vector<float> positions;
    std::vector<int> triangles;
    oxGeom::CompactMesh mesh;

    explicit SoupMesh(int numTriangles)
    {
        const auto [nx, ny] = benchMeshes::gridCells(numTriangles);
        const std::vector<oxGeom::MeshVertex> grid =
            benchMeshes::gridVertices(nx, ny, benchMeshes::jitteredVertex);
        for (int corner : benchMeshes::gridTriangles(nx, ny))
            positions.insert(positions.end(), grid[corner].v, grid[corner].v + 3);
        triangles.resize(positions.size() / 3);
        std::iota(triangles.begin(), triangles.end(), 0);
        const int n = static_cast<int>(triangles.size());
        mesh = oxGeom::CompactMesh(n, reinterpret_cast<const oxGeom::MeshVertex*>(positions.data()),
                                   nullptr, nullptr, nullptr);
        mesh.copyTriangles(n / 3, triangles.data());
    }
};

const SoupMesh& soupMesh(int numTriangles)
{
    static std::vector<std::pair<int, std::unique_ptr<SoupMesh>>> meshes;
    for (auto& entry : meshes)
        if (entry.first == numTriangles)
            return *entry.second;
    meshes.emplace_back(numTriangles, std::make_unique<SoupMesh>(numTriangles));
    return *meshes.back().second;
}

// The library's key: x, y, z widened to double, lexicographic.
struct PositionLess
{
    const float* p;
    bool operator()(int a, int b) const
    {
        for (int k = 0; k < 3; ++k)
        {
            const double x = p[3 * a + k], y = p[3 * b + k];
            if (x < y)
                return true;
            if (x > y)
                return false;
        }
        return false;
    }
};

// The floor: serial sort, run walk, positions moved through a scratch array,
// triangles rewritten.
void floorWeld(std::vector<float>& positions, std::vector<int>& triangles)
{
    const int n = static_cast<int>(positions.size() / 3);
    const float* p = positions.data();
    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), PositionLess{p});
    std::vector<int> map(n);
    int count = 0;
    for (int i = 0; i < n; ++i)
    {
        const int a = order[i], b = i > 0 ? order[i - 1] : a;
        if (i > 0 && p[3 * a] == p[3 * b] && p[3 * a + 1] == p[3 * b + 1] &&
            p[3 * a + 2] == p[3 * b + 2])
        {
            map[a] = count - 1;
            order[i] = b;
        }
        else
        {
            map[a] = count++;
        }
    }
    std::vector<float> scratch(3 * static_cast<size_t>(count));
    for (int i = 0; i < n; ++i)
        std::memcpy(&scratch[3 * static_cast<size_t>(map[i])], p + 3 * static_cast<size_t>(i),
                    3 * sizeof(float));
    positions.swap(scratch);
    for (int& index : triangles)
        index = map[index];
}

void meshoptWeld(std::vector<float>& positions, std::vector<int>& triangles)
{
    const size_t n = positions.size() / 3;
    std::vector<unsigned int> remap(n);
    unsigned int* indices = reinterpret_cast<unsigned int*>(triangles.data());
    const size_t count = meshopt_generateVertexRemap(remap.data(), indices, triangles.size(),
                                                     positions.data(), n, 3 * sizeof(float));
    std::vector<float> welded(3 * count);
    meshopt_remapVertexBuffer(welded.data(), positions.data(), n, 3 * sizeof(float), remap.data());
    meshopt_remapIndexBuffer(indices, indices, triangles.size(), remap.data());
    positions.swap(welded);
}

void BM_meshCompact(benchmark::State& state)
{
    const SoupMesh& soup = soupMesh(static_cast<int>(state.range(0)));
    oxUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
    oxGeom::CompactMesh mesh;
    oxGeom::Remap map;
    oxUtil::Progress progress;
    double librarySeconds = 0, floorSeconds = 0, meshoptSeconds = 0;
    int welded = 0;
    for (auto _ : state)
    {
        mesh = soup.mesh;
        Clock::time_point start = Clock::now();
        oxGeom::meshCompact(mesh, progress, map);
        const double seconds = secondsSince(start);
        librarySeconds += seconds;
        state.SetIterationTime(seconds);
        welded = mesh.getNumVertices();

        std::vector<float> positions = soup.positions;
        std::vector<int> triangles = soup.triangles;
        start = Clock::now();
        floorWeld(positions, triangles);
        floorSeconds += secondsSince(start);
        if (static_cast<int>(positions.size() / 3) != welded)
            state.SkipWithError("the floor welded a different number of vertices");

        positions = soup.positions;
        triangles = soup.triangles;
        start = Clock::now();
        meshoptWeld(positions, triangles);
        meshoptSeconds += secondsSince(start);
        if (static_cast<int>(positions.size() / 3) != welded)
            state.SkipWithError("meshoptimizer welded a different number of vertices");
    }
    const double vertices = static_cast<double>(soup.mesh.getNumVertices());
    state.counters["vertices_per_s"] = vertices * state.iterations() / librarySeconds;
    state.counters["vs_floor"] = floorSeconds / librarySeconds;
    state.counters["vs_meshopt"] = meshoptSeconds / librarySeconds;
    state.counters["welded"] = welded;
}

void sizesAndThreads(benchmark::internal::Benchmark* b)
{
    for (int triangles : {100000, 1000000, 5000000})
        for (int threads : {1, 2})
            b->Args({triangles, threads});
    b->ArgNames({"tris", "threads"})->UseManualTime()->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_meshCompact)->Apply(sizesAndThreads);

BENCHMARK_MAIN();
