// reparameterizeMesh::flatten against CGAL's LSCM_parameterizer_3 (the same conformal energy
// with two pinned border vertices, solved by CGAL's default Eigen solver) on the same meshes.
// BM_flatten: seconds on disks of 10^4 to 10^6 triangles; "vs_cgal" is CGAL's seconds over
// flatten's (above 1 means flatten is faster). Seconds are the process's CPU time, steadier
// than wall time on a shared machine (both run on one thread, flatten's weld sort aside).
// BM_quality: the layouts of both on a hemisphere, a real mesh with a hole and a cut torus: folded
// triangles, and the mean and 95th-percentile difference between each corner's angle in UV and in
// space, in degrees.

#include <oxGeom/cutSurface.h>
#include <oxGeom/meshCompact.h>
#include <oxGeom/reparameterizeMesh.h>
#include <oxOS/AppOutput.h>

#include "../tests/support/diskMeshes.h"

// LSCM's default solver is Eigen's; CGAL offers it only with this defined (the benchmark links
// Eigen as a peer).
#ifndef CGAL_EIGEN3_ENABLED
#define CGAL_EIGEN3_ENABLED
#endif
#include <CGAL/Polygon_mesh_processing/measure.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/Surface_mesh_parameterization/LSCM_parameterizer_3.h>
#include <CGAL/Surface_mesh_parameterization/parameterize.h>
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// CPU seconds used by the process so far.
double cpuSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}
using Kernel = CGAL::Simple_cartesian<double>;
using SurfaceMesh = CGAL::Surface_mesh<Kernel::Point_3>;
namespace SMP = CGAL::Surface_mesh_parameterization;

// A jittered grid of about `numTriangles` triangles over a gentle bump: a curved disk whose
// rows are numbered the way a mesher would number them.
oxGeom::CompactMesh bumpyDisk(int numTriangles)
{
    const int cells = numTriangles / 2;
    const int nx = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(cells))));
    const int ny = std::max(1, cells / nx);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2);
    std::vector<float> p;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
        {
            const double x = (i + jitter(random)) / nx, y = (j + jitter(random)) / ny;
            p.insert(p.end(), {static_cast<float>(x), static_cast<float>(y),
                               static_cast<float>(0.25 * std::sin(3.0 * x) * std::cos(2.0 * y))});
        }
    std::vector<int> t;
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            const int a = j * (nx + 1) + i, b = a + 1, c = a + nx + 1, d = c + 1;
            t.insert(t.end(), {a, b, d, a, d, c});
        }
    return diskmeshes::meshFrom(p, t);
}

// The hemisphere of about `numTriangles` triangles with four times as many segments as rings.
oxGeom::CompactMesh hemisphereOf(int numTriangles)
{
    const int rings = std::max(2, static_cast<int>(std::sqrt(numTriangles / 8.0)));
    return diskmeshes::hemisphere(rings, 4 * rings);
}

// An ASCII STL file as a welded mesh; empty when the file cannot be read.
oxGeom::CompactMesh readStl(const std::string& path)
{
    std::ifstream in(path);
    std::vector<float> p;
    std::string word;
    while (in >> word)
        if (word == "vertex")
        {
            float x, y, z;
            in >> x >> y >> z;
            p.insert(p.end(), {x, y, z});
        }
    std::vector<int> t(p.size() / 3);
    for (size_t i = 0; i < t.size(); ++i)
        t[i] = static_cast<int>(i);
    oxGeom::CompactMesh mesh = diskmeshes::meshFrom(p, t);
    oxUtil::Progress progress;
    oxGeom::meshCompact(mesh, progress);
    return mesh;
}

// assimp's test model of a sphere with a hole. The hole's border touches itself at two
// vertices, which flatten refuses (a border loop shorter than three edges); cutting it into a
// disk first separates the fans that meet there and joins the border loops, and both
// parameterizers then work on that disk.
oxGeom::CompactMesh sphereWithHole()
{
    const char* fromEnvironment = std::getenv("TRELM_SPHERE_WITH_HOLE");
    for (const std::string path : {fromEnvironment ? fromEnvironment : "",
                                   "/usr/share/assimp-testmodels/models/STL/sphereWithHole.stl",
                                   "/usr/share/assimp/models/STL/sphereWithHole.stl"})
        if (!path.empty() && std::ifstream(path))
        {
            oxGeom::CompactMesh mesh = readStl(path);
            oxGeom::cutSurface::makeDisk(mesh);
            return mesh;
        }
    return oxGeom::CompactMesh();
}

// The torus cut open along the library's cut graph.
oxGeom::CompactMesh cutTorus(int numTriangles)
{
    const int nv = std::max(3, static_cast<int>(std::sqrt(numTriangles / 6.0)));
    oxGeom::CompactMesh mesh = diskmeshes::torus(3 * nv, nv);
    oxGeom::cutSurface::makeDisk(mesh);
    return mesh;
}

const oxGeom::CompactMesh& cached(const std::string& name, int size,
                                  oxGeom::CompactMesh (*make)(int))
{
    static std::map<std::pair<std::string, int>, std::unique_ptr<oxGeom::CompactMesh>> meshes;
    auto& slot = meshes[{name, size}];
    if (!slot)
        slot = std::make_unique<oxGeom::CompactMesh>(make(size));
    return *slot;
}

std::unique_ptr<SurfaceMesh> toSurfaceMesh(const oxGeom::CompactMesh& mesh)
{
    auto sm = std::make_unique<SurfaceMesh>();
    std::vector<SurfaceMesh::Vertex_index> vertices;
    for (int i = 0; i < mesh.getNumVertices(); ++i)
    {
        const oxGeom::MeshVertex& v = mesh.getVertices()[i];
        vertices.push_back(sm->add_vertex(Kernel::Point_3(v[0], v[1], v[2])));
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        sm->add_face(vertices[tri[0]], vertices[tri[1]], vertices[tri[2]]);
    }
    return sm;
}

// Flattens a copy of `mesh`; returns the seconds and leaves the UVs in `result`.
double runFlatten(const oxGeom::CompactMesh& mesh, bool weld, oxGeom::CompactMesh& result)
{
    result = mesh;
    const double start = cpuSeconds();
    oxGeom::reparameterizeMesh job(result);
    job.enableMeshCompact(weld);
    const bool ok = job.flatten();
    const double seconds = cpuSeconds() - start;
    return ok ? seconds : -1.0;
}

// CGAL's LSCM on `sm`; returns the seconds (negative on failure) and writes the UVs into a
// copy of `mesh` in `result`.
double runCgal(SurfaceMesh& sm, const oxGeom::CompactMesh& mesh, oxGeom::CompactMesh& result)
{
    const double start = cpuSeconds();
    const auto border = CGAL::Polygon_mesh_processing::longest_border(sm).first;
    auto uvs = sm.add_property_map<SurfaceMesh::Vertex_index, Kernel::Point_2>("v:uv").first;
    const SMP::Error_code code =
        SMP::parameterize(sm, SMP::LSCM_parameterizer_3<SurfaceMesh>(), border, uvs);
    const double seconds = cpuSeconds() - start;
    result = mesh;
    oxGeom::MeshUV* out = result.allocUVArray();
    for (SurfaceMesh::Vertex_index v : sm.vertices())
        out[v.idx()] = {{static_cast<float>(uvs[v].x()), static_cast<float>(uvs[v].y())}};
    sm.remove_property_map(uvs);
    return code == SMP::OK ? seconds : -1.0;
}

struct Shape
{
    const char* name;
    oxGeom::CompactMesh (*make)(int);
    bool weld;  // a cut mesh must not be welded shut again
};

const Shape speedShapes[] = {{"disk", bumpyDisk, true}, {"hemisphere", hemisphereOf, true}};

void BM_flatten(benchmark::State& state)
{
    const Shape& shape = speedShapes[state.range(0)];
    const oxGeom::CompactMesh& mesh =
        cached(shape.name, static_cast<int>(state.range(1)), shape.make);
    oxOS::AppOutput::getInstance().setInfoFile(nullptr);
    std::unique_ptr<SurfaceMesh> sm = toSurfaceMesh(mesh);
    oxGeom::CompactMesh result;
    double flattenSeconds = 0.0, cgalSeconds = 0.0;
    for (auto _ : state)
    {
        const double ours = runFlatten(mesh, shape.weld, result);
        const double theirs = runCgal(*sm, mesh, result);
        if (ours < 0.0 || theirs < 0.0)
        {
            state.SkipWithError("a parameterization failed");
            break;
        }
        flattenSeconds += ours;
        cgalSeconds += theirs;
        state.SetIterationTime(ours);
    }
    state.SetLabel(shape.name);
    state.counters["tris"] = mesh.getNumTriangles();
    state.counters["vs_cgal"] = flattenSeconds > 0.0 ? cgalSeconds / flattenSeconds : 0.0;
    state.counters["cgal_s"] = cgalSeconds / std::max<double>(1.0, state.iterations());
}

void BM_quality(benchmark::State& state)
{
    static const oxGeom::CompactMesh meshes[] = {hemisphereOf(200000), sphereWithHole(),
                                                 cutTorus(20000)};
    static const char* names[] = {"hemisphere", "sphereWithHole", "cutTorus"};
    const int which = static_cast<int>(state.range(0));
    const oxGeom::CompactMesh& mesh = meshes[which];
    if (mesh.getNumTriangles() == 0)
    {
        state.SkipWithError("mesh not found (set TRELM_SPHERE_WITH_HOLE)");
        return;
    }
    oxOS::AppOutput::getInstance().setInfoFile(nullptr);
    std::unique_ptr<SurfaceMesh> sm = toSurfaceMesh(mesh);
    oxGeom::CompactMesh ours, theirs;
    for (auto _ : state)
    {
        // The cut meshes must not be welded shut again.
        const double seconds = runFlatten(mesh, which == 0, ours);
        if (seconds < 0.0 || runCgal(*sm, mesh, theirs) < 0.0)
        {
            state.SkipWithError("a parameterization failed");
            return;
        }
        state.SetIterationTime(seconds);
    }
    const diskmeshes::LayoutQuality a = diskmeshes::layoutQuality(ours);
    const diskmeshes::LayoutQuality b = diskmeshes::layoutQuality(theirs);
    state.SetLabel(names[which]);
    state.counters["tris"] = mesh.getNumTriangles();
    state.counters["flipped"] = a.flipped;
    state.counters["mean_deg"] = a.meanAngleError;
    state.counters["p95_deg"] = a.angleError95;
    state.counters["cgal_flipped"] = b.flipped;
    state.counters["cgal_mean_deg"] = b.meanAngleError;
    state.counters["cgal_p95_deg"] = b.angleError95;
}

void speedArgs(benchmark::internal::Benchmark* b)
{
    for (int shape : {0, 1})
        for (int triangles : {10000, 100000, 200000, 1000000})
            b->Args({shape, triangles});
    b->ArgNames({"shape", "tris"})->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_flatten)->Apply(speedArgs);
BENCHMARK(BM_quality)
    ->DenseRange(0, 2)
    ->ArgNames({"shape"})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
