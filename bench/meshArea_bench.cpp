// meshArea and meshBoundingBox against a plain serial loop over the same raw
// arrays: the loop is the memory-bandwidth floor that the threaded frame has to
// beat. Each iteration runs both, and the "vs_loop" counter is loop time /
// library time measured in the same run (above 1 means the library is faster).

#include <oxGeom/oxGeom.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;

// A jittered grid of about `numTriangles` triangles, rows numbered the way a scanner or a
// mesher would, so memory access is realistic.
const oxGeom::CompactMesh& benchMesh(int numTriangles)
{
    return benchMeshes::buildOnce<oxGeom::CompactMesh>(
        numTriangles, [](int n) { return benchMeshes::jitteredGrid(n); });
}

double serialArea(const oxGeom::CompactMesh& mesh)
{
    const float* v = mesh.getVerticesRaw();
    const int* t = mesh.getTrianglesRaw();
    const int n = mesh.getNumTriangles();
    double sum = 0;
    for (int i = 0; i < n; ++i)
    {
        const float* a = v + 3 * t[3 * i];
        const float* b = v + 3 * t[3 * i + 1];
        const float* c = v + 3 * t[3 * i + 2];
        const double e1[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
        const double e2[3] = {double(c[0]) - a[0], double(c[1]) - a[1], double(c[2]) - a[2]};
        const double x = e1[1] * e2[2] - e1[2] * e2[1];
        const double y = e1[2] * e2[0] - e1[0] * e2[2];
        const double z = e1[0] * e2[1] - e1[1] * e2[0];
        sum += std::sqrt(x * x + y * y + z * z);
    }
    return 0.5 * sum;
}

void serialBox(const oxGeom::PointMesh& mesh, float box[6])
{
    const float* v = mesh.getVerticesRaw();
    const int n = mesh.getNumVertices();
    float lo[3] = {3.4028235e38f, 3.4028235e38f, 3.4028235e38f};
    float hi[3] = {-3.4028235e38f, -3.4028235e38f, -3.4028235e38f};
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k)
        {
            const float x = v[3 * i + k];
            lo[k] = x < lo[k] ? x : lo[k];
            hi[k] = x > hi[k] ? x : hi[k];
        }
    for (int k = 0; k < 3; ++k)
    {
        box[k] = lo[k];
        box[3 + k] = hi[k];
    }
}

// Runs `library` and `loop` alternately; the benchmark's time is the library's.
template <class Library, class Loop>
void compareWithLoop(benchmark::State& state, Library library, Loop loop, int items)
{
    oxUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
    double loopSeconds = 0, librarySeconds = 0;
    for (auto _ : state)
    {
        auto t0 = Clock::now();
        loop();
        auto t1 = Clock::now();
        library();
        auto t2 = Clock::now();
        loopSeconds += std::chrono::duration<double>(t1 - t0).count();
        const double seconds = std::chrono::duration<double>(t2 - t1).count();
        librarySeconds += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["vs_loop"] = loopSeconds / librarySeconds;
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(items));
}

void BM_meshArea(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    oxGeom::MeshPlacement placement;
    placement.mesh = &mesh;
    compareWithLoop(
        state,
        [&] { benchmark::DoNotOptimize(oxGeom::meshArea(placement, oxGeom::VertexChannel)); },
        [&] { benchmark::DoNotOptimize(serialArea(mesh)); }, mesh.getNumTriangles());
}

void BM_meshBoundingBox(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    oxGeom::BoundingBox box;
    float loopBox[6];
    compareWithLoop(
        state,
        [&]
        {
            oxGeom::meshBoundingBox(mesh, box);
            benchmark::DoNotOptimize(box);
        },
        [&]
        {
            serialBox(mesh, loopBox);
            benchmark::DoNotOptimize(loopBox);
        },
        mesh.getNumVertices());
}

void sizesAndThreads(benchmark::internal::Benchmark* b)
{
    for (int triangles : {10000, 100000, 1000000, 5000000})
        for (int threads : {1, 2})
            b->Args({triangles, threads});
    b->ArgNames({"tris", "threads"})->UseManualTime()->Unit(benchmark::kMicrosecond);
}
}  // namespace

BENCHMARK(BM_meshArea)->Apply(sizesAndThreads);
BENCHMARK(BM_meshBoundingBox)->Apply(sizesAndThreads);

BENCHMARK_MAIN();
