// trelm pack (and flatten): UV layouts read back from the written mesh and checked for what a
// texture needs: inside the unit square, charts apart, shapes kept, geometry untouched.

#include "trelmRunner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace
{
using namespace clitest;

constexpr int chartVertices = 9;  // a 3 x 3 grid of vertices, 8 triangles

struct UvBox
{
    double low[2] = {1e300, 1e300};
    double high[2] = {-1e300, -1e300};
};

// Charts of 3 x 3 vertices, side by side in space, with UV rectangles of assorted sizes and
// aspects that overlap each other and lie outside the unit square.
oxGeom::CompactMesh chartMesh(int charts)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<float> xyz;
    std::vector<int> corners;
    std::vector<float> uv;
    for (int c = 0; c < charts; ++c)
    {
        const float width = 0.2f + 2.0f * unit(random), height = 0.2f + unit(random);
        const float u0 = 3.0f * unit(random), v0 = 3.0f * unit(random) - 1.0f;
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 3; ++i)
            {
                xyz.insert(xyz.end(), {float(4 * c + i), float(j), 0.1f * float(i * j)});
                uv.insert(uv.end(), {u0 + 0.5f * width * float(i), v0 + 0.5f * height * float(j)});
            }
        const int b = chartVertices * c;
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 2; ++i)
            {
                const int a = b + 3 * j + i;
                corners.insert(corners.end(), {a, a + 1, a + 4, a, a + 4, a + 3});
            }
    }
    oxGeom::CompactMesh mesh = makeMesh(xyz, corners);
    std::copy(uv.begin(), uv.end(), &mesh.allocUVArray()[0][0]);
    return mesh;
}

UvBox chartBox(const oxGeom::CompactMesh& mesh, int chart)
{
    UvBox box;
    for (int v = chartVertices * chart; v < chartVertices * (chart + 1); ++v)
        for (int k = 0; k < 2; ++k)
        {
            box.low[k] = std::min(box.low[k], double(mesh.getUVs()[v][k]));
            box.high[k] = std::max(box.high[k], double(mesh.getUVs()[v][k]));
        }
    return box;
}

// A hemisphere of `rings` rings round its pole, `sectors` vertices per ring: a disk.
oxGeom::CompactMesh hemisphere(int rings, int sectors)
{
    std::vector<float> xyz = {0.0f, 0.0f, 1.0f};
    std::vector<int> corners;
    for (int r = 1; r <= rings; ++r)
    {
        const double polar = 0.5 * 3.14159265358979 * r / rings;
        for (int s = 0; s < sectors; ++s)
        {
            const double azimuth = 2.0 * 3.14159265358979 * s / sectors;
            xyz.insert(xyz.end(),
                       {float(std::sin(polar) * std::cos(azimuth)),
                        float(std::sin(polar) * std::sin(azimuth)), float(std::cos(polar))});
        }
    }
    const auto ring = [sectors](int r, int s) { return 1 + (r - 1) * sectors + s % sectors; };
    for (int s = 0; s < sectors; ++s)
        corners.insert(corners.end(), {0, ring(1, s), ring(1, s + 1)});
    for (int r = 1; r < rings; ++r)
        for (int s = 0; s < sectors; ++s)
            corners.insert(corners.end(), {ring(r, s), ring(r + 1, s), ring(r + 1, s + 1),
                                           ring(r, s), ring(r + 1, s + 1), ring(r, s + 1)});
    return makeMesh(xyz, corners);
}

TEST(trelmFlatten, hemisphereGetsUnfoldedUvsInTheUnitSquare)
{
    ScratchDir dir;
    const oxGeom::CompactMesh mesh = hemisphere(12, 32);
    writeMesh(dir.path("dome.ply"), mesh);
    const RunResult run = runTrelm({"flatten", dir.path("dome.ply"), "-o", dir.path("flat.ply"),
                                    "--uv-png", dir.path("flat.png"), "--uv-size", "64"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("; 0 triangles folded over"), std::string::npos) << run.out;
    const oxGeom::CompactMesh flat = readMesh(dir.path("flat.ply"));
    ASSERT_NE(flat.getUVs(), nullptr);
    ASSERT_EQ(flat.getNumTriangles(), mesh.getNumTriangles());
    double reach = 0.0;
    for (int v = 0; v < flat.getNumVertices(); ++v)
        for (int k = 0; k < 2; ++k)
        {
            EXPECT_GE(flat.getUVs()[v][k], -1e-6f);
            EXPECT_LE(flat.getUVs()[v][k], 1.0f + 1e-6f);
            reach = std::max(reach, double(flat.getUVs()[v][k]));
        }
    EXPECT_GT(reach, 0.999);
    int positive = 0, negative = 0;
    for (int t = 0; t < flat.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = flat.getTriangles()[t];
        const oxGeom::MeshUV &a = flat.getUVs()[tri[0]], &b = flat.getUVs()[tri[1]],
                             &c = flat.getUVs()[tri[2]];
        const double area =
            (b[0] - a[0]) * double(c[1] - a[1]) - (b[1] - a[1]) * double(c[0] - a[0]);
        positive += area > 0 ? 1 : 0;
        negative += area < 0 ? 1 : 0;
    }
    EXPECT_TRUE(positive == flat.getNumTriangles() || negative == flat.getNumTriangles())
        << positive << " positive, " << negative << " negative";
    Picture layout;
    EXPECT_TRUE(readPng(dir.path("flat.png"), layout));
}

TEST(trelmFlatten, refusalIsOneLineAndWritesNothing)
{
    ScratchDir dir;
    // Two triangles apart: two pieces, not a disk.
    writeMesh(dir.path("pieces.ply"),
              makeMesh({0, 0, 0, 1, 0, 0, 0, 1, 0, 5, 0, 0, 6, 0, 0, 5, 1, 0}, {0, 1, 2, 3, 4, 5}));
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"flatten", dir.path("pieces.ply"), "-o", dir.path("o.ply")},
          std::vector<std::string>{"flatten", bunnyPath(), "-o", dir.path("o.ply"), "--no-cut"}})
    {
        const RunResult run = runTrelm(args);
        EXPECT_EQ(run.status, 1) << args[1];
        ASSERT_EQ(lines(run.err).size(), 1u) << run.err;
        EXPECT_EQ(run.err.rfind("trelm: " + args[1] + ": cannot flatten: ", 0), 0u) << run.err;
        EXPECT_FALSE(fileExists(dir.path("o.ply")));
    }
    // A closed mesh is cut open and flattened.
    EXPECT_EQ(runTrelm({"flatten", bunnyPath(), "-o", dir.path("bunny.obj")}).status, 0);
    EXPECT_NE(readMesh(dir.path("bunny.obj")).getUVs(), nullptr);
}

TEST(trelmPack, chartsLieApartInTheUnitSquareWithTheirShapesKept)
{
    const int charts = 12;
    ScratchDir dir;
    const oxGeom::CompactMesh mesh = chartMesh(charts);
    writeMesh(dir.path("charts.ply"), mesh);
    const RunResult run = runTrelm({"pack", dir.path("charts.ply"), "-o", dir.path("packed.ply"),
                                    "--uv-png", dir.path("layout.png"), "--uv-size", "128"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.rfind("pack: 12 charts, ", 0), 0u) << run.out;
    const oxGeom::CompactMesh packed = readMesh(dir.path("packed.ply"));
    ASSERT_EQ(packed.getNumVertices(), mesh.getNumVertices());
    ASSERT_NE(packed.getUVs(), nullptr);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(packed.getVertices()[v][k], mesh.getVertices()[v][k]);

    double scale = 0.0, reach = 0.0;
    for (int c = 0; c < charts; ++c)
    {
        const UvBox box = chartBox(packed, c);
        for (int k = 0; k < 2; ++k)
        {
            EXPECT_GE(box.low[k], -1e-6) << "chart " << c;
            EXPECT_LE(box.high[k], 1.0 + 1e-6) << "chart " << c;
            reach = std::max(reach, box.high[k]);
        }
        for (int other = 0; other < c; ++other)
        {
            const UvBox b = chartBox(packed, other);
            const bool apart = box.high[0] <= b.low[0] + 1e-6 || b.high[0] <= box.low[0] + 1e-6 ||
                               box.high[1] <= b.low[1] + 1e-6 || b.high[1] <= box.low[1] + 1e-6;
            EXPECT_TRUE(apart) << "charts " << c << " and " << other << " overlap";
        }
        // Every UV offset within the chart is the original one times one scale for all charts.
        const int first = chartVertices * c;
        for (int v = first + 1; v < first + chartVertices; ++v)
            for (int k = 0; k < 2; ++k)
            {
                const double before = double(mesh.getUVs()[v][k]) - mesh.getUVs()[first][k];
                const double after = double(packed.getUVs()[v][k]) - packed.getUVs()[first][k];
                if (before == 0.0)
                {
                    EXPECT_NEAR(after, 0.0, 1e-6);
                    continue;
                }
                if (scale == 0.0)
                    scale = after / before;
                EXPECT_NEAR(after / before, scale, 1e-4 * scale) << "vertex " << v;
            }
    }
    EXPECT_GT(scale, 0.0);
    EXPECT_GT(reach, 0.99);  // the layout is enlarged to touch the square's far side

    Picture layout;
    ASSERT_TRUE(readPng(dir.path("layout.png"), layout));
    EXPECT_EQ(layout.width, 128);
    EXPECT_NE(std::count(layout.rgba.begin(), layout.rgba.end(), 255), long(layout.rgba.size()));
}

TEST(trelmPack, meshWithoutUvsIsRefusedWithoutOutput)
{
    ScratchDir dir;
    const RunResult run = runTrelm({"pack", bunnyPath(), "-o", dir.path("p.ply")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(lines(run.err).size(), 1u) << run.err;
    EXPECT_NE(run.err.find("no UVs"), std::string::npos) << run.err;
    EXPECT_TRUE(dir.files().empty());
}
}  // namespace
