// Nearest-point queries: MeshClosestPoint::compute against CGAL's AABB tree
// (closest_point_and_primitive, with accelerate_distance_queries) on the same triangles and the
// same 10^6 query points, one after the other in one process. Both indexes are built outside the
// timing. Points lie (a) anywhere in the mesh's bounds or (b) within 1 % of the bounds' diagonal
// from the surface. With two threads each thread has its own query object (the library) or
// shares the const tree (CGAL), and takes half of the points.
// Counters: queries_per_s (the library), cgal_queries_per_s, vs_cgal = library rate / CGAL rate
// (above 1 means the library is faster).

#include <oxGeom/OctreeTris.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshClosestPoint.h>
#include <oxUtil/ThreadPool.h>

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Simple_cartesian.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;
using benchMeshes::secondsSince;
using oxLinear::Point;

constexpr int numQueries = 1000000;

// 10^6 seeded query points: uniform in the bounds (near = false) or a uniform surface point
// moved up to 1 % of the bounds' diagonal in a random direction (near = true).
std::vector<Point> queryPoints(const oxGeom::CompactMesh& mesh, const oxGeom::BoundingBox& box,
                               bool near)
{
    std::mt19937_64 random(near ? 11 : 5);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const double diagonal = box.diagonalLength();
    std::vector<Point> points;
    points.reserve(numQueries);
    const oxGeom::MeshVertex* v = mesh.getVertices();
    for (int i = 0; i < numQueries; ++i)
    {
        if (!near)
        {
            points.emplace_back(box[0] + unit(random) * (box[3] - box[0]),
                                box[1] + unit(random) * (box[4] - box[1]),
                                box[2] + unit(random) * (box[5] - box[2]));
            continue;
        }
        const int t = std::min(mesh.getNumTriangles() - 1,
                               static_cast<int>(unit(random) * mesh.getNumTriangles()));
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        double a = unit(random), b = unit(random);
        if (a + b > 1)
            a = 1 - a, b = 1 - b;
        oxLinear::Vector offset;
        do
            offset =
                oxLinear::Vector(2 * unit(random) - 1, 2 * unit(random) - 1, 2 * unit(random) - 1);
        while (oxLinear::dot(offset, offset) > 1 || oxLinear::dot(offset, offset) < 1e-6);
        offset =
            offset * (0.01 * diagonal * unit(random) / std::sqrt(oxLinear::dot(offset, offset)));
        double p[3];
        for (int d = 0; d < 3; ++d)
            p[d] = (1 - a - b) * v[tri[0]][d] + a * v[tri[1]][d] + b * v[tri[2]][d] + offset[d];
        points.emplace_back(p[0], p[1], p[2]);
    }
    return points;
}

// ---- the library ----------------------------------------------------------------------------

struct LibraryIndex
{
    explicit LibraryIndex(const oxGeom::CompactMesh& mesh)
    {
        oxGeom::BoundingBox bounds;
        oxGeom::meshBoundingBox(mesh, bounds);
        octree = ox::Reference<oxGeom::Octree>(
            new oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, 16));
        tris = ox::Reference<oxGeom::OctreeTris>(new oxGeom::OctreeTris);
        oxGeom::computeOctreeTris(mesh, *octree, *tris);
    }
    ox::Reference<oxGeom::Octree> octree;
    ox::Reference<oxGeom::OctreeTris> tris;
};

// Runs `slice(begin, end)` over the points on `threads` threads (the caller being one of them)
// and returns the wall-clock seconds.
double runSliced(int threads, const std::function<void(int, int)>& slice)
{
    const auto start = Clock::now();
    std::vector<std::thread> workers;
    for (int t = 1; t < threads; ++t)
        workers.emplace_back(slice, numQueries * t / threads, numQueries * (t + 1) / threads);
    slice(0, numQueries / threads);
    for (std::thread& worker : workers)
        worker.join();
    return secondsSince(start);
}

double librarySeconds(const oxGeom::CompactMesh& mesh, const LibraryIndex& index,
                      const std::vector<Point>& points, int threads)
{
    return runSliced(threads,
                     [&](int begin, int end)
                     {
                         oxGeom::MeshClosestPoint query(mesh, *index.octree, *index.tris);
                         double sum = 0;
                         oxGeom::MeshCoord coord;
                         for (int i = begin; i < end; ++i)
                             sum += query.compute(points[static_cast<size_t>(i)], &coord);
                         benchmark::DoNotOptimize(sum);
                     });
}

// ---- CGAL -----------------------------------------------------------------------------------

using Kernel = CGAL::Simple_cartesian<double>;
using CgalTriangles = std::vector<Kernel::Triangle_3>;
using CgalPrimitive = CGAL::AABB_triangle_primitive<Kernel, CgalTriangles::const_iterator>;
using CgalTree = CGAL::AABB_tree<CGAL::AABB_traits<Kernel, CgalPrimitive>>;

struct CgalIndex
{
    explicit CgalIndex(const oxGeom::CompactMesh& mesh)
    {
        triangles.reserve(static_cast<size_t>(mesh.getNumTriangles()));
        const oxGeom::MeshVertex* v = mesh.getVertices();
        auto point = [&](int i) { return Kernel::Point_3(v[i][0], v[i][1], v[i][2]); };
        for (int i = 0; i < mesh.getNumTriangles(); ++i)
        {
            const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
            triangles.emplace_back(point(t[0]), point(t[1]), point(t[2]));
        }
        tree = std::make_unique<CgalTree>(triangles.begin(), triangles.end());
        tree->build();
        tree->accelerate_distance_queries();
        // One query so that any lazily built search structure exists before the timing.
        benchmark::DoNotOptimize(tree->closest_point_and_primitive(Kernel::Point_3(0, 0, 0)));
    }
    CgalTriangles triangles;
    std::unique_ptr<CgalTree> tree;
};

double cgalSeconds(const CgalIndex& index, const std::vector<Point>& points, int threads)
{
    const CgalTree& tree = *index.tree;
    return runSliced(threads,
                     [&](int begin, int end)
                     {
                         double sum = 0;
                         for (int i = begin; i < end; ++i)
                         {
                             const Point& p = points[static_cast<size_t>(i)];
                             const Kernel::Point_3 q(p[0], p[1], p[2]);
                             const auto nearest = tree.closest_point_and_primitive(q);
                             sum += std::sqrt(CGAL::squared_distance(q, nearest.first));
                         }
                         benchmark::DoNotOptimize(sum);
                     });
}

// ---- the benchmark --------------------------------------------------------------------------

// One mesh and its two indexes at a time, kept for the runs that share them.
struct Scene
{
    Scene(int kind, int numTriangles)
        : mesh(kind == 0 ? benchMeshes::geodesicSphere(numTriangles)
                         : benchMeshes::scanSurface(numTriangles)),
          library(mesh),
          cgal(mesh)
    {
        oxGeom::meshBoundingBox(mesh, bounds);
        for (bool near : {false, true})
            points[near] = queryPoints(mesh, bounds, near);
    }
    oxGeom::CompactMesh mesh;
    oxGeom::BoundingBox bounds;
    LibraryIndex library;
    CgalIndex cgal;
    std::vector<Point> points[2];
};

Scene& scene(int kind, int numTriangles)
{
    static std::unique_ptr<Scene> current;
    static int currentKind = -1, currentTriangles = -1;
    if (kind != currentKind || numTriangles != currentTriangles)
    {
        current.reset();  // one scene at a time keeps the peak memory of the 5M runs down
        current = std::make_unique<Scene>(kind, numTriangles);
        currentKind = kind;
        currentTriangles = numTriangles;
    }
    return *current;
}

// Arguments: triangles, threads, near (0 anywhere in the bounds, 1 within 1 % of the surface),
// mesh kind (0 sphere, 1 height field).
void BM_closestPointVsCgal(benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(1));
    const bool near = state.range(2) != 0;
    Scene& s = scene(static_cast<int>(state.range(3)), static_cast<int>(state.range(0)));
    const std::vector<Point>& points = s.points[near];
    double library = 0, cgal = 0;
    for (auto _ : state)
    {
        const double seconds = librarySeconds(s.mesh, s.library, points, threads);
        cgal += cgalSeconds(s.cgal, points, threads);
        library += seconds;
        state.SetIterationTime(seconds);
    }
    const double queries = static_cast<double>(state.iterations()) * numQueries;
    state.counters["queries_per_s"] = queries / library;
    state.counters["cgal_queries_per_s"] = queries / cgal;
    state.counters["vs_cgal"] = cgal / library;
    state.counters["tris"] = s.mesh.getNumTriangles();
}

void sizesThreadsAndRegions(benchmark::internal::Benchmark* b)
{
    for (int kind : {0, 1})
        for (int triangles : {100000, 1000000, 5000000})
        {
            if (kind == 1 && triangles != 1000000)
                continue;
            for (int near : {0, 1})
                for (int threads : {1, 2})
                    b->Args({triangles, threads, near, kind});
        }
    b->ArgNames({"tris", "threads", "near", "scan"})
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_closestPointVsCgal)->Apply(sizesThreadsAndRegions);

BENCHMARK_MAIN();
