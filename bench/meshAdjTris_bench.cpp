// Adjacency, boundaries and components on grids of 10^5 to 5 * 10^6 triangles, beside
//  - the floor: a bare two-pass counting sort of the vertex -> triangle lists into raw arrays,
//    with no table object and no timing line ("vs_floor" = floor time / library time);
//  - OpenMesh building its half-edge TriMesh from the same index list: add_vertex for each
//    vertex, add_face for each triangle, the whole construction timed ("vs_openmesh" =
//    OpenMesh time / time of meshAdjTris + meshAdjVertices).
// Each iteration runs the library and the baseline one after the other on the same data.

// OpenMesh's property arrays push value-initialised points that GCC 12 takes for uninitialised
// once inlined into the standard allocator; the pragma has to come before the first standard
// header to reach that code. The warning is about the peer's code, not the library's.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/meshComputeBoundary.h>
#include <oxGeom/oxGeom.h>

#include <benchmark/benchmark.h>
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>

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
using benchMeshes::secondsSince;

// A jittered grid of about `numTriangles` triangles with a square hole in the middle (so the
// boundary walk has two loops), rows numbered the way a scanner or mesher would.
const oxGeom::CompactMesh& benchMesh(int numTriangles)
{
    return benchMeshes::buildOnce<oxGeom::CompactMesh>(
        numTriangles,
        [](int n)
        {
            auto [nx, ny] = benchMeshes::gridCells(n);
            nx = std::max(4, nx);
            ny = std::max(4, ny);
            auto outsideHole = [&](int i, int j)
            { return std::abs(2 * i - nx) >= 2 || std::abs(2 * j - ny) >= 2; };
            return benchMeshes::makeMesh(
                benchMeshes::gridVertices(nx, ny, benchMeshes::jitteredVertex),
                benchMeshes::gridTriangles(nx, ny, outsideHole));
        });
}

// The floor: count, prefix sum, scatter, into freshly allocated raw arrays.
struct FloorTable
{
    std::unique_ptr<int[]> offsets;
    std::unique_ptr<int[]> members;
};

FloorTable floorBuild(const oxGeom::CompactMesh& mesh)
{
    const int numVertices = mesh.getNumVertices(), numCorners = 3 * mesh.getNumTriangles();
    const int* corners = mesh.getTrianglesRaw();
    FloorTable table{std::unique_ptr<int[]>(new int[numVertices + 1]()),
                     std::unique_ptr<int[]>(new int[numCorners])};
    int* offsets = table.offsets.get();
    for (int c = 0; c < numCorners; ++c)
        ++offsets[corners[c] + 1];
    for (int v = 1, sum = 0; v <= numVertices; ++v)
    {
        const int count = offsets[v];
        offsets[v] = sum;
        sum += count;
    }
    for (int c = 0; c < numCorners; ++c)
        table.members[offsets[corners[c] + 1]++] = c / 3;
    return table;
}

double openMeshBuild(const oxGeom::CompactMesh& mesh)
{
    using TriMesh = OpenMesh::TriMesh_ArrayKernelT<>;
    const auto start = Clock::now();
    TriMesh om;
    const int numVertices = mesh.getNumVertices(), numTriangles = mesh.getNumTriangles();
    om.reserve(numVertices, numVertices + numTriangles, numTriangles);
    std::vector<TriMesh::VertexHandle> handles(static_cast<size_t>(numVertices));
    const oxGeom::MeshVertex* p = mesh.getVertices();
    for (int v = 0; v < numVertices; ++v)
        handles[v] = om.add_vertex(TriMesh::Point(p[v][0], p[v][1], p[v][2]));
    const oxGeom::MeshTriangle* t = mesh.getTriangles();
    for (int i = 0; i < numTriangles; ++i)
        om.add_face(handles[t[i][0]], handles[t[i][1]], handles[t[i][2]]);
    benchmark::DoNotOptimize(om.n_halfedges());
    return secondsSince(start);
}

// Runs `library` and `baseline` (each returning its own seconds) alternately; the benchmark's
// time is the library's and `counter` reports baseline / library. Both sides build into fresh
// objects and free them outside the timed region, as a first call in a host would.
template <class Library, class Baseline>
void compare(benchmark::State& state, const char* counter, Library library, Baseline baseline)
{
    double baselineSeconds = 0, librarySeconds = 0;
    for (auto _ : state)
    {
        baselineSeconds += baseline();
        const double seconds = library();
        librarySeconds += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters[counter] = baselineSeconds / librarySeconds;
}

double timedFloor(const oxGeom::CompactMesh& mesh)
{
    const auto start = Clock::now();
    FloorTable table = floorBuild(mesh);
    benchmark::DoNotOptimize(table.members.get());
    return secondsSince(start);
}

void BM_meshAdjTris(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    compare(
        state, "vs_floor",
        [&]
        {
            oxGeom::MeshAdjTris adj;
            const auto start = Clock::now();
            oxGeom::meshAdjTris(mesh, adj);
            return secondsSince(start);
        },
        [&] { return timedFloor(mesh); });
}

void BM_meshAdjVertices(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    compare(
        state, "vs_floor",
        [&]
        {
            oxGeom::MeshAdjVertices neighbours;
            const auto start = Clock::now();
            oxGeom::meshAdjVertices(mesh, adj, neighbours);
            return secondsSince(start);
        },
        [&] { return timedFloor(mesh); });
}

void BM_meshAdjacencyVsOpenMesh(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    compare(
        state, "vs_openmesh",
        [&]
        {
            oxGeom::MeshAdjTris adj;
            oxGeom::MeshAdjVertices neighbours;
            const auto start = Clock::now();
            oxGeom::meshAdjTris(mesh, adj);
            oxGeom::meshAdjVertices(mesh, adj, neighbours);
            return secondsSince(start);
        },
        [&] { return openMeshBuild(mesh); });
}

void BM_meshComputeBoundary(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    oxGeom::MeshAdjVertices neighbours;
    oxGeom::meshAdjVertices(mesh, adj, neighbours);
    oxGeom::MeshBoundaries boundaries;
    compare(
        state, "vs_floor",
        [&]
        {
            const auto start = Clock::now();
            oxGeom::meshComputeBoundary(mesh, adj, neighbours, boundaries);
            return secondsSince(start);
        },
        [&] { return timedFloor(mesh); });
    state.counters["loops"] = boundaries.size();
}

void BM_meshComponents(benchmark::State& state)
{
    const oxGeom::CompactMesh& mesh = benchMesh(static_cast<int>(state.range(0)));
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    ox::Array<int> labels;
    int count = 0;
    compare(
        state, "vs_floor",
        [&]
        {
            const auto start = Clock::now();
            count = oxGeom::meshComponents(mesh, adj, &labels);
            return secondsSince(start);
        },
        [&] { return timedFloor(mesh); });
    state.counters["components"] = count;
}

void sizes(benchmark::internal::Benchmark* b)
{
    for (int triangles : {100000, 1000000, 5000000})
        b->Arg(triangles);
    b->ArgName("tris")->UseManualTime()->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_meshAdjTris)->Apply(sizes);
BENCHMARK(BM_meshAdjVertices)->Apply(sizes);
BENCHMARK(BM_meshAdjacencyVsOpenMesh)->Apply(sizes);
BENCHMARK(BM_meshComputeBoundary)->Apply(sizes);
BENCHMARK(BM_meshComponents)->Apply(sizes);

BENCHMARK_MAIN();
