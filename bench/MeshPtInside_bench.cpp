// Point-in-mesh classification: MeshPtInside::evaluate against CGAL's Side_of_triangle_mesh
// (ray shooting over an AABB tree, exact predicates) on the same closed mesh and the same query
// points, one after the other in one process. Both are set up outside the timing (octree,
// triangle lists and vertex normals for the library; the Surface_mesh and the tree for CGAL).
// The mesh is a subdivided icosahedron with a bumpy radius, closed and outward wound; points
// are uniform in its bounding box, or lie within 1 % of the box diagonal from the surface.
// Counters: points_per_s (the library), cgal_points_per_s, vs_cgal = CGAL time / library time
// (above 1 means the library is faster), agree = fraction of points both classify alike
// (on-surface answers count as agreeing with either side).

#include <oxGeom/MeshPtInside.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshNormals.h>

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Side_of_triangle_mesh.h>
#include <CGAL/Surface_mesh.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "benchMeshes.h"

namespace
{
using benchMeshes::Clock;
using benchMeshes::secondsSince;
using oxLinear::Point;

// ---- the mesh -------------------------------------------------------------------------------

// The icosahedron split `levels` times into four (shared midpoints, so the mesh is closed),
// 20 * 4^levels triangles, vertices pushed out to radius 1 + 0.1 sin(5x) sin(5y) sin(5z) so the
// surface has concave and convex parts.
oxGeom::CompactMesh bumpySphere(int levels)
{
    const double t = (1.0 + std::sqrt(5.0)) / 2.0;
    std::vector<std::array<double, 3>> points = {{-1, t, 0}, {1, t, 0}, {-1, -t, 0}, {1, -t, 0},
                                                 {0, -1, t}, {0, 1, t}, {0, -1, -t}, {0, 1, -t},
                                                 {t, 0, -1}, {t, 0, 1}, {-t, 0, -1}, {-t, 0, 1}};
    std::vector<int> triangles = {0, 11, 5, 0, 5,  1,  0,  1,  7,  0,  7, 10, 0, 10, 11,
                                  1, 5,  9, 5, 11, 4,  11, 10, 2,  10, 7, 6,  7, 1,  8,
                                  3, 9,  4, 3, 4,  2,  3,  2,  6,  3,  6, 8,  3, 8,  9,
                                  4, 9,  5, 2, 4,  11, 6,  2,  10, 8,  6, 7,  9, 8,  1};
    for (int level = 0; level < levels; ++level)
    {
        std::map<std::pair<int, int>, int> midpoints;
        auto midpoint = [&](int a, int b)
        {
            const auto key = std::make_pair(std::min(a, b), std::max(a, b));
            const auto found = midpoints.find(key);
            if (found != midpoints.end())
                return found->second;
            std::array<double, 3> m;
            for (int k = 0; k < 3; ++k)
                m[k] = 0.5 * (points[a][k] + points[b][k]);
            points.push_back(m);
            return midpoints[key] = static_cast<int>(points.size()) - 1;
        };
        std::vector<int> next;
        next.reserve(4 * triangles.size());
        for (size_t i = 0; i < triangles.size(); i += 3)
        {
            const int a = triangles[i], b = triangles[i + 1], c = triangles[i + 2];
            const int ab = midpoint(a, b), bc = midpoint(b, c), ca = midpoint(c, a);
            next.insert(next.end(), {a, ab, ca, b, bc, ab, c, ca, bc, ab, bc, ca});
        }
        triangles.swap(next);
    }
    std::vector<oxGeom::MeshVertex> vertices;
    vertices.reserve(points.size());
    for (const auto& p : points)
    {
        const double length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
        const double x = p[0] / length, y = p[1] / length, z = p[2] / length;
        const double r = 1.0 + 0.1 * std::sin(5 * x) * std::sin(5 * y) * std::sin(5 * z);
        vertices.push_back({{float(x * r), float(y * r), float(z * r)}});
    }
    oxGeom::CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                             nullptr);
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    oxGeom::meshComputeNormals(mesh);
    return mesh;
}

// `count` points, uniform in the mesh's bounding box, or (nearSurface) on random triangles
// moved along the triangle normal by up to 1 % of the box diagonal either way.
std::vector<Point> queryPoints(const oxGeom::CompactMesh& mesh, int count, bool nearSurface)
{
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(mesh, box);
    std::mt19937 random(11);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<Point> points;
    points.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
    {
        Point p;
        if (!nearSurface)
        {
            for (int k = 0; k < 3; ++k)
                p[k] = box[k] + (box[k + 3] - box[k]) * unit(random);
            points.push_back(p);
            continue;
        }
        const oxGeom::MeshTriangle& t =
            mesh.getTriangles()[random() % static_cast<unsigned>(mesh.getNumTriangles())];
        Point c[3];
        for (int k = 0; k < 3; ++k)
            c[k] = Point(oxLinear::PointFlt(mesh.getVertices()[t[k]].v));
        double u = unit(random), v = unit(random);
        if (u + v > 1)
            u = 1 - u, v = 1 - v;
        const oxLinear::Vector n = oxLinear::cross(c[1] - c[0], c[2] - c[0]).normalized();
        const double offset = 0.01 * box.diagonalLength() * (2 * unit(random) - 1);
        points.push_back(oxLinear::combine(1 - u - v, c[0], u, c[1], v, c[2]) + n * offset);
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
        octree = std::make_unique<oxGeom::Octree>(mesh.getNumVertices(), mesh.getVerticesRaw(),
                                                  bounds, true, 16);
        oxGeom::computeOctreeTris(mesh, *octree, tris);
    }
    std::unique_ptr<oxGeom::Octree> octree;
    oxGeom::OctreeTris tris;
};

// ---- CGAL -----------------------------------------------------------------------------------

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using SurfaceMesh = CGAL::Surface_mesh<Kernel::Point_3>;
using SideOfMesh = CGAL::Side_of_triangle_mesh<SurfaceMesh, Kernel>;

SurfaceMesh cgalMesh(const oxGeom::CompactMesh& mesh)
{
    SurfaceMesh out;
    std::vector<SurfaceMesh::Vertex_index> vertices;
    vertices.reserve(static_cast<size_t>(mesh.getNumVertices()));
    for (int i = 0; i < mesh.getNumVertices(); ++i)
    {
        const oxGeom::MeshVertex& v = mesh.getVertices()[i];
        vertices.push_back(out.add_vertex(Kernel::Point_3(v[0], v[1], v[2])));
    }
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
        out.add_face(vertices[t[0]], vertices[t[1]], vertices[t[2]]);
    }
    return out;
}

// ---- the benchmark --------------------------------------------------------------------------

// Arguments: subdivision levels of the sphere, number of query points, points near the surface.
void BM_meshPtInsideVsCgal(benchmark::State& state)
{
    const oxGeom::CompactMesh mesh = bumpySphere(static_cast<int>(state.range(0)));
    const LibraryIndex index(mesh);
    const std::vector<Point> points =
        queryPoints(mesh, static_cast<int>(state.range(1)), state.range(2) != 0);
    const SurfaceMesh surface = cgalMesh(mesh);
    const SideOfMesh cgalSide(surface);  // builds its tree here, outside the timing
    std::vector<Kernel::Point_3> cgalPoints;
    for (const Point& p : points)
        cgalPoints.emplace_back(p[0], p[1], p[2]);
    {
        // The tree is built lazily on the first query: warm it up.
        benchmark::DoNotOptimize(cgalSide(cgalPoints[0]));
    }
    oxGeom::MeshPtInside inside(mesh, *index.octree, index.tris, 1e-7);
    std::vector<int> library(points.size()), cgal(points.size());

    double librarySeconds = 0, cgalSeconds = 0;
    for (auto _ : state)
    {
        auto start = Clock::now();
        for (size_t i = 0; i < points.size(); ++i)
            library[i] = inside.evaluate(points[i]);
        const double seconds = secondsSince(start);
        librarySeconds += seconds;
        start = Clock::now();
        for (size_t i = 0; i < cgalPoints.size(); ++i)
            cgal[i] = cgalSide(cgalPoints[i]);
        cgalSeconds += secondsSince(start);
        state.SetIterationTime(seconds);
    }
    size_t agree = 0;
    for (size_t i = 0; i < points.size(); ++i)
    {
        const bool libraryInside = library[i] == oxGeom::MeshPtInside::Inside;
        const bool cgalInside = cgal[i] == CGAL::ON_BOUNDED_SIDE;
        agree += library[i] == oxGeom::MeshPtInside::OnSurface || cgal[i] == CGAL::ON_BOUNDARY ||
                 libraryInside == cgalInside;
    }
    const double queries = double(state.iterations()) * double(points.size());
    state.counters["points_per_s"] = queries / librarySeconds;
    state.counters["cgal_points_per_s"] = queries / cgalSeconds;
    state.counters["vs_cgal"] = cgalSeconds / librarySeconds;
    state.counters["agree"] = double(agree) / double(points.size());
    state.counters["tris"] = mesh.getNumTriangles();
}
}  // namespace

// Points anywhere in the box cost the library a nearest-point search out to the surface, which
// from deep inside reaches most leaves; fewer of them are drawn for the larger meshes.
void levelsAndPoints(benchmark::internal::Benchmark* b)
{
    for (int nearSurface : {0, 1})
    {
        b->Args({5, 100000, nearSurface});                        // 20480 triangles
        b->Args({7, nearSurface ? 100000 : 10000, nearSurface});  // 327680
        b->Args({9, nearSurface ? 100000 : 1000, nearSurface});   // 5242880
    }
    b->ArgNames({"levels", "points", "near"})->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_meshPtInsideVsCgal)->Apply(levelsAndPoints);

BENCHMARK_MAIN();
