// Mesh file reading and writing (tools/formats) on a scan-like surface of 5 million triangles,
// as binary PLY, ASCII PLY and OBJ, in MB/s of file. Reads run alternately with assimp's
// importer on the same file (Assimp::Importer::ReadFile with no post-processing flags, assimp's
// fastest path: no welding, no triangulation, no validation); "vs_assimp" is assimp's time /
// the library's time (above 1 means the library is faster). Writes have no peer.

// The benchmark needs the formats library, which exists only where the tools are configured;
// elsewhere (a benchmark glob that finds this file anyway) it builds to a stub.
#if __has_include(<meshFiles.h>) && __has_include(<assimp/Importer.hpp>)

#include <meshFiles.h>

#include <assimp/scene.h>
#include <assimp/Importer.hpp>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;
using trelm::files::Encoding;
using trelm::files::MeshFormat;

constexpr int benchTriangles = 5000000;

struct FileKind
{
    const char* name;
    MeshFormat format;
    Encoding encoding;
};

const FileKind kinds[] = {
    {"ply_binary", MeshFormat::Ply, Encoding::Binary},
    {"ply_ascii", MeshFormat::Ply, Encoding::Ascii},
    {"obj", MeshFormat::Obj, Encoding::Ascii},
};

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A scan-like height field of about `numTriangles` triangles: a jittered grid of unit spacing
// over rolling terrain, vertices row by row, so that coordinates carry full float mantissas as
// measured data do.
oxGeom::CompactMesh scanSurface(int numTriangles)
{
    const int nx = static_cast<int>(std::sqrt(numTriangles / 2.0));
    const int ny = numTriangles / 2 / nx;
    std::mt19937 random(7);
    std::uniform_real_distribution<float> jitter(-0.2f, 0.2f);
    std::vector<float> positions;
    positions.reserve(3 * std::size_t(nx + 1) * (ny + 1));
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
        {
            const float height = 20.0f * std::sin(i * 0.01f) * std::cos(j * 0.013f);
            positions.insert(positions.end(),
                             {i + jitter(random), j + jitter(random), height + jitter(random)});
        }
    std::vector<int> triangles;
    triangles.reserve(6 * std::size_t(nx) * ny);
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            const int a = j * (nx + 1) + i, b = a + 1, c = a + nx + 1, d = c + 1;
            triangles.insert(triangles.end(), {a, b, d, a, d, c});
        }
    oxGeom::CompactMesh mesh;
    mesh.copyVertices(static_cast<int>(positions.size() / 3), positions.data());
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

const oxGeom::CompactMesh& benchMesh()
{
    static const oxGeom::CompactMesh mesh = scanSurface(benchTriangles);
    return mesh;
}

std::string benchDirectory()
{
    const char* tmp = std::getenv("TMPDIR");
    return std::string(tmp && *tmp ? tmp : "/tmp");
}

std::string pathOf(const FileKind& kind, const char* role)
{
    const char* extension = kind.format == MeshFormat::Obj ? ".obj" : ".ply";
    return benchDirectory() + "/trelm-meshFiles-bench-" + kind.name + role + extension;
}

trelm::files::WriteOptions optionsOf(const FileKind& kind)
{
    trelm::files::WriteOptions options;
    options.encoding = kind.encoding;
    return options;
}

// The input file of `kind`, written once per process and removed at exit.
const std::string& inputFile(const FileKind& kind)
{
    struct Written
    {
        std::string path;
        ~Written() { std::filesystem::remove(path); }
    };
    static std::vector<std::unique_ptr<Written>> written;
    for (const auto& file : written)
        if (file->path == pathOf(kind, "-input"))
            return file->path;
    written.push_back(std::make_unique<Written>(Written{pathOf(kind, "-input")}));
    const trelm::files::FileResult result =
        trelm::files::writeMesh(written.back()->path, kind.format, benchMesh(), optionsOf(kind));
    if (!result.ok)
        std::fprintf(stderr, "%s\n", result.message.c_str());
    return written.back()->path;
}

double megabytes(const std::string& path)
{
    return static_cast<double>(std::filesystem::file_size(path)) / 1e6;
}

// One read by the library; returns the triangle count, or -1 after reporting the error.
int readWithLibrary(benchmark::State& state, const FileKind& kind, const std::string& path)
{
    oxGeom::CompactMesh mesh;
    const trelm::files::FileResult result = trelm::files::readMesh(path, kind.format, mesh);
    if (!result.ok)
    {
        state.SkipWithError(result.message.c_str());
        return -1;
    }
    return mesh.getNumTriangles();
}

void readWithAssimp(benchmark::State& state, const std::string& path)
{
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile(path, 0);
    if (!scene)
        state.SkipWithError(importer.GetErrorString());
    benchmark::DoNotOptimize(scene);
}

void BM_readMesh(benchmark::State& state)
{
    const FileKind& kind = kinds[state.range(0)];
    const std::string& path = inputFile(kind);
    // One untimed read by each first: the file was just written, and the first read of freshly
    // written pages costs up to three times a later one, whichever reader comes first.
    readWithLibrary(state, kind, path);
    readWithAssimp(state, path);
    double librarySeconds = 0.0, assimpSeconds = 0.0;
    int triangles = 0;
    for (auto _ : state)
    {
        Clock::time_point start = Clock::now();
        triangles = readWithLibrary(state, kind, path);
        const double seconds = secondsSince(start);
        librarySeconds += seconds;
        state.SetIterationTime(seconds);

        start = Clock::now();
        readWithAssimp(state, path);
        assimpSeconds += secondsSince(start);
    }
    const double size = megabytes(path);
    state.counters["MB"] = size;
    state.counters["MB_per_s"] = size * state.iterations() / librarySeconds;
    state.counters["assimp_MB_per_s"] = size * state.iterations() / assimpSeconds;
    state.counters["vs_assimp"] = assimpSeconds / librarySeconds;
    state.counters["triangles"] = triangles;
    state.SetLabel(kind.name);
}

void BM_writeMesh(benchmark::State& state)
{
    const FileKind& kind = kinds[state.range(0)];
    const std::string path = pathOf(kind, "-output");
    const oxGeom::CompactMesh& mesh = benchMesh();
    double seconds = 0.0;
    for (auto _ : state)
    {
        const Clock::time_point start = Clock::now();
        const trelm::files::FileResult result =
            trelm::files::writeMesh(path, kind.format, mesh, optionsOf(kind));
        if (!result.ok)
            state.SkipWithError(result.message.c_str());
        const double elapsed = secondsSince(start);
        seconds += elapsed;
        state.SetIterationTime(elapsed);
    }
    const double size = megabytes(path);
    std::filesystem::remove(path);
    state.counters["MB"] = size;
    state.counters["MB_per_s"] = size * state.iterations() / seconds;
    state.SetLabel(kind.name);
}
}  // namespace

BENCHMARK(BM_readMesh)
    ->DenseRange(0, 2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(BM_writeMesh)
    ->DenseRange(0, 2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

BENCHMARK_MAIN();

#else

#include <cstdio>

int main()
{
    std::puts("meshFiles_bench: built without the mesh file formats or assimp; nothing measured");
    return 0;
}

#endif
