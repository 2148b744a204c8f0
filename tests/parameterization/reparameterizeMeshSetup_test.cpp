// reparameterizeMesh's solve: the layouts are judged by an energy computed independently of
// the assembly (Jacobians in each triangle's own plane): planar patches must come back as
// similar copies, a curved disk must sit at a minimum of the energy, and no layout of the
// test disks may fold over. Also the solver's progress lines and the safe handling of
// vertices that no triangle with area uses.

#include <oxGeom/reparameterizeMesh.h>

#include <oxGeom/cutSurface.h>

#include "parameterization/flattenTestSupport.h"
#include "support/diskMeshes.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>

using flattentest::OutputCapture;

namespace
{
// Every UV finite and in [0, 1]; with `spanning`, the layout also touches 0 in u and v and 1
// in one of them.
void expectInUnitSquare(const oxGeom::CompactMesh& mesh, bool spanning = true)
{
    float lowU = 1.0f, lowV = 1.0f, highU = 0.0f, highV = 0.0f;
    for (int i = 0; i < mesh.getNumVertices(); ++i)
    {
        const oxGeom::MeshUV& uv = mesh.getUVs()[i];
        ASSERT_TRUE(std::isfinite(uv[0]) && std::isfinite(uv[1])) << i;
        lowU = std::min(lowU, uv[0]);
        lowV = std::min(lowV, uv[1]);
        highU = std::max(highU, uv[0]);
        highV = std::max(highV, uv[1]);
    }
    EXPECT_GE(std::min(lowU, lowV), 0.0f);
    EXPECT_LE(std::max(highU, highV), 1.0f);
    if (!spanning)
        return;
    EXPECT_EQ(lowU, 0.0f);
    EXPECT_EQ(lowV, 0.0f);
    EXPECT_EQ(std::max(highU, highV), 1.0f);
}

oxGeom::CompactMesh flattened(oxGeom::CompactMesh mesh, bool weld = true)
{
    OutputCapture quiet;
    oxGeom::reparameterizeMesh job(mesh);
    job.enableMeshCompact(weld);
    EXPECT_TRUE(job.flatten());
    return mesh;
}

// A jittered grid on the plane through (1, 2, 3) spanned by two tilted unit directions.
oxGeom::CompactMesh tiltedPatch(int nx, int ny)
{
    std::mt19937 random(17);
    std::uniform_real_distribution<float> jitter(-0.25f, 0.25f);
    const double e1[3] = {0.8, 0.0, 0.6}, e2[3] = {0.0, 1.0, 0.0};
    std::vector<float> p;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
        {
            const double x = i + jitter(random), y = 0.5 * j + 0.5 * jitter(random);
            for (int k = 0; k < 3; ++k)
                p.push_back(static_cast<float>(1.0 + k + x * e1[k] + y * e2[k]));
        }
    std::vector<int> t;
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            const int a = j * (nx + 1) + i, b = a + 1, c = b + nx + 1, d = a + nx + 1;
            t.insert(t.end(), {a, b, c, a, c, d});
        }
    return diskmeshes::meshFrom(p, t);
}
}  // namespace

TEST(reparameterizeMeshSetup, planarPatchesComeBackAsSimilarCopies)
{
    // A single triangle (one free vertex between two pinned ones), a tilted jittered patch,
    // and a planar grid with a vertex that no triangle uses, which keeps its projected place.
    oxGeom::CompactMesh withUnused = fixtures::gridMesh(4, 3);
    std::vector<float> p(withUnused.getVerticesRaw(),
                         withUnused.getVerticesRaw() + 3 * withUnused.getNumVertices());
    p.insert(p.end(), {9.0f, 9.0f, 0.0f});
    withUnused = diskmeshes::meshFrom(
        p, std::vector<int>(withUnused.getTrianglesRaw(),
                            withUnused.getTrianglesRaw() + 3 * withUnused.getNumTriangles()));
    const std::pair<const char*, oxGeom::CompactMesh> cases[] = {
        {"triangle", diskmeshes::meshFrom({0, 0, 0, 2, 0, 0, 0.5f, 1, 0}, {0, 1, 2})},
        {"tilted patch", tiltedPatch(9, 7)},
        {"unused vertex", withUnused}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.first);
        const oxGeom::CompactMesh mesh = flattened(c.second);
        expectInUnitSquare(mesh);
        const diskmeshes::LayoutQuality quality = diskmeshes::layoutQuality(mesh);
        EXPECT_EQ(quality.flipped, 0);
        EXPECT_LT(quality.angleError95, 1e-3);
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            EXPECT_GT(diskmeshes::uvArea2(mesh, t), 0.0);
        EXPECT_LT(flattentest::conformalEnergy(mesh, flattentest::uvsOf(mesh)), 1e-9);
    }
}

TEST(reparameterizeMeshSetup, curvedDisksFlattenWithoutFoldsAtTheEnergyMinimum)
{
    const oxGeom::CompactMesh hemisphere = flattened(diskmeshes::hemisphere(12, 48));
    const oxGeom::CompactMesh holed = flattened(diskmeshes::hemisphere(12, 48, 1.0, 4));
    // Welding would close the cut again (its two sides lie on the same points), so the weld
    // is undone for the cut torus.
    oxGeom::CompactMesh torus = diskmeshes::torus(24, 10);
    oxGeom::cutSurface::makeDisk(torus);
    const oxGeom::CompactMesh cutTorus = flattened(torus, false);
    for (const oxGeom::CompactMesh* mesh : {&hemisphere, &holed, &cutTorus})
    {
        expectInUnitSquare(*mesh);
        const diskmeshes::LayoutQuality quality = diskmeshes::layoutQuality(*mesh);
        EXPECT_EQ(quality.flipped, 0);
        // All triangles keep the winding they have in space.
        EXPECT_GT(diskmeshes::uvArea2(*mesh, 0), 0.0);
        EXPECT_LT(quality.meanAngleError, 3.0);
    }

    // Any layout with two vertices held where they are is at best as good as the result:
    // nudging the others either way raises the energy (first-order optimality, up to the
    // solver's tolerance and the float rounding of the UVs).
    const std::vector<double> uv = flattentest::uvsOf(hemisphere);
    const double best = flattentest::conformalEnergy(hemisphere, uv);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> nudge(-1.0, 1.0);
    for (int trial = 0; trial < 20; ++trial)
    {
        std::vector<double> plus = uv, minus = uv;
        for (size_t k = 4; k < uv.size(); ++k)
        {
            const double d = 2e-3 * nudge(random);
            plus[k] += d;
            minus[k] -= d;
        }
        EXPECT_GT(flattentest::conformalEnergy(hemisphere, plus), best) << trial;
        EXPECT_GT(flattentest::conformalEnergy(hemisphere, minus), best) << trial;
    }
}

TEST(reparameterizeMeshSetup, solverReportsItsProgressTwentyTimesOverLargeSystems)
{
    // 169 vertices: 334 unknowns, a line every 16 steps until the solver stops.
    oxGeom::CompactMesh mesh = diskmeshes::hemisphere(12, 14);
    const int n = 2 * mesh.getNumVertices() - 4;
    OutputCapture output;
    oxGeom::reparameterizeMesh job(mesh);
    ASSERT_TRUE(job.flatten());
    const std::vector<std::string> lines = output.starting("I:Parameterization");
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[1], "I:Parameterization   5.0% complete\n");
    for (size_t k = 1; k + 1 < lines.size(); ++k)
    {
        char expected[64];
        std::snprintf(
            expected, sizeof expected, "I:Parameterization %5.1f%% complete\n",
            static_cast<float>((k - 1) * (n / 20)) / static_cast<float>(n) * 90.0f + 5.0f);
        EXPECT_EQ(lines[k], expected);
    }
    EXPECT_LE(lines.size(), 22u);
    EXPECT_EQ(lines.back().compare(0, 37, "I:Parameterization: CG finished, code"), 0);

    // Small systems stay quiet until the end.
    OutputCapture small;
    flattened(fixtures::gridMesh(5, 5));  // 72 unknowns
    EXPECT_TRUE(small.starting("I:Parameterization ").empty());
}

TEST(reparameterizeMeshSetup, closedSurfacesAreCutBeforeTheSolve)
{
    // A closed sphere and a torus: the working copy is cut open, the target keeps its
    // vertices and gets one UV per vertex, inside the unit square (which the copies made by
    // the cut may span alone).
    for (const oxGeom::CompactMesh& shape :
         {fixtures::icosphere(2, 1.0f), diskmeshes::torus(16, 8)})
    {
        oxGeom::CompactMesh mesh = shape;
        OutputCapture output;
        oxGeom::reparameterizeMesh job(mesh);
        ASSERT_TRUE(job.flatten());
        EXPECT_EQ(mesh.getNumVertices(), shape.getNumVertices());
        expectInUnitSquare(mesh, false);
        const std::vector<std::string> counts = output.starting("I:getMeshGenus: numBoundaries");
        EXPECT_EQ(counts, std::vector<std::string>({"I:getMeshGenus: numBoundaries 0 \n",
                                                    "I:getMeshGenus: numBoundaries 1 \n"}));
        EXPECT_TRUE(output.contains("I:getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n"));
    }
}

TEST(reparameterizeMeshSetup, trianglesNamingMissingVerticesAreLeftOutOfTheSolve)
{
    const oxGeom::CompactMesh grid = fixtures::gridMesh(3, 3);
    const oxGeom::CompactMesh plain = flattened(grid);
    for (int missing : {99, -5})
    {
        oxGeom::CompactMesh mesh = grid;
        std::vector<int> t(grid.getTrianglesRaw(), grid.getTrianglesRaw() + 3 * 18);
        t.insert(t.end(), {0, 1, missing});
        mesh.copyTriangles(19, t.data());
        mesh = flattened(mesh);
        EXPECT_EQ(std::vector<float>(mesh.getUVsRaw(), mesh.getUVsRaw() + 32),
                  std::vector<float>(plain.getUVsRaw(), plain.getUVsRaw() + 32));
    }
}
