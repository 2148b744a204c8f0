// meshCurvature on bumpy jittered grids at 1 and 2 pool threads, in vertices per second. No
// peer library computes the same discrete quantities, so the figure of interest is the
// scaling with threads. Normals and adjacency tables are built once per mesh, outside the
// timing; the mean curvature skips the angle sums, the largest principal curvature needs
// everything.

#include <oxGeom/oxGeom.h>

#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshNormals.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;

struct BenchSurface
{
    oxGeom::CompactMesh mesh;
    oxGeom::MeshAdjTris adjTris;
    oxGeom::MeshAdjVertices adjVertices;
    std::vector<float> curvature;

    explicit BenchSurface(int numTriangles)
    {
        const auto [nx, ny] = benchMeshes::gridCells(numTriangles);
        auto vertexAt = [](int i, int j, std::mt19937& random)
        {
            const float x = i + benchMeshes::jitter(random), y = j + benchMeshes::jitter(random);
            return oxGeom::MeshVertex{{x, y, 3.0f * std::sin(0.05f * i) * std::cos(0.07f * j)}};
        };
        mesh = benchMeshes::makeMesh(benchMeshes::gridVertices(nx, ny, vertexAt),
                                     benchMeshes::gridTriangles(nx, ny));
        oxGeom::meshComputeNormals(mesh);
        oxGeom::meshAdjTris(mesh, adjTris);
        oxGeom::meshAdjVertices(mesh, adjTris, adjVertices);
        curvature.resize(mesh.getNumVertices());
    }
};

BenchSurface& benchSurface(int numTriangles)
{
    static std::vector<std::pair<int, std::unique_ptr<BenchSurface>>> surfaces;
    for (auto& entry : surfaces)
        if (entry.first == numTriangles)
            return *entry.second;
    surfaces.emplace_back(numTriangles, std::make_unique<BenchSurface>(numTriangles));
    return *surfaces.back().second;
}

void BM_meshCurvature(benchmark::State& state)
{
    BenchSurface& s = benchSurface(static_cast<int>(state.range(0)));
    oxUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
    const auto kind = static_cast<oxGeom::MeshCurvature>(state.range(2));
    const oxLinear::AffineMatrixFlt identity;
    double seconds = 0;
    for (auto _ : state)
    {
        const auto t0 = Clock::now();
        oxGeom::meshCurvature(s.mesh, s.adjTris, s.adjVertices, identity, kind, s.curvature.data());
        benchmark::DoNotOptimize(s.curvature.data());
        const double elapsed = std::chrono::duration<double>(Clock::now() - t0).count();
        seconds += elapsed;
        state.SetIterationTime(elapsed);
    }
    state.counters["Mvertices_per_s"] =
        static_cast<double>(state.iterations()) * s.mesh.getNumVertices() / seconds / 1e6;
}

void sizesThreadsKinds(benchmark::internal::Benchmark* b)
{
    for (int kind : {oxGeom::MeanCurvature, oxGeom::MaxCurvature})
        for (int triangles : {100000, 1000000, 5000000})
            for (int threads : {1, 2})
                b->Args({triangles, threads, kind});
    b->ArgNames({"tris", "threads", "kind"})->UseManualTime()->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_meshCurvature)->Apply(sizesThreadsKinds);

BENCHMARK_MAIN();
