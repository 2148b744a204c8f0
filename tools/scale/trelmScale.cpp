// The whole pipeline on one generated mesh of a chosen size: weld, adjacency, octree and triangle
// partition, components, boundaries, normals, curvature, a million closest-point queries and a
// million ambient-occlusion rays, deletion of half the mesh, merging it back, and flattening a
// disk patch, with the seconds and the peak resident memory of every stage.
//
// Memory is read from /proc/self/status; before each stage the peak (VmHWM) is reset to the
// current resident size by writing 5 to /proc/self/clear_refs, so every stage reports its own
// peak. The mesh is generated as a triangle soup (three vertices per triangle, as a scanner or an
// STL file delivers it), so the weld does the real work of finding shared vertices.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/MeshDeleteSelected.h>
#include <oxGeom/MeshMerge.h>
#include <oxGeom/MeshPlacement.h>
#include <oxGeom/MeshSubset.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/QuadRay.h>
#include <oxGeom/Remap.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshClosestPoint.h>
#include <oxGeom/meshCompact.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/meshComputeBoundary.h>
#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshExtract.h>
#include <oxGeom/meshNormals.h>
#include <oxGeom/reparameterizeMesh.h>
#include <oxOS/AppOutput.h>
#include <oxUtil/Progress.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr int sheetCount = 4;        // separate wavy sheets: the mesh's components
constexpr float sheetPitch = 1.25f;  // sheets lie side by side along x
constexpr int holeBlock = 48;        // every holeBlock x holeBlock quads of sheets 1.. lose 4 x 4
constexpr long queryCount = 1000000;
constexpr long rayCount = 1000000;

// ---- memory and time ----

/// A field of /proc/self/status in kB ("VmRSS", "VmHWM"), 0 when unreadable.
long statusKb(const char* field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::size_t length = std::strlen(field);
    while (std::getline(status, line))
        if (line.compare(0, length, field) == 0 && line.size() > length && line[length] == ':')
            return std::atol(line.c_str() + length + 1);
    return 0;
}

/// Resets VmHWM to the current resident size (kernel 4.0 and later); false when refused.
bool resetPeak()
{
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    return bool(clear);
}

double mib(long kb)
{
    return kb / 1024.0;
}

struct StageFigures
{
    double seconds = 0;
    long peakKb = 0;
    long rssKb = 0;
};

bool g_peakResets = true;
long g_largestPeakKb = 0;  // the largest stage peak: the process's peak resident size

/// Runs one stage and prints its line: seconds, peak resident memory during it, and resident
/// memory after it.
StageFigures stage(const char* name, const std::function<std::string()>& work)
{
    g_peakResets = resetPeak() && g_peakResets;
    const auto start = std::chrono::steady_clock::now();
    const std::string note = work();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    StageFigures figures{elapsed.count(), statusKb("VmHWM"), statusKb("VmRSS")};
    g_largestPeakKb = std::max(g_largestPeakKb, figures.peakKb);
    std::printf("%-22s %9.3f s %10.1f MiB %10.1f MiB   %s\n", name, figures.seconds,
                mib(figures.peakKb), mib(figures.rssKb), note.c_str());
    std::fflush(stdout);
    return figures;
}

// ---- the generated mesh ----

float height(float x, float y, int sheet)
{
    return 0.05f * std::sin(7.0f * x + sheet) * std::cos(5.0f * y) +
           0.02f * std::sin(23.0f * x * y);
}

bool inHole(int sheet, int i, int j)
{
    if (sheet == 0)  // the sheet the disk patch is cut from stays whole
        return false;
    const int a = i % holeBlock, b = j % holeBlock;
    return a >= holeBlock / 2 && a < holeBlock / 2 + 4 && b >= holeBlock / 2 &&
           b < holeBlock / 2 + 4;
}

/// `sheetCount` height-field sheets of n x n quads (two triangles each, a few square holes in
/// all sheets but the first), written as a soup: three fresh vertices per triangle.
oxGeom::CompactMesh generateSoup(long targetTriangles, int& quadsPerSide)
{
    const int n = std::max(2, int(std::sqrt(double(targetTriangles) / (2.0 * sheetCount))));
    quadsPerSide = n;
    long triangles = 0;
    for (int s = 0; s < sheetCount; ++s)
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
                triangles += inHole(s, i, j) ? 0 : 2;
    oxGeom::CompactMesh mesh;
    mesh.resizeVertexArray(int(3 * triangles));
    mesh.resizeTriangleArray(int(triangles));
    float* v = mesh.getVerticesRaw();
    int* t = mesh.getTrianglesRaw();
    // The shape is the same at every size; the size scales with n so that a quad is always
    // 0.01 units wide. Triangles then stay far above the ray-triangle test's absolute
    // determinant threshold (1e-6, about the square of an edge for a unit direction), which a
    // unit-sized mesh of 10^7 triangles (edges near 1e-3) falls below: no ray would hit it.
    const float h = 1.0f / n, size = 0.01f * n;
    int next = 0;
    auto corner = [&](int s, int i, int j)
    {
        const float x = i * h, y = j * h;
        *v++ = size * (s * sheetPitch + x);
        *v++ = size * y;
        *v++ = size * height(x, y, s);
        *t++ = next++;
    };
    for (int s = 0; s < sheetCount; ++s)
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
            {
                if (inHole(s, i, j))
                    continue;
                corner(s, i, j), corner(s, i + 1, j), corner(s, i + 1, j + 1);
                corner(s, i, j), corner(s, i + 1, j + 1), corner(s, i, j + 1);
            }
    return mesh;
}

oxLinear::Point centroid(const oxGeom::CompactMesh& mesh, int triangle)
{
    const oxGeom::MeshTriangle& tri = mesh.getTriangles()[triangle];
    oxLinear::Point sum(0, 0, 0);
    for (int k = 0; k < 3; ++k)
        for (int a = 0; a < 3; ++a)
            sum[a] += mesh.getVertices()[tri[k]][a] / 3.0;
    return sum;
}

// ---- threaded queries ----

/// Runs `work(begin, end, thread)` over [0, count) in one contiguous slice per hardware thread.
void parallelSlices(long count, const std::function<void(long, long, int)>& work)
{
    const int threads = std::max(1, int(std::thread::hardware_concurrency()));
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back(work, count * t / threads, count * (t + 1) / threads, t);
    for (std::thread& thread : pool)
        thread.join();
}

/// A point of triangle `tri` at barycentric (a, b), moved off the surface along the normal by
/// `offset`.
oxLinear::Point pointNear(const oxGeom::CompactMesh& mesh, int tri, double a, double b,
                          double offset)
{
    if (a + b > 1)
        a = 1 - a, b = 1 - b;
    const int* corners = &mesh.getTrianglesRaw()[3 * tri];
    const oxLinear::Normal n = oxGeom::meshTriNormal(mesh.getVerticesRaw(), corners);
    oxLinear::Point p;
    for (int axis = 0; axis < 3; ++axis)
    {
        const float* v = mesh.getVerticesRaw();
        p[axis] = (1 - a - b) * v[3 * corners[0] + axis] + a * v[3 * corners[1] + axis] +
                  b * v[3 * corners[2] + axis] + offset * n[axis];
    }
    return p;
}

/// Closest points of query points near the surface (within 1 % of the bounding box's diagonal,
/// on either side), as a host projecting scan points or brush positions onto a mesh asks them.
std::string closestQueries(const oxGeom::CompactMesh& mesh, const oxGeom::Octree& octree,
                           const oxGeom::OctreeTris& tris, const oxGeom::BoundingBox& box)
{
    const int threads = std::max(1, int(std::thread::hardware_concurrency()));
    double diagonal2 = 0;
    for (int a = 0; a < 3; ++a)
        diagonal2 += double(box.m_box[a + 3] - box.m_box[a]) * (box.m_box[a + 3] - box.m_box[a]);
    const double reach = 0.01 * std::sqrt(diagonal2);
    std::vector<double> sums(std::size_t(threads), 0.0);
    parallelSlices(queryCount,
                   [&](long begin, long end, int t)
                   {
                       oxGeom::MeshClosestPoint closest(mesh, octree, tris);
                       std::mt19937 random(std::uint32_t(1000 + t));
                       std::uniform_int_distribution<int> pick(0, mesh.getNumTriangles() - 1);
                       std::uniform_real_distribution<double> unit(0.0, 1.0);
                       for (long q = begin; q < end; ++q)
                       {
                           const int tri = pick(random);
                           const double a = unit(random), b = unit(random);
                           const oxLinear::Point p =
                               pointNear(mesh, tri, a, b, reach * (2 * unit(random) - 1));
                           oxGeom::MeshCoord coord;
                           sums[std::size_t(t)] += closest.compute(p, &coord);
                       }
                   });
    double total = 0;
    for (double s : sums)
        total += s;
    char note[96];
    std::snprintf(note, sizeof note, "%ld queries, mean distance %.6f", queryCount,
                  total / queryCount);
    return note;
}

std::string occlusionRays(const oxGeom::CompactMesh& mesh, const oxGeom::Octree& octree,
                          const oxGeom::OctreeTris& tris)
{
    const int threads = std::max(1, int(std::thread::hardware_concurrency()));
    std::vector<long> hits(std::size_t(threads), 0);
    parallelSlices(rayCount / 4,
                   [&](long begin, long end, int t)
                   {
                       oxGeom::QuadRayTracer tracer(octree, tris, &mesh);
                       std::mt19937 random(std::uint32_t(2000 + t));
                       std::uniform_int_distribution<int> pick(0, mesh.getNumTriangles() - 1);
                       std::uniform_real_distribution<float> unit(0.0f, 1.0f);
                       for (long packetIndex = begin; packetIndex < end; ++packetIndex)
                       {
                           const int tri = pick(random);
                           const oxLinear::Normal n = oxGeom::meshTriNormal(
                               mesh.getVerticesRaw(), &mesh.getTrianglesRaw()[3 * tri]);
                           const oxLinear::Point c = centroid(mesh, tri);
                           const oxLinear::PointFlt origin(float(c[0] + 1e-4 * n[0]),
                                                           float(c[1] + 1e-4 * n[1]),
                                                           float(c[2] + 1e-4 * n[2]));
                           oxLinear::VectorFlt d[4];
                           for (oxLinear::VectorFlt& dir : d)
                           {
                               // A random direction in the hemisphere around the normal.
                               oxLinear::VectorFlt r;
                               do
                               {
                                   for (int a = 0; a < 3; ++a)
                                       r[a] = 2 * unit(random) - 1;
                               } while (r[0] * r[0] + r[1] * r[1] + r[2] * r[2] > 1.0f);
                               const float side = float(r[0] * n[0] + r[1] * n[1] + r[2] * n[2]);
                               dir = side < 0 ? oxLinear::VectorFlt(-r[0], -r[1], -r[2]) : r;
                           }
                           oxGeom::QuadRay packet(origin, d[0], d[1], d[2], d[3], true);
                           tracer.intersect(packet);
                           for (int lane = 0; lane < 4; ++lane)
                               hits[std::size_t(t)] += packet.triHit(lane);
                       }
                   });
    long total = 0;
    for (long h : hits)
        total += h;
    char note[96];
    std::snprintf(note, sizeof note, "%ld rays, %.2f%% occluded", rayCount,
                  100.0 * total / rayCount);
    return note;
}

std::string formatCount(const char* what, long value)
{
    return std::string(what) + " " + std::to_string(value);
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || std::atol(argv[1]) < 16)
    {
        std::fprintf(stderr, "usage: %s <triangles>   (at least 16)\n", argv[0]);
        return 2;
    }
    const long requested = std::atol(argv[1]);
    // The flattening's notices are for a user at a screen; here only the figures count.
    oxOS::AppOutput::getInstance().setCallback([](oxOS::AppOutput::Level, const char*) {});
    std::printf("%-22s %11s %14s %14s\n", "stage", "time", "peak resident", "resident after");

    oxGeom::CompactMesh mesh;
    int quadsPerSide = 0;
    stage("generate soup",
          [&]
          {
              mesh = generateSoup(requested, quadsPerSide);
              return formatCount("triangles", mesh.getNumTriangles()) + ", " +
                     formatCount("vertices", mesh.getNumVertices());
          });
    const long triangles = mesh.getNumTriangles();
    const double sheetSize = 0.01 * quadsPerSide;  // as generateSoup scales it

    stage("weld",
          [&]
          {
              oxUtil::Progress progress;
              oxGeom::meshCompact(mesh, progress);
              return formatCount("vertices", mesh.getNumVertices());
          });

    // Adjacency, octree and partition are measured together as well: what a host keeps to run
    // queries and edits on the mesh.
    const long baseKb = statusKb("VmRSS");
    long groupPeakKb = 0;
    oxGeom::MeshAdjTris adj;
    groupPeakKb = std::max(groupPeakKb, stage("adjacency",
                                              [&]
                                              {
                                                  oxGeom::meshAdjTris(mesh, adj);
                                                  return std::string();
                                              })
                                            .peakKb);
    oxGeom::BoundingBox box;
    oxGeom::Octree octree;
    groupPeakKb = std::max(groupPeakKb,
                           stage("octree",
                                 [&]
                                 {
                                     oxGeom::meshBoundingBox(mesh, box);
                                     octree = oxGeom::Octree(mesh.getNumVertices(),
                                                             mesh.getVerticesRaw(), box, true, 16);
                                     return formatCount("leaves", octree.getNumLeaves());
                                 })
                               .peakKb);
    oxGeom::OctreeTris tris;
    const StageFigures partition = stage("partition",
                                         [&]
                                         {
                                             oxGeom::computeOctreeTris(mesh, octree, tris);
                                             return std::string();
                                         });
    groupPeakKb = std::max(groupPeakKb, partition.peakKb);
    const double groupPeakPerTriangle = 1024.0 * (groupPeakKb - baseKb) / triangles;
    const double groupKeptPerTriangle = 1024.0 * (partition.rssKb - baseKb) / triangles;

    oxGeom::MeshAdjVertices adjVertices;
    stage("vertex adjacency",
          [&]
          {
              oxGeom::meshAdjVertices(mesh, adj, adjVertices);
              return std::string();
          });
    stage("components",
          [&]
          {
              ox::Array<int> labels;
              return formatCount("components", oxGeom::meshComponents(mesh, adj, &labels));
          });
    stage("boundaries",
          [&]
          {
              oxGeom::MeshBoundaries boundaries;
              oxGeom::meshComputeBoundary(mesh, adj, adjVertices, boundaries);
              return formatCount("loops", boundaries.size());
          });
    stage("normals",
          [&]
          {
              oxGeom::meshComputeNormals(mesh);
              return std::string();
          });
    stage("curvature",
          [&]
          {
              std::vector<float> curvature(std::size_t(mesh.getNumVertices()));
              oxGeom::meshCurvature(mesh, adj, adjVertices, oxLinear::AffineMatrixFlt(1.0f),
                                    oxGeom::MeanCurvature, curvature.data());
              double sum = 0;
              for (float c : curvature)
                  sum += std::fabs(c);
              char note[64];
              std::snprintf(note, sizeof note, "mean |H| %.4f", sum / curvature.size());
              return std::string(note);
          });
    stage("closest points", [&] { return closestQueries(mesh, octree, tris, box); });
    stage("occlusion rays", [&] { return occlusionRays(mesh, octree, tris); });

    // Half the mesh (triangles with a centroid in the lower half of the sheets) is deleted and kept
    // aside, then merged back with exact welding, which must give the welded mesh's counts again.
    const int weldedVertices = mesh.getNumVertices();
    const int weldedTriangles = mesh.getNumTriangles();
    oxGeom::CompactMesh lowerHalf;
    stage("delete half",
          [&]
          {
              ox::vector<int> lower;
              for (int t = 0; t < mesh.getNumTriangles(); ++t)
                  if (centroid(mesh, t)[1] < 0.5 * sheetSize)
                      lower.push_back(t);
              const oxGeom::MeshSubset subset(0, nullptr, int(lower.size()), lower.data());
              oxGeom::meshExtract(lowerHalf, mesh, subset);
              oxGeom::MeshDeleteSelected deleter(mesh);
              deleter(adj, lower);
              return formatCount("triangles left", mesh.getNumTriangles());
          });
    adj = oxGeom::MeshAdjTris();
    adjVertices = oxGeom::MeshAdjVertices();
    tris = oxGeom::OctreeTris();
    octree = oxGeom::Octree();
    bool mergeRestored = false;
    stage("merge",
          [&]
          {
              ox::list<oxGeom::MeshPlacement> sources(1);
              sources.front().mesh = &lowerHalf;
              oxGeom::MeshMerge merge(mesh, sources, 0.0f);
              oxUtil::Progress progress;
              merge.merge(progress);
              mergeRestored = mesh.getNumVertices() == weldedVertices &&
                              mesh.getNumTriangles() == weldedTriangles;
              return formatCount("vertices", mesh.getNumVertices()) +
                     (mergeRestored ? " (as welded)" : " (differs from the welded mesh)");
          });
    lowerHalf = oxGeom::CompactMesh();

    bool flattened = false;
    stage("flatten disk patch",
          [&]
          {
              // A disk of about T / 50 triangles (at least 100, at most 50000) from the middle of
              // the first sheet.
              const double patchTriangles = std::min(50000.0, std::max(100.0, triangles / 50.0));
              const double h = sheetSize / quadsPerSide;
              const double radius = std::sqrt(patchTriangles * h * h / 2 / M_PI);
              ox::vector<int> inside;
              for (int t = 0; t < mesh.getNumTriangles(); ++t)
              {
                  const oxLinear::Point c = centroid(mesh, t);
                  if (std::hypot(c[0] - 0.5 * sheetSize, c[1] - 0.5 * sheetSize) < radius)
                      inside.push_back(t);
              }
              oxGeom::CompactMesh patch;
              oxGeom::meshExtract(
                  patch, mesh, oxGeom::MeshSubset(0, nullptr, int(inside.size()), inside.data()));
              oxGeom::reparameterizeMesh flatten(patch);
              flattened = flatten.flatten();
              return formatCount("patch triangles", patch.getNumTriangles()) +
                     (flattened ? ", flattened" : ", NOT flattened");
          });

    std::printf(
        "adjacency + octree + partition: peak %.1f bytes per triangle, kept %.1f bytes "
        "per triangle (%ld triangles)%s\n",
        groupPeakPerTriangle, groupKeptPerTriangle, triangles,
        g_peakResets ? "" : " [peak reset refused: peaks are process-wide]");
    std::printf("process peak resident %.1f MiB (the largest stage peak)\n", mib(g_largestPeakKb));
    return mergeRestored && flattened ? 0 : 1;
}
