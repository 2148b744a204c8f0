// trelm info on the bundled bunny and on real meshes of every format: each figure it reports is
// recomputed here from the same file, by the library call it names or by brute force.

#include "trelmRunner.h"

#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/MeshCache.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshArea.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshCompact.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/meshComputeBoundary.h>
#include <oxGeom/meshDuplicateTris.h>
#include <oxGeom/meshLongestEdge.h>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <utility>

namespace
{
using namespace clitest;

std::vector<std::string> realMeshes()
{
    std::vector<std::string> paths = {bunnyPath()};
    for (const char* relative :
         {"OBJ/spider.obj", "OBJ/WusonOBJ.obj", "PLY/cube_binary.ply", "STL/sphereWithHole.stl",
          "STL/Spider_binary.stl", "OFF/Wuson.off"})
        if (!assimpModel(relative).empty())
            paths.push_back(assimpModel(relative));
    return paths;
}

// Area summed in double from the float corners, independently of meshArea.
double bruteArea(const oxGeom::CompactMesh& mesh)
{
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        const oxGeom::MeshVertex* v = mesh.getVertices();
        double e1[3], e2[3];
        for (int k = 0; k < 3; ++k)
        {
            e1[k] = double(v[tri[1]][k]) - v[tri[0]][k];
            e2[k] = double(v[tri[2]][k]) - v[tri[0]][k];
        }
        const double c[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                             e1[0] * e2[1] - e1[1] * e2[0]};
        sum += 0.5 * std::sqrt(c[0] * c[0] + c[1] * c[1] + c[2] * c[2]);
    }
    return sum;
}

struct SurfaceCounts
{
    int weldedVertices = 0;
    int components = 0;
    int loops = 0;
    long long euler = 0;
    long long nonManifold = 0;
    long long pinched = 0;  // vertices on more than two boundary edges
};

// Welds a positions-only copy and counts vertices, edges and faces with ordered sets.
SurfaceCounts countSurface(const oxGeom::CompactMesh& mesh)
{
    oxGeom::CompactMesh surface(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr,
                                nullptr);
    surface.copyTriangles(mesh.getNumTriangles(), mesh.getTrianglesRaw());
    oxUtil::Progress progress;
    oxGeom::meshCompact(surface, progress);
    SurfaceCounts counts;
    counts.weldedVertices = surface.getNumVertices();
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(surface, adj);
    counts.components = oxGeom::meshComponents(surface, adj, nullptr);
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::meshAdjVertices(surface, adj, adjVertices);
    oxGeom::MeshBoundaries loops;
    oxGeom::meshComputeBoundary(surface, adj, adjVertices, loops);
    counts.loops = loops.size();
    std::set<int> vertices;
    std::map<std::pair<int, int>, int> edges;
    long long faces = 0;
    for (int t = 0; t < surface.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = surface.getTriangles()[t];
        if (tri[0] == tri[1] || tri[1] == tri[2] || tri[2] == tri[0])
            continue;
        ++faces;
        for (int k = 0; k < 3; ++k)
        {
            vertices.insert(tri[k]);
            ++edges[std::minmax(tri[k], tri[(k + 1) % 3])];
        }
    }
    std::map<int, int> boundaryDegree;
    for (const auto& edge : edges)
    {
        counts.nonManifold += edge.second > 2 ? 1 : 0;
        if (edge.second == 1)
        {
            ++boundaryDegree[edge.first.first];
            ++boundaryDegree[edge.first.second];
        }
    }
    for (const auto& vertex : boundaryDegree)
        counts.pinched += vertex.second > 2 ? 1 : 0;
    counts.euler = (long long)vertices.size() - (long long)edges.size() + faces;
    return counts;
}

Json infoJson(const std::string& path, const std::vector<std::string>& extra = {})
{
    std::vector<std::string> args = {"info", path, "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    const RunResult run = runTrelm(args);
    EXPECT_EQ(run.status, 0) << run.err;
    return parseJson(run.out);
}

TEST(trelmInfo, figuresMatchTheLibraryAndBruteForceOnRealMeshes)
{
    for (const std::string& path : realMeshes())
    {
        SCOPED_TRACE(path);
        const Json info = infoJson(path);
        const oxGeom::CompactMesh mesh = readMesh(path);
        EXPECT_EQ(info["vertices"].number, mesh.getNumVertices());
        EXPECT_EQ(info["triangles"].number, mesh.getNumTriangles());

        oxGeom::MeshPlacement placement;
        placement.mesh = &mesh;
        EXPECT_EQ(info["area"].number, oxGeom::meshArea(placement, oxGeom::VertexChannel));
        EXPECT_NEAR(info["area"].number, bruteArea(mesh), 1e-5 * bruteArea(mesh));
        oxGeom::BoundingBox box;
        oxGeom::meshBoundingBox(mesh, box);
        for (int k = 0; k < 3; ++k)
        {
            EXPECT_EQ(info["boundingBox"]["min"][k].number, box[k]);
            EXPECT_EQ(info["boundingBox"]["max"][k].number, box[k + 3]);
        }
        EXPECT_EQ(info["longestEdge"].number, oxGeom::meshLongestEdge(mesh));

        const SurfaceCounts surface = countSurface(mesh);
        const Json& topology = info["topology"];
        EXPECT_EQ(topology["weldedVertices"].number, surface.weldedVertices);
        EXPECT_EQ(topology["components"].number, surface.components);
        EXPECT_EQ(topology["boundaryLoops"].number, surface.loops);
        EXPECT_EQ(topology["eulerCharacteristic"].number, surface.euler);
        EXPECT_EQ(topology["nonManifoldEdges"].number, surface.nonManifold);
        EXPECT_EQ(topology["pinchedBoundaryVertices"].number, surface.pinched);
        const long long twiceGenus = 2LL * surface.components - surface.loops - surface.euler;
        if (surface.nonManifold == 0 && surface.pinched == 0 && twiceGenus >= 0 &&
            twiceGenus % 2 == 0)
            EXPECT_EQ(topology["genus"].number, twiceGenus / 2);
        else
            EXPECT_TRUE(topology["genus"].isNull());

        oxGeom::SimpleMeshCache cache;
        EXPECT_EQ(info["octree"]["leaves"].number, cache.getOctree(mesh, 16)->getNumLeaves());
        EXPECT_EQ(info["octree"]["depth"].number, cache.getOctree(mesh, 16)->getMaxDepth());
        long long listings = 0;
        for (int leaf = 0; leaf < cache.getOctreeTris(mesh)->getNumLeaves(); ++leaf)
            listings += cache.getOctreeTris(mesh)->numTris(leaf);
        EXPECT_EQ(info["octree"]["listings"].number, listings);
    }
}

TEST(trelmInfo, bunnyIsOneClosedGenusZeroSurfaceWithNoBadTriangles)
{
    const Json info = infoJson(bunnyPath());
    EXPECT_EQ(info["vertices"].number, 1839);
    EXPECT_EQ(info["usedVertices"].number, 1839);
    EXPECT_EQ(info["triangles"].number, 3674);
    EXPECT_EQ(info["topology"]["components"].number, 1);
    EXPECT_EQ(info["topology"]["boundaryLoops"].number, 0);
    EXPECT_EQ(info["topology"]["eulerCharacteristic"].number, 2);
    EXPECT_EQ(info["topology"]["genus"].number, 0);
    EXPECT_EQ(info["duplicateTriangles"].number, 0);
    EXPECT_EQ(info["degenerateTriangles"]["repeatedVertex"].number, 0);

    // The text report carries the same figures.
    const RunResult text = runTrelm({"info", bunnyPath()});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("triangles            3674\n"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("genus                0\n"), std::string::npos) << text.out;
}

TEST(trelmInfo, duplicatesAndDegeneratesAreCountedAfterWelding)
{
    // Two unit squares' worth of triangles over split vertices:
    //   3---2      triangle 0 (0 1 2), triangle 1 (0 2 3),
    //   | / |      triangle 2 repeats 0 with other vertices at the same positions,
    //   0---1      triangle 3 has corners 0 and 4 at one position (degenerate once welded).
    ScratchDir dir;
    const oxGeom::CompactMesh mesh =
        makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 1, 1, 0},
                 {0, 1, 2, 0, 2, 3, 4, 5, 6, 0, 4, 2});
    writeMesh(dir.path("squares.ply"), mesh);
    const Json info = infoJson(dir.path("squares.ply"));
    EXPECT_EQ(info["topology"]["weldedVertices"].number, 4);
    EXPECT_EQ(info["duplicateTriangles"].number, 1);
    EXPECT_EQ(info["degenerateTriangles"]["repeatedVertex"].number, 1);
    EXPECT_EQ(info["degenerateTriangles"]["repeatedPosition"].number, 0);
    // The duplicate puts a third triangle on the diagonal 0-2: no genus then.
    EXPECT_EQ(info["topology"]["nonManifoldEdges"].number, 1);
    EXPECT_TRUE(info["topology"]["genus"].isNull());
}

TEST(trelmInfo, emptyMeshHasNoBoxAndZeroArea)
{
    ScratchDir dir;
    writeFile(dir.path("empty.off"), "OFF\n0 0 0\n");
    const Json info = infoJson(dir.path("empty.off"));
    EXPECT_EQ(info["triangles"].number, 0);
    EXPECT_EQ(info["area"].number, 0);
    EXPECT_TRUE(info["boundingBox"].isNull());
    EXPECT_EQ(info["topology"]["components"].number, 0);
}

TEST(trelmInfo, reportIsTheSameForEveryThreadCount)
{
    const std::string path =
        assimpModel("OFF/Wuson.off").empty() ? bunnyPath() : assimpModel("OFF/Wuson.off");
    const RunResult one = runTrelm({"--threads", "1", "info", path, "--json"});
    for (const char* threads : {"2", "3", "7"})
    {
        const RunResult many = runTrelm({"info", path, "--json", "--threads", threads});
        EXPECT_EQ(many.status, 0);
        EXPECT_EQ(many.out, one.out) << threads << " threads";
    }
}
}  // namespace
