// meshComputeNormals against the plain serial loop over the same raw arrays: each triangle's
// unit normal added to its three corners in triangle order, then every sum normalised. Both
// give the same bits (checked once per mesh). Each iteration runs both; "vs_loop" is loop time
// / library time (above 1: the library is faster). Meshes are jittered grids numbered row by
// row, as scanners and meshers number them, and the same grids with the vertices renumbered at
// random (order 1), the worst case for the library's per-thread vertex ranges.

#include <oxGeom/oxGeom.h>

#include <oxGeom/meshNormals.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;

// The jittered grid, its vertices in row order or (shuffled) in a random order, so that a
// triangle's corners lie far apart in memory.
oxGeom::CompactMesh jitteredGrid(int numTriangles, bool shuffled)
{
    const auto [nx, ny] = benchMeshes::gridCells(numTriangles);
    std::vector<oxGeom::MeshVertex> vertices =
        benchMeshes::gridVertices(nx, ny, benchMeshes::jitteredVertex);
    std::vector<int> triangles = benchMeshes::gridTriangles(nx, ny);
    if (shuffled)
    {
        std::vector<int> order(vertices.size());
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = static_cast<int>(i);
        std::shuffle(order.begin(), order.end(), std::mt19937(3));
        std::vector<oxGeom::MeshVertex> moved(vertices.size());
        for (size_t i = 0; i < order.size(); ++i)
            moved[static_cast<size_t>(order[i])] = vertices[i];
        vertices.swap(moved);
        for (int& corner : triangles)
            corner = order[static_cast<size_t>(corner)];
    }
    return benchMeshes::makeMesh(vertices, triangles);
}

// The serial loop, written as a host would write it.
void serialNormals(const oxGeom::CompactMesh& mesh, float* normals)
{
    const float* v = mesh.getVerticesRaw();
    const int* t = mesh.getTrianglesRaw();
    const int numVertices = mesh.getNumVertices(), numTriangles = mesh.getNumTriangles();
    std::fill(normals, normals + 3 * static_cast<size_t>(numVertices), 0.0f);
    for (int i = 0; i < numTriangles; ++i)
    {
        const float* p0 = v + 3 * t[3 * i];
        const float* p1 = v + 3 * t[3 * i + 1];
        const float* p2 = v + 3 * t[3 * i + 2];
        const double a[3] = {double(p2[0]) - p1[0], double(p2[1]) - p1[1], double(p2[2]) - p1[2]};
        const double b[3] = {double(p0[0]) - p1[0], double(p0[1]) - p1[1], double(p0[2]) - p1[2]};
        double n[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                       a[0] * b[1] - a[1] * b[0]};
        const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        if (length > 0.0)
            n[0] /= length, n[1] /= length, n[2] /= length;
        else
            n[0] = 0.0, n[1] = 0.0, n[2] = 1.0;
        for (int k = 0; k < 3; ++k)
        {
            float* sum = normals + 3 * t[3 * i + k];
            sum[0] += static_cast<float>(n[0]);
            sum[1] += static_cast<float>(n[1]);
            sum[2] += static_cast<float>(n[2]);
        }
    }
    for (int i = 0; i < numVertices; ++i)
    {
        float* sum = normals + 3 * i;
        const double x = sum[0], y = sum[1], z = sum[2];
        const double length = std::sqrt(x * x + y * y + z * z);
        if (length > 0.0)
            sum[0] = float(x / length), sum[1] = float(y / length), sum[2] = float(z / length);
        else
            sum[0] = sum[1] = sum[2] = 0.0f;
    }
}

struct BenchMesh
{
    oxGeom::CompactMesh mesh;
    std::vector<float> loopNormals;
    BenchMesh(int numTriangles, bool shuffled) : mesh(jitteredGrid(numTriangles, shuffled))
    {
        loopNormals.resize(3 * static_cast<size_t>(mesh.getNumVertices()));
        serialNormals(mesh, loopNormals.data());
        oxGeom::meshComputeNormals(mesh);
        if (!std::equal(loopNormals.begin(), loopNormals.end(), mesh.getNormalsRaw()))
        {
            std::fprintf(stderr, "meshComputeNormals differs from the serial loop\n");
            std::exit(1);
        }
    }
};

BenchMesh& benchMesh(int numTriangles, bool shuffled)
{
    static std::vector<std::pair<int, std::unique_ptr<BenchMesh>>> meshes;
    const int key = 2 * numTriangles + (shuffled ? 1 : 0);
    for (auto& entry : meshes)
        if (entry.first == key)
            return *entry.second;
    meshes.emplace_back(key, std::make_unique<BenchMesh>(numTriangles, shuffled));
    return *meshes.back().second;
}

void BM_meshComputeNormals(benchmark::State& state)
{
    BenchMesh& bench = benchMesh(static_cast<int>(state.range(0)), state.range(2) != 0);
    oxUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
    double loopSeconds = 0, librarySeconds = 0;
    for (auto _ : state)
    {
        const auto t0 = Clock::now();
        serialNormals(bench.mesh, bench.loopNormals.data());
        benchmark::DoNotOptimize(bench.loopNormals.data());
        const auto t1 = Clock::now();
        oxGeom::meshComputeNormals(bench.mesh);
        benchmark::DoNotOptimize(bench.mesh.getNormalsRaw());
        const auto t2 = Clock::now();
        loopSeconds += std::chrono::duration<double>(t1 - t0).count();
        const double seconds = std::chrono::duration<double>(t2 - t1).count();
        librarySeconds += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["vs_loop"] = loopSeconds / librarySeconds;
    state.counters["Mvertices_per_s"] = static_cast<double>(state.iterations()) *
                                        bench.mesh.getNumVertices() / librarySeconds / 1e6;
}

void sizesThreadsOrders(benchmark::internal::Benchmark* b)
{
    for (int order : {0, 1})
        for (int triangles : {100000, 1000000, 5000000})
            for (int threads : {1, 2})
                b->Args({triangles, threads, order});
    b->ArgNames({"tris", "threads", "order"})->UseManualTime()->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_meshComputeNormals)->Apply(sizesThreadsOrders);

BENCHMARK_MAIN();
