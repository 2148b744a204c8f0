// reparameterizeMesh: the stages of flatten as a caller sees them (messages and captions in
// order, the refusals, cancellation at every polling point, the weld check, the plane
// choice), and the alternative boundary finder. Every refused or cancelled run is checked to
// leave every array of the target as it was and to announce nothing.

#include <oxGeom/reparameterizeMesh.h>

#include <oxGeom/MeshModification.h>

#include "parameterization/flattenTestSupport.h"
#include "support/debugCapture.h"
#include "support/diskMeshes.h"
#include "support/meshBuild.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

using flattentest::CaptionLog;
using flattentest::MeshSnapshot;
using flattentest::OutputCapture;
using Lines = std::vector<std::string>;

namespace
{
const Lines allCaptions = {"Copying Mesh",    "Finding Mesh Boundaries", "Getting Extreme Vertices",
                           "Creating Plane",  "Filling Mesh Holes",      "Solving",
                           "Applying to Mesh"};

Lines genusLines(int loops, int boundaryEdges, int vertices, int triangles)
{
    const int edges = (boundaryEdges + 3 * triangles) / 2;
    const int chi = loops + vertices + triangles - edges;
    const std::string c = std::to_string(chi);
    return {
        "I:getMeshGenus: numBoundaries " + std::to_string(loops) + " \n",
        "I:getMeshGenus: numBoundaryEdges " + std::to_string(boundaryEdges) + " \n",
        "I:getMeshGenus: numVertices " + std::to_string(vertices) + " \n",
        "I:getMeshGenus: numTriangles " + std::to_string(triangles) + " \n",
        "I:getMeshGenus: numEdges " + std::to_string(edges) + " \n",
        "I:getMeshGenus: chi = " + std::to_string(loops) + " + " + std::to_string(vertices) +
            " + " + std::to_string(triangles) + " - " + std::to_string(edges) + " = " + c + " \n",
        "I:getMeshGenus: genus = ( 2 - " + c + " ) / 2 = " + std::to_string((2 - chi) / 2) + " \n"};
}

Lines concat(std::initializer_list<Lines> parts)
{
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// A strip of nx by ny quads rolled into a tube whose last column repeats the first column's
// positions with vertices of its own, so that welding closes the tube.
oxGeom::CompactMesh rolledStrip(int nx, int ny)
{
    std::vector<float> p;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
        {
            const double a = 2.0 * diskmeshes::pi * (i % nx) / nx;
            p.insert(p.end(), {static_cast<float>(std::cos(a)), static_cast<float>(std::sin(a)),
                               static_cast<float>(j) / ny});
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

TEST(reparameterizeMesh, successfulRunReportsEveryStageInOrder)
{
    // The unit square, pinned at two of its corners, flattens onto itself.
    oxGeom::CompactMesh mesh = fixtures::unitSquare();
    testsupport::ModificationLog log(mesh);
    OutputCapture output;
    CaptionLog progress;
    oxGeom::reparameterizeMesh job(mesh);
    ASSERT_TRUE(job.flatten(progress.progress));
    EXPECT_EQ(output.lines,
              concat({genusLines(1, 4, 4, 2),
                      {"I:- - - MeshReparameterize: genus = 0\n",
                       "I:Parameterization: calculated planeNormal is good.  Using orthogonal "
                       "component.\n",
                       "I:Parameterization: CG finished, code = 1\n"}}));
    EXPECT_EQ(progress.captions, allCaptions);
    EXPECT_NEAR(progress.last, 1.0, 1e-12);

    // A square in a plane z = c keeps its x and y (the pinned corners too): the layout is the
    // square itself, wound as in space.
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_NEAR(mesh.getUVs()[i][0], mesh.getVertices()[i][0], 1e-6) << i;
        EXPECT_NEAR(mesh.getUVs()[i][1], mesh.getVertices()[i][1], 1e-6) << i;
    }
    EXPECT_GT(diskmeshes::uvArea2(mesh, 0), 0.0);
    EXPECT_GT(diskmeshes::uvArea2(mesh, 1), 0.0);
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].type, oxGeom::MeshModification::Attributes);
    EXPECT_EQ(log.notices[0].flags, unsigned(oxGeom::MeshModification::UVsModifiedFlag));
    EXPECT_FALSE(log.notices[0].hasRemap);

    // Existing UVs are overwritten in place, and the plain overload runs the same job.
    oxGeom::reparameterizeMesh again(mesh);
    const oxGeom::MeshUV* before = mesh.getUVs();
    EXPECT_TRUE(again.flatten());
    EXPECT_EQ(mesh.getUVs(), before);
}

TEST(reparameterizeMesh, refusedMeshesAreLeftUntouched)
{
    // Two squares side by side without a shared vertex; a bow-tie whose second loop is two
    // edges long; a triangle repeating a vertex; a closed sphere and a torus with cutting off;
    // an empty mesh.
    std::vector<float> twoSquares = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0,
                                     3, 0, 0, 4, 0, 0, 4, 1, 0, 3, 1, 0};
    const oxGeom::CompactMesh apart =
        diskmeshes::meshFrom(twoSquares, {0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7});
    //   2       3
    //   | \   / |
    //   1--0--4
    const oxGeom::CompactMesh bowTie =
        diskmeshes::meshFrom({0, 0, 0, -1, 0, 0, -1, 1, 0, 1, 1, 0, 1, 0, 0}, {0, 1, 2, 0, 3, 4});
    oxGeom::CompactMesh repeated = fixtures::gridMesh(2, 2);
    std::vector<int> t = testsupport::triangleList(repeated);
    t.insert(t.end(), {4, 4, 5});
    repeated.copyTriangles(static_cast<int>(t.size() / 3), t.data());

    struct Case
    {
        const char* name;
        oxGeom::CompactMesh mesh;
        bool cut;
        Lines expected;
        Lines captions;
    };
    const Lines twoStages = {allCaptions[0], allCaptions[1]};
    const std::vector<Case> cases = {
        {"apart", apart, true,
         concat({genusLines(2, 8, 8, 4),
                 {"I:getMeshGenus: genus = -1 \n", "I:- - - MeshReparameterize: genus = -1\n"}}),
         twoStages},
        {"bow-tie",
         bowTie,
         true,
         {"I:getMeshGenus: numBoundaries 2 \n", "I:getMeshGenus: boundary length < 3 \n",
          "I:- - - MeshReparameterize: genus = -1\n"},
         twoStages},
        {"repeated corner",
         repeated,
         true,
         {"E:Found degenerate triangle 8 (4,4,5), mesh not changed. \n",
          "I:getMeshGenus: testDegenerate == true\n", "I:- - - MeshReparameterize: genus = -1\n"},
         twoStages},
        {"sphere, no cutting", fixtures::icosphere(1, 1.0f), false,
         concat({genusLines(0, 0, 42, 80), {"I:- - - MeshReparameterize: genus = 0\n"}}),
         twoStages},
        {"torus, no cutting", diskmeshes::torus(8, 6), false,
         concat({genusLines(0, 0, 48, 96), {"I:- - - MeshReparameterize: genus = 1\n"}}),
         twoStages},
        {"empty", fixtures::emptyMesh(), true,
         concat({genusLines(0, 0, 0, 0),
                 {"I:- - - MeshReparameterize: genus = 1\n"},
                 genusLines(0, 0, 0, 0)}),
         twoStages},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        oxGeom::CompactMesh mesh = c.mesh;
        testsupport::addEveryChannel(mesh, 5);
        const MeshSnapshot before(mesh);
        testsupport::ModificationLog log(mesh);
        OutputCapture output;
        CaptionLog progress;
        oxGeom::reparameterizeMesh job(mesh);
        job.enableMeshCutSurface(c.cut);
        EXPECT_FALSE(job.flatten(progress.progress));
        EXPECT_EQ(output.lines, c.expected);
        EXPECT_EQ(progress.captions, c.captions);
        EXPECT_TRUE(MeshSnapshot(mesh) == before);
        EXPECT_TRUE(log.notices.empty());
    }

    // Three distinct vertices at one point: with welding allowed they become a degenerate
    // triangle; with the weld undone the loop has no extent, so no outer boundary is found.
    const oxGeom::CompactMesh point = diskmeshes::meshFrom({1, 2, 3, 1, 2, 3, 1, 2, 3}, {0, 1, 2});
    for (bool compact : {true, false})
    {
        oxGeom::CompactMesh mesh = point;
        OutputCapture output;
        CaptionLog progress;
        oxGeom::reparameterizeMesh job(mesh);
        job.enableMeshCompact(compact);
        EXPECT_FALSE(job.flatten(progress.progress));
        EXPECT_EQ(mesh.getUVs(), nullptr);
        if (compact)
            EXPECT_EQ(output.lines, Lines({"E:Found degenerate triangle 0 (0,0,0), mesh not "
                                           "changed. \n",
                                           "I:getMeshGenus: testDegenerate == true\n",
                                           "I:- - - MeshReparameterize: genus = -1\n"}));
        else
            EXPECT_EQ(
                output.lines,
                concat({{"I:prepareMesh: numBoundaries o = 1, c = 0\n",
                         "I:prepareMesh: compacting changed topology, reverting\n"},
                        genusLines(1, 3, 3, 1),
                        {"I:- - - MeshReparameterize: genus = 0\n",
                         "E:There must be a boundary for the disk, none found. No changes made.\n",
                         "I:- - - MeshReparameterize: outerBoundary = -1\n"}}));
        EXPECT_EQ(progress.captions.back(),
                  compact ? "Finding Mesh Boundaries" : "Getting Extreme Vertices");
    }
}

TEST(reparameterizeMesh, cancelledRunLeavesEveryArrayBitForBit)
{
    // Cancelled before the run, while counting boundaries, and in each part of the solve:
    // assembling (every 64 vertices), iterating (every 100 steps) and reading back.
    struct Point
    {
        const char* name;
        std::function<bool(double, const std::string&)> when;
        Lines captions;
    };
    const std::vector<Point> points = {
        {"before", nullptr, {allCaptions[0]}},
        {"boundaries",
         [](double, const std::string& c) { return c == allCaptions[1]; },
         {allCaptions[0], allCaptions[1]}},
        {"assembly", [](double f, const std::string& c) { return c == "Solving" && f > 0.226; },
         Lines(allCaptions.begin(), allCaptions.end() - 1)},
        {"iterations", [](double f, const std::string& c) { return c == "Solving" && f > 0.301; },
         Lines(allCaptions.begin(), allCaptions.end() - 1)},
        {"read-back", [](double f, const std::string& c) { return c == "Solving" && f > 0.901; },
         Lines(allCaptions.begin(), allCaptions.end() - 1)},
    };
    const oxGeom::CompactMesh shape = diskmeshes::hemisphere(16, 64);
    for (const Point& point : points)
    {
        SCOPED_TRACE(point.name);
        oxGeom::CompactMesh mesh = shape;
        testsupport::addEveryChannel(mesh, 9);
        const MeshSnapshot before(mesh);
        testsupport::ModificationLog log(mesh);
        OutputCapture output;
        CaptionLog progress;
        double cancelledAt = -1.0;
        if (point.when)
            progress.hook = [&](double f, const std::string& c)
            {
                if (cancelledAt < 0.0 && point.when(f, c))
                {
                    cancelledAt = f;
                    progress.progress.cancel();
                }
            };
        else
            progress.progress.cancel();
        oxGeom::reparameterizeMesh job(mesh);
        EXPECT_FALSE(job.flatten(progress.progress));
        EXPECT_TRUE(point.when == nullptr || cancelledAt >= 0.0);
        EXPECT_EQ(progress.captions, point.captions);
        EXPECT_TRUE(MeshSnapshot(mesh) == before);
        EXPECT_TRUE(log.notices.empty());
        // The run stopped where it was cancelled: no solver result was reported.
        EXPECT_TRUE(output.starting("I:Parameterization: CG finished").empty() ||
                    std::string(point.name) == "read-back");
    }
}

TEST(reparameterizeMesh, planeChoiceFollowsTheOuterLoop)
{
    // A quad folded about its diagonal 1-3 so that the chord between the pinned vertices 1 and
    // 2 (the ends of the loop's largest extent, along z) is parallel to its vector area (z);
    // and a quad whose vector area vanishes (its diagonals are parallel).
    const oxGeom::CompactMesh folded =
        diskmeshes::meshFrom({-1, 1, 10, 0, 0, 0, 0, 0, 10, 1, 1, 0}, {1, 2, 3, 1, 3, 0});
    const oxGeom::CompactMesh flat =
        diskmeshes::meshFrom({0, 0, 0, 1, 1, 1, 2, 0, 0, -1, 1, 1}, {0, 1, 2, 0, 2, 3});
    const std::pair<oxGeom::CompactMesh, std::string> cases[] = {
        {folded,
         "I:Parameterization: calculated planeNormal is (anti-)parallel to the vector between "
         "the fixed vertices of the 3D-boundary.  Choosing a random orthogonal vector "
         "instead.\n"},
        {flat, "I:Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n"},
        {fixtures::gridMesh(3, 2),
         "I:Parameterization: calculated planeNormal is good.  Using orthogonal component.\n"}};
    for (const auto& c : cases)
    {
        oxGeom::CompactMesh mesh = c.first;
        OutputCapture output;
        oxGeom::reparameterizeMesh job(mesh);
        EXPECT_TRUE(job.flatten());
        EXPECT_EQ(output.starting("I:Parameterization: ").front(), c.second);
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            EXPECT_GT(diskmeshes::uvArea2(mesh, t), 0.0) << c.second;
    }
}

TEST(reparameterizeMesh, weldThatChangesTheLoopsIsUndoneOnlyWhenAsked)
{
    // The rolled strip's seam welds shut, turning one loop into two.
    const int nx = 8, ny = 3;
    for (bool compact : {false, true})
    {
        SCOPED_TRACE(compact);
        oxGeom::CompactMesh mesh = rolledStrip(nx, ny);
        OutputCapture output;
        oxGeom::reparameterizeMesh job(mesh);
        job.enableMeshCompact(compact);
        ASSERT_TRUE(job.flatten());
        const Lines prepare = output.starting("I:prepareMesh");
        EXPECT_EQ(output.starting("I:getMeshGenus: numBoundaries "),
                  Lines({compact ? "I:getMeshGenus: numBoundaries 2 \n"
                                 : "I:getMeshGenus: numBoundaries 1 \n"}));
        if (compact)
            EXPECT_TRUE(prepare.empty());
        else
            EXPECT_EQ(prepare, Lines({"I:prepareMesh: numBoundaries o = 1, c = 2\n",
                                      "I:prepareMesh: compacting changed topology, reverting\n"}));
        // Seam vertices share their UVs only when the weld was kept.
        for (int j = 0; j <= ny; ++j)
        {
            const oxGeom::MeshUV& a = mesh.getUVs()[j * (nx + 1)];
            const oxGeom::MeshUV& b = mesh.getUVs()[j * (nx + 1) + nx];
            EXPECT_EQ(a[0] == b[0] && a[1] == b[1], compact) << j;
        }
    }

    // A weld that keeps the loops is kept even with the flag off: an unused copy of vertex 0
    // merges into it and takes its UV.
    const oxGeom::CompactMesh grid = fixtures::gridMesh(2, 1);
    std::vector<float> p(grid.getVerticesRaw(), grid.getVerticesRaw() + 3 * grid.getNumVertices());
    p.insert(p.end(), {0.0f, 0.0f, 0.0f});
    oxGeom::CompactMesh mesh = diskmeshes::meshFrom(p, testsupport::triangleList(grid));
    OutputCapture output;
    oxGeom::reparameterizeMesh job(mesh);
    job.enableMeshCompact(false);
    ASSERT_TRUE(job.flatten());
    EXPECT_EQ(output.starting("I:prepareMesh"),
              Lines({"I:prepareMesh: numBoundaries o = 1, c = 1\n"}));
    EXPECT_EQ(mesh.getUVs()[6][0], mesh.getUVs()[0][0]);
    EXPECT_EQ(mesh.getUVs()[6][1], mesh.getUVs()[0][1]);
}

TEST(reparameterizeMesh, resultDoesNotDependOnTheThreadCount)
{
    // A triangle soup, so that the weld sorts every vertex on the pool.
    const oxGeom::CompactMesh shape = diskmeshes::hemisphere(6, 20);
    std::vector<float> p;
    std::vector<int> t;
    for (int i = 0; i < 3 * shape.getNumTriangles(); ++i)
    {
        const oxGeom::MeshVertex& v = shape.getVertices()[shape.getTrianglesRaw()[i]];
        p.insert(p.end(), {v[0], v[1], v[2]});
        t.push_back(i);
    }
    std::vector<float> first;
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        oxGeom::CompactMesh mesh = diskmeshes::meshFrom(p, t);
        OutputCapture quiet;
        oxGeom::reparameterizeMesh job(mesh);
        ASSERT_TRUE(job.flatten());
        const std::vector<float> uv(mesh.getUVsRaw(), mesh.getUVsRaw() + 2 * mesh.getNumVertices());
        if (first.empty())
            first = uv;
        EXPECT_EQ(uv, first) << threads << " threads";
    }
}

TEST(reparameterizeMesh, alternativeBoundaryFinderChainsTheLoops)
{
    using Edges = std::vector<oxGeom::reparameterizeMesh::unsortedEdge>;
    oxUtil::Progress progress;
    int count = -1;
    Edges edges;
    oxGeom::reparameterizeMesh::BoundaryLoops loops;

    // An annulus: its boundary edges are those no other triangle runs back, brute force.
    oxGeom::CompactMesh annulus = diskmeshes::hemisphere(5, 12, 1.0, 2);
    std::set<std::pair<int, int>> directed, expected;
    const int* c = annulus.getTrianglesRaw();
    for (int k = 0; k < 3 * annulus.getNumTriangles(); ++k)
        directed.insert({c[k], c[k - k % 3 + (k % 3 + 1) % 3]});
    for (const auto& e : directed)
        if (!directed.count({e.second, e.first}))
            expected.insert(e);
    oxGeom::reparameterizeMesh job(annulus);
    ASSERT_TRUE(job.findBoundaryEdges(count, edges, progress));
    EXPECT_EQ(count, 24);
    std::set<std::pair<int, int>> found;
    for (const auto& e : edges)
    {
        found.insert({e.first, e.second});
        const int* tri = c + 3 * e.triangle;
        EXPECT_TRUE(std::count(tri, tri + 3, e.first) && std::count(tri, tri + 3, e.second));
    }
    EXPECT_EQ(found, expected);
    ASSERT_TRUE(job.orderBoundaries(edges, loops));
    ASSERT_EQ(loops.size(), 2u);
    for (const auto& loop : loops)
    {
        EXPECT_EQ(loop.size(), 12u);
        for (size_t k = 0; k < loop.size(); ++k)
            EXPECT_EQ(loop[k].second, loop[(k + 1) % loop.size()].first);
    }

    // Each malformed input names its fault.
    //   non-manifold: three triangles on edge 0-1; reverse wound: (0 1 2) and (0 1 3) both
    //   run 0 -> 1; degenerate: (2 2 3).
    const oxGeom::CompactMesh reverse =
        diskmeshes::meshFrom({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -1, 0}, {0, 1, 2, 0, 1, 3});
    const oxGeom::CompactMesh degenerate =
        diskmeshes::meshFrom({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {0, 1, 2, 2, 2, 3});
    const std::pair<oxGeom::CompactMesh, std::string> faults[] = {
        {fixtures::nonManifoldEdge(), "E:Invalid mesh, non-manifold triangle 0 (0,1,2) \n"},
        {reverse, "E:Invalid mesh, reverse wound triangle 1 (0,1,3) \n"},
        {degenerate, "E:Found degenerate triangle 1 (2,2,3), mesh not changed. \n"}};
    for (const auto& fault : faults)
    {
        oxGeom::CompactMesh mesh = fault.first;
        OutputCapture output;
        oxGeom::reparameterizeMesh broken(mesh);
        EXPECT_FALSE(broken.findBoundaryEdges(count, edges, progress));
        EXPECT_EQ(output.lines, Lines({fault.second}));
    }

    // An edge missing from a loop leaves it open; a vertex starting two edges pinches it.
    OutputCapture output;
    oxGeom::CompactMesh grid = fixtures::gridMesh(2, 2);
    oxGeom::reparameterizeMesh onGrid(grid);
    ASSERT_TRUE(onGrid.findBoundaryEdges(count, edges, progress));
    edges.pop_back();
    loops.clear();
    EXPECT_FALSE(onGrid.orderBoundaries(edges, loops));
    Edges pinched = {{0, 1, 0}, {1, 2, 0}, {2, 0, 0}, {0, 3, 1}, {3, 4, 1}, {4, 0, 1}};
    EXPECT_FALSE(onGrid.orderBoundaries(pinched, loops));
    Edges shortLoop = {{0, 1, 0}, {1, 0, 1}};
    EXPECT_FALSE(onGrid.orderBoundaries(shortLoop, loops));
    EXPECT_EQ(output.lines, Lines({"E:Found an un-closed boundary, mesh not changed. \n",
                                   "E:A degenerate boundary found, mesh not changed. \n",
                                   "E:A degenerate boundary found, mesh not changed. \n"}));

    // Out-of-range arguments and cancellation are refused quietly.
    output.lines.clear();
    bool isBoundary = true;
    oxGeom::MeshAdjTris adj;
    EXPECT_FALSE(onGrid.compareTriangles(8, 0, adj, isBoundary));
    EXPECT_FALSE(onGrid.compareTriangles(0, 3, adj, isBoundary));
    EXPECT_FALSE(isBoundary);
    oxUtil::Progress cancelled;
    cancelled.cancel();
    EXPECT_FALSE(onGrid.findBoundaryEdges(count, edges, cancelled));
    EXPECT_TRUE(output.lines.empty());
}
