// The trelm subcommands that write a changed mesh (convert, weld, clean, normals, curvature,
// merge), checked by reading their output back and comparing it with the input: geometry by
// brute force, derived data with the library call that defines it.

#include "trelmRunner.h"

#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshAttributes.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshDuplicateTris.h>
#include <oxGeom/meshNormals.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

namespace
{
using namespace clitest;

using Position = std::array<float, 3>;

Position corner(const oxGeom::CompactMesh& mesh, int triangle, int k)
{
    const oxGeom::MeshVertex& v = mesh.getVertices()[mesh.getTriangles()[triangle][k]];
    return {v[0], v[1], v[2]};
}

// Each triangle as its three corner positions in order: what welding must not change.
std::vector<std::array<Position, 3>> trianglePositions(const oxGeom::CompactMesh& mesh)
{
    std::vector<std::array<Position, 3>> result;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        result.push_back({corner(mesh, t, 0), corner(mesh, t, 1), corner(mesh, t, 2)});
    return result;
}

std::size_t distinctPositions(const oxGeom::CompactMesh& mesh)
{
    std::set<Position> positions;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        positions.insert(
            {mesh.getVertices()[v][0], mesh.getVertices()[v][1], mesh.getVertices()[v][2]});
    return positions.size();
}

// A cube with each face on its own four vertices (24 in all), two triangles per face, and a
// one-float channel "quality" numbering the vertices.
oxGeom::CompactMesh splitCube(float jitter)
{
    std::vector<float> xyz;
    std::vector<int> corners;
    for (int axis = 0; axis < 3; ++axis)
        for (int side = 0; side < 2; ++side)
        {
            const int base = int(xyz.size() / 3);
            for (int k = 0; k < 4; ++k)
            {
                float p[3];
                p[axis] = float(side);
                p[(axis + 1) % 3] = float(k == 1 || k == 2);
                p[(axis + 2) % 3] = float(k >= 2);
                xyz.insert(xyz.end(), {p[0] + jitter * base, p[1], p[2] - jitter * k});
            }
            corners.insert(corners.end(), {base, base + 1, base + 2, base, base + 2, base + 3});
        }
    oxGeom::CompactMesh mesh = makeMesh(xyz, corners);
    float* quality = mesh.allocAttributes("quality", 1)->asFloat();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        quality[v] = float(v);
    return mesh;
}

RunResult runOk(const std::vector<std::string>& args)
{
    RunResult run = runTrelm(args);
    EXPECT_EQ(run.status, 0) << run.err;
    return run;
}

TEST(trelmConvert, everyFormatKeepsPositionsAndTriangles)
{
    ScratchDir dir;
    const oxGeom::CompactMesh bunny = readMesh(bunnyPath());
    for (const char* name :
         {"b.obj", "b.off", "b.ply", "b.trelm", "b.stl", "ascii.ply", "ascii.stl"})
    {
        SCOPED_TRACE(name);
        const std::string out = dir.path(name);
        std::vector<std::string> args = {"convert", bunnyPath(), "-o", out};
        if (std::string(name).rfind("ascii", 0) == 0)
            args.push_back("--ascii");
        runOk(args);
        const oxGeom::CompactMesh copy = readMesh(out);
        ASSERT_EQ(copy.getNumTriangles(), bunny.getNumTriangles());
        ASSERT_EQ(copy.getNumVertices(), bunny.getNumVertices());
        if (std::string(name).find(".stl") != std::string::npos)
        {
            // STL stores corners per triangle and welds on reading: same triangles, renumbered.
            EXPECT_EQ(trianglePositions(copy).size(), trianglePositions(bunny).size());
            auto a = trianglePositions(copy), b = trianglePositions(bunny);
            std::sort(a.begin(), a.end());
            std::sort(b.begin(), b.end());
            EXPECT_TRUE(a == b);
        }
        else
            EXPECT_TRUE(trianglePositions(copy) == trianglePositions(bunny));
    }
}

TEST(trelmWeld, mergesEqualPositionsKeepingCornersAndVertexData)
{
    ScratchDir dir;
    const oxGeom::CompactMesh cube = splitCube(0.0f);
    writeMesh(dir.path("cube.ply"), cube);
    const RunResult run = runOk({"weld", dir.path("cube.ply"), "-o", dir.path("welded.ply")});
    EXPECT_EQ(run.out, "weld: 24 -> 8 vertices (16 merged), 12 triangles\n");
    const oxGeom::CompactMesh welded = readMesh(dir.path("welded.ply"));
    EXPECT_EQ(welded.getNumVertices(), 8);
    EXPECT_TRUE(trianglePositions(welded) == trianglePositions(cube));
    // The merged vertex keeps the data of the highest-numbered vertex it replaces.
    const oxGeom::MeshAttributes* quality = welded.getAttributes("quality");
    ASSERT_NE(quality, nullptr);
    for (int v = 0; v < welded.getNumVertices(); ++v)
    {
        float highest = -1.0f;
        for (int u = 0; u < cube.getNumVertices(); ++u)
            if (std::equal(cube.getVertices()[u].v, cube.getVertices()[u].v + 3,
                           welded.getVertices()[v].v))
                highest = float(u);
        EXPECT_EQ(quality->asFloat()[v], highest) << "vertex " << v;
    }
}

TEST(trelmWeld, toleranceMergesNearbyVerticesAndExactWeldDoesNot)
{
    ScratchDir dir;
    writeMesh(dir.path("jittered.ply"), splitCube(1e-6f));
    runOk({"weld", dir.path("jittered.ply"), "-o", dir.path("exact.ply")});
    EXPECT_EQ(readMesh(dir.path("exact.ply")).getNumVertices(), 24);
    runOk({"weld", dir.path("jittered.ply"), "-o", dir.path("near.ply"), "--tolerance", "1e-4"});
    const oxGeom::CompactMesh near = readMesh(dir.path("near.ply"));
    EXPECT_EQ(near.getNumVertices(), 8);
    EXPECT_EQ(near.getNumTriangles(), 12);
    EXPECT_EQ(near.getAttributes("quality"), nullptr);  // no single value per merged vertex

    const RunResult quiet = runOk({"--quiet", "weld", dir.path("jittered.ply"), "-o",
                                   dir.path("quiet.ply"), "--tolerance", "1e-4"});
    EXPECT_TRUE(quiet.out.empty() && quiet.err.empty()) << quiet.out << quiet.err;
    EXPECT_EQ(readFile(dir.path("quiet.ply")), readFile(dir.path("near.ply")));
}

TEST(trelmClean, removesEveryDuplicateAndDegenerateTriangleAndNothingElse)
{
    ScratchDir dir;
    std::vector<std::string> inputs = {dir.path("made.ply")};
    // Over split positions: a square (0 1 2) (0 2 3), (4 5 6) repeating (0 1 2) reversed,
    // (0 4 1) degenerate once 4 merges with 0.
    writeMesh(inputs[0], makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 1, 1, 0},
                                  {0, 1, 2, 0, 2, 3, 6, 5, 4, 0, 4, 1}));
    if (!assimpModel("OBJ/spider.obj").empty())
        inputs.push_back(assimpModel("OBJ/spider.obj"));
    for (const std::string& input : inputs)
    {
        SCOPED_TRACE(input);
        runOk({"clean", input, "-o", dir.path("clean.ply")});
        const oxGeom::CompactMesh before = readMesh(input);
        const oxGeom::CompactMesh after = readMesh(dir.path("clean.ply"));
        oxGeom::MeshDuplicateTrisResult left;
        EXPECT_FALSE(oxGeom::meshDuplicateTris(after, left));
        // Brute force: the distinct sets of three distinct corner positions of the input.
        std::set<std::array<Position, 3>> expected, got;
        for (const auto& tri : trianglePositions(before))
        {
            std::array<Position, 3> sorted = tri;
            std::sort(sorted.begin(), sorted.end());
            if (sorted[0] != sorted[1] && sorted[1] != sorted[2])
                expected.insert(sorted);
        }
        for (const auto& tri : trianglePositions(after))
        {
            std::array<Position, 3> sorted = tri;
            std::sort(sorted.begin(), sorted.end());
            got.insert(sorted);
        }
        EXPECT_EQ(std::size_t(after.getNumTriangles()), expected.size());
        EXPECT_TRUE(got == expected);
    }
}

TEST(trelmNormals, equalTheLibrarysNormalsOfTheInput)
{
    ScratchDir dir;
    runOk({"normals", bunnyPath(), "-o", dir.path("n.ply")});
    oxGeom::CompactMesh expected = readMesh(bunnyPath());
    oxGeom::meshComputeNormals(expected);
    const oxGeom::CompactMesh got = readMesh(dir.path("n.ply"));
    ASSERT_NE(got.getNormals(), nullptr);
    ASSERT_EQ(got.getNumVertices(), expected.getNumVertices());
    for (int v = 0; v < got.getNumVertices(); ++v)
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(got.getNormals()[v][k], expected.getNormals()[v][k]) << v;
    double minLength = 2.0, maxLength = 0.0;
    for (int v = 0; v < got.getNumVertices(); ++v)
    {
        const float* n = got.getNormals()[v].v;
        const double length = std::sqrt(double(n[0]) * n[0] + double(n[1]) * n[1] + n[2] * n[2]);
        minLength = std::min(minLength, length);
        maxLength = std::max(maxLength, length);
    }
    EXPECT_NEAR(minLength, 1.0, 1e-6);
    EXPECT_NEAR(maxLength, 1.0, 1e-6);
}

TEST(trelmCurvature, channelAndSummaryMatchTheLibrary)
{
    ScratchDir dir;
    const RunResult run =
        runOk({"curvature", bunnyPath(), "--kind", "gaussian", "-o", dir.path("k.ply")});
    oxGeom::CompactMesh mesh = readMesh(bunnyPath());
    oxGeom::meshComputeNormals(mesh);
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::meshAdjVertices(mesh, adj, adjVertices);
    std::vector<float> expected(std::size_t(mesh.getNumVertices()));
    oxGeom::meshCurvature(mesh, adj, adjVertices, oxLinear::AffineMatrixFlt(1.0f),
                          oxGeom::GaussianCurvature, expected.data());

    const oxGeom::CompactMesh got = readMesh(dir.path("k.ply"));
    const oxGeom::MeshAttributes* channel = got.getAttributes("curvature");
    ASSERT_NE(channel, nullptr);
    ASSERT_EQ(channel->getNumElements(), mesh.getNumVertices());
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        ASSERT_EQ(channel->asFloat()[v], expected[std::size_t(v)]) << v;

    const auto [low, high] = std::minmax_element(expected.begin(), expected.end());
    char line[200];
    std::snprintf(line, sizeof line, "  min %.6g  ", *low);
    EXPECT_NE(run.out.find(line), std::string::npos) << run.out;
    std::snprintf(line, sizeof line, "  max %.6g\n", *high);
    EXPECT_NE(run.out.find(line), std::string::npos) << run.out;
    EXPECT_EQ(run.out.rfind("gaussian curvature over 1839 vertices\n", 0), 0u) << run.out;
}

TEST(trelmMerge, weldsVerticesSharedByTheInputsUnlessToldNotTo)
{
    // The bunny's triangles split into two files, each keeping every vertex.
    ScratchDir dir;
    const oxGeom::CompactMesh bunny = readMesh(bunnyPath());
    const int half = bunny.getNumTriangles() / 2;
    const int* corners = bunny.getTrianglesRaw();
    oxGeom::CompactMesh first = bunny, second = bunny;
    first.copyTriangles(half, corners);
    second.copyTriangles(bunny.getNumTriangles() - half, corners + 3 * half);
    writeMesh(dir.path("first.ply"), first);
    writeMesh(dir.path("second.ply"), second);

    runOk({"merge", dir.path("first.ply"), dir.path("second.ply"), "-o", dir.path("m.ply")});
    const oxGeom::CompactMesh merged = readMesh(dir.path("m.ply"));
    EXPECT_EQ(std::size_t(merged.getNumVertices()), distinctPositions(bunny));
    EXPECT_TRUE(trianglePositions(merged) == trianglePositions(bunny));

    runOk({"merge", dir.path("first.ply"), dir.path("second.ply"), "-o", dir.path("c.ply"),
           "--no-weld"});
    const oxGeom::CompactMesh concatenated = readMesh(dir.path("c.ply"));
    EXPECT_EQ(concatenated.getNumVertices(), 2 * bunny.getNumVertices());
    EXPECT_TRUE(trianglePositions(concatenated) == trianglePositions(bunny));
}
}  // namespace
