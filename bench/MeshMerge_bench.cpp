// MeshMerge of eight placed copies of a jittered grid: tiled side by side so
// that neighbouring tiles weld along their shared borders (the merged mesh has
// about 8x the vertices of one copy), and stacked on one spot so that every copy
// welds onto the first. No peer library does this job; the "ns_per_nlogn"
// counters (seconds / (n log2 n), n the merged vertex count, in nanoseconds;
// wall and CPU time) stay flat across sizes when the merge scales as n log n.

#include <oxGeom/MeshMerge.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <list>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;

// A jittered grid of about `numTriangles` triangles over [0, nx] x [0, ny];
// border vertices are not jittered in x and y, so tiles placed nx apart share
// them exactly.
struct Tile
{
    oxGeom::CompactMesh mesh;
    int nx = 1, ny = 1;

    explicit Tile(int numTriangles)
    {
        std::tie(nx, ny) = benchMeshes::gridCells(numTriangles);
        auto vertexAt = [this](int i, int j, std::mt19937& random)
        {
            const bool border = i == 0 || j == 0 || i == nx || j == ny;
            return border ? oxGeom::MeshVertex{{float(i), float(j), 0.0f}}
                          : benchMeshes::jitteredVertex(i, j, random);
        };
        mesh = benchMeshes::makeMesh(benchMeshes::gridVertices(nx, ny, vertexAt),
                                     benchMeshes::gridTriangles(nx, ny));
    }
};

const Tile& tile(int numTriangles)
{
    static std::vector<std::pair<int, std::unique_ptr<Tile>>> tiles;
    for (auto& entry : tiles)
        if (entry.first == numTriangles)
            return *entry.second;
    tiles.emplace_back(numTriangles, std::make_unique<Tile>(numTriangles));
    return *tiles.back().second;
}

// Eight copies in a 4 x 2 arrangement (each shifted by whole tiles), or all on
// the same spot. Both use a non-identity matrix, so every vertex is placed.
std::list<oxGeom::MeshPlacement> eightCopies(const Tile& t, bool tiled)
{
    std::list<oxGeom::MeshPlacement> copies;
    for (int k = 0; k < 8; ++k)
    {
        oxGeom::MeshPlacement p;
        p.mesh = &t.mesh;
        p.matrix[3][0] = tiled ? static_cast<float>((k % 4) * t.nx) : 0.5f;
        p.matrix[3][1] = tiled ? static_cast<float>((k / 4) * t.ny) : 0.5f;
        copies.push_back(p);
    }
    return copies;
}

void mergeCopies(benchmark::State& state, bool tiled)
{
    const Tile& t = tile(static_cast<int>(state.range(0)));
    const std::list<oxGeom::MeshPlacement> copies = eightCopies(t, tiled);
    int merged = 0;
    double seconds = 0, cpuSeconds = 0;
    for (auto _ : state)
    {
        oxGeom::CompactMesh destination;
        oxUtil::Progress progress;
        const auto start = Clock::now();
        const std::clock_t cpuStart = std::clock();
        oxGeom::MeshMerge(destination, copies, 1e-4f).merge(progress);
        cpuSeconds += static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
        const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(elapsed);
        seconds += elapsed;
        merged = destination.getNumVertices();
    }
    // Per merged vertex and log2 of the merged count, in nanoseconds: flat when
    // the merge scales as n log n. The CPU form (the merge runs on the calling
    // thread) is steadier than wall time on a shared machine.
    const double n = merged, iterations = static_cast<double>(state.iterations());
    const double nlogn = n > 1 ? n * std::log2(n) : 1.0;
    state.counters["merged_vertices"] = n;
    state.counters["input_vertices"] = 8.0 * t.mesh.getNumVertices();
    state.counters["ns_per_nlogn"] = 1e9 * seconds / iterations / nlogn;
    state.counters["cpu_ns_per_nlogn"] = 1e9 * cpuSeconds / iterations / nlogn;
}

void BM_MeshMergeTiled(benchmark::State& state)
{
    mergeCopies(state, true);
}

void BM_MeshMergeStacked(benchmark::State& state)
{
    mergeCopies(state, false);
}

// Triangles per copy: 25 000 (10^5 merged vertices when tiled), 10^6 (the
// headline case), 2.5 10^6 (10^7 merged vertices).
BENCHMARK(BM_MeshMergeTiled)
    ->Arg(25000)
    ->Arg(250000)
    ->Arg(1000000)
    ->Arg(2500000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_MeshMergeStacked)
    ->Arg(25000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
}  // namespace

BENCHMARK_MAIN();
