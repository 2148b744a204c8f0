// MeshSelect: lasso selection against an independent projection and winding-number
// test, selection conversions and growth against brute-force loops, inversion of
// partial words, lazy sizing, and the exact diagnostic lines of each operation.

#include <oxGeom/MeshSelect.h>

#include <oxGeom/meshAdjacency.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using oxGeom::BitVector;
using oxGeom::CompactMesh;
using oxGeom::MeshAdjTris;
using oxGeom::MeshSelect;

namespace
{
// A star-shaped polygon about `centre`: k points at ascending angles with
// random radii, so it is simple and its winding number is 1 inside.
ox::vector<oxLinear::Point> starPolygon(std::mt19937& random, double cx, double cy, int k)
{
    ox::vector<oxLinear::Point> polygon;
    for (int i = 0; i < k; ++i)
    {
        const double angle = 2.0 * M_PI * (i + 0.5 * (random() % 1000) / 1000.0) / k;
        const double radius = 0.05 + 0.3 * (random() % 1000) / 1000.0;
        polygon.push_back(
            oxLinear::Point(cx + radius * std::cos(angle), cy + radius * std::sin(angle), 7.0));
    }
    return polygon;
}

// Winding number of a closed polygon about (x, y), summing signed angles.
int windingNumber(const ox::vector<oxLinear::Point>& polygon, double x, double y)
{
    double total = 0;
    for (std::size_t i = 0; i < polygon.size(); ++i)
    {
        const oxLinear::Point& a = polygon[i];
        const oxLinear::Point& b = polygon[(i + 1) % polygon.size()];
        total += std::atan2((a[0] - x) * (b[1] - y) - (a[1] - y) * (b[0] - x),
                            (a[0] - x) * (b[0] - x) + (a[1] - y) * (b[1] - y));
    }
    return static_cast<int>(std::lround(total / (2.0 * M_PI)));
}

double distanceToBoundary(const ox::vector<oxLinear::Point>& polygon, double x, double y)
{
    double best = 1e300;
    for (std::size_t i = 0; i < polygon.size(); ++i)
    {
        const oxLinear::Point& a = polygon[i];
        const oxLinear::Point& b = polygon[(i + 1) % polygon.size()];
        const double ex = b[0] - a[0], ey = b[1] - a[1];
        double t = ((x - a[0]) * ex + (y - a[1]) * ey) / (ex * ex + ey * ey);
        t = std::max(0.0, std::min(1.0, t));
        best = std::min(best, std::hypot(a[0] + t * ex - x, a[1] + t * ey - y));
    }
    return best;
}

// A perspective-like projection: X = x + 0.1 z, Y = y, W = 0.5 z + 1.
oxLinear::ProjMatrix testProjection()
{
    oxLinear::ProjMatrix m(0.0);
    m[0][0] = 1.0;
    m[2][0] = 0.1;
    m[1][1] = 1.0;
    m[2][2] = 1.0;
    m[2][3] = 0.5;
    m[3][3] = 1.0;
    return m;
}

BitVector bitsOf(int size, const std::vector<int>& set)
{
    BitVector bits(size);
    for (int i : set)
        bits.setBit(i);
    return bits;
}

MeshAdjTris adjacencyOf(const CompactMesh& mesh)
{
    MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    return adj;
}
}  // namespace

TEST(MeshSelect, lassoMatchesProjectedWindingNumber)
{
    std::mt19937 random(2024);
    CompactMesh mesh = fixtures::randomMesh(11, 3000, 50);
    const MeshAdjTris adj = adjacencyOf(mesh);
    const oxLinear::ProjMatrix projection = testProjection();
    int checked = 0, inside = 0;
    for (int round = 0; round < 8; ++round)
    {
        const ox::vector<oxLinear::Point> polygon =
            starPolygon(random, 0.2 + 0.05 * round, 0.5, 3 + 2 * round);
        BitVector triangles, vertices(mesh.getNumVertices());
        // Preselected vertices must stay selected whatever the lasso.
        for (int v = 0; v < mesh.getNumVertices(); v += 97)
            vertices.setBit(v);
        const BitVector before = vertices;
        MeshSelect(mesh, adj, triangles, vertices).selectVertices(projection, polygon);

        for (int v = 0; v < mesh.getNumVertices(); ++v)
        {
            const oxGeom::MeshVertex& p = mesh.getVertices()[v];
            oxLinear::Point screen;
            projection.transform(oxLinear::Point(p[0], p[1], p[2]), screen);
            if (distanceToBoundary(polygon, screen[0], screen[1]) < 1e-5)
                continue;  // rounding may go either way this close to an edge
            const bool expected =
                before.isBitSet(v) || windingNumber(polygon, screen[0], screen[1]);
            ASSERT_EQ(vertices.isBitSet(v), expected) << "vertex " << v << " round " << round;
            ++checked;
            inside += windingNumber(polygon, screen[0], screen[1]) != 0;
        }
    }
    EXPECT_GT(checked, 8 * 2990);
    EXPECT_GT(inside, 500);
}

TEST(MeshSelect, lassoSkipsPointsWithZeroWAndShortPolygons)
{
    // Vertex 1 sits on the plane W = 0 (z = -2); its screen point is not finite.
    CompactMesh mesh = testsupport::makeMesh({0, 0, 0, 0, 0, -2, 0.5f, 0.5f, 0}, {});
    const MeshAdjTris adj = adjacencyOf(mesh);
    const ox::vector<oxLinear::Point> everything = {
        {-1e30, -1e30, 0}, {1e30, -1e30, 0}, {1e30, 1e30, 0}, {-1e30, 1e30, 0}};
    testsupport::DebugCapture capture;
    {
        MeshSelect select(mesh, adj);
        select.selectVertices(testProjection(), everything);
        EXPECT_EQ(select.getSelectedVertices(), bitsOf(3, {0, 2}));
    }
    EXPECT_EQ(capture.text(),
              "MeshSelect::selectVertices: vertices(3) triangles(0)\n"
              "  selected vertices(2): # s\n");

    // Two points enclose nothing, and nothing is cleared.
    mesh.getSelectedVertices().clearBits();
    mesh.getSelectedVertices().setBit(1);
    MeshSelect(mesh, adj).selectVertices(testProjection(), {everything[0], everything[2]});
    EXPECT_EQ(mesh.getSelectedVertices(), bitsOf(3, {1}));
}

TEST(MeshSelect, trianglesFromVerticesCountSelectedCorners)
{
    CompactMesh mesh = fixtures::randomMesh(3, 60, 400);
    // Degenerate (5 5 9) and a corner out of range (-1, 400 5).
    std::vector<int> tris = testsupport::triangleList(mesh);
    tris.insert(tris.end(), {5, 5, 9, -1, 400, 5});
    mesh.copyTriangles(static_cast<int>(tris.size() / 3), tris.data());
    const MeshAdjTris adj = adjacencyOf(mesh);
    std::mt19937 random(8);
    BitVector vertices(mesh.getNumVertices());
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (random() % 3 == 0 || v == 5)
            vertices.setBit(v);

    for (int minimum = 0; minimum <= 4; ++minimum)
    {
        BitVector triangles(mesh.getNumTriangles());
        triangles.setAllBits();  // must be cleared first
        MeshSelect(mesh, adj, triangles, vertices).selectTrianglesFromVertices(minimum);
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
        {
            int count = 0;
            for (int c = 0; c < 3; ++c)
                count += vertices.isBitSet(tris[3 * t + c]) ? 1 : 0;
            ASSERT_EQ(triangles.isBitSet(t), count >= minimum) << t << " min " << minimum;
        }
    }

    // "Any corner" is the same as at least one, bad corner indices included.
    BitVector any(mesh.getNumTriangles()), atLeastOne(mesh.getNumTriangles());
    any.setAllBits();
    MeshSelect(mesh, adj, any, vertices).selectAllTrianglesFromVertices();
    MeshSelect(mesh, adj, atLeastOne, vertices).selectTrianglesFromVertices(1);
    EXPECT_EQ(any, atLeastOne);
    EXPECT_TRUE(any.isBitSet(400));  // (5 5 9): vertex 5 is selected

    // The degenerate triangle has two selected corners when only vertex 5 is.
    BitVector onlyFive = bitsOf(mesh.getNumVertices(), {5}), two;
    MeshSelect(mesh, adj, two, onlyFive).selectTrianglesFromVertices(2);
    EXPECT_EQ(two, bitsOf(mesh.getNumTriangles(), {400}));
}

TEST(MeshSelect, verticesFromTrianglesAreExactlyTheCorners)
{
    CompactMesh mesh = fixtures::randomMesh(4, 200, 150);
    const MeshAdjTris adj = adjacencyOf(mesh);
    BitVector triangles(mesh.getNumTriangles()), vertices(mesh.getNumVertices());
    vertices.setAllBits();
    for (int t = 0; t < mesh.getNumTriangles(); t += 5)
        triangles.setBit(t);
    MeshSelect(mesh, adj, triangles, vertices).selectVerticesFromTriangles();

    BitVector expected(mesh.getNumVertices());
    for (int t = 0; t < mesh.getNumTriangles(); t += 5)
        for (int c = 0; c < 3; ++c)
            expected.setBit(mesh.getTriangles()[t][c]);
    EXPECT_EQ(vertices, expected);
}

TEST(MeshSelect, recursiveGrowthByOneRingAndByComponent)
{
    // Two grids side by side that share no vertex: 2 components.
    CompactMesh mesh = fixtures::gridMesh(6, 5);
    const int n = mesh.getNumVertices();
    std::vector<float> positions(mesh.getVerticesRaw(), mesh.getVerticesRaw() + 3 * n);
    positions.insert(positions.end(), positions.begin(), positions.end());
    std::vector<int> tris = testsupport::triangleList(mesh);
    const int perGrid = mesh.getNumTriangles();
    for (int i = 0; i < 3 * perGrid; ++i)
        tris.push_back(tris[i] + n);
    mesh = testsupport::makeMesh(positions, tris);
    const MeshAdjTris adj = adjacencyOf(mesh);
    const std::vector<int> seeds = {7, 30};

    // One ring: the triangles sharing a vertex with a seed, by brute force.
    BitVector ring = bitsOf(mesh.getNumTriangles(), seeds), vertices;
    testsupport::DebugCapture capture;
    MeshSelect(mesh, adj, ring, vertices).selectTrianglesRecursive(true);
    EXPECT_EQ(capture.text(), "MeshSelect::selectTrianglesRecursive()\n   # s\n");
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        bool touches = false;
        for (int s : seeds)
            for (int a = 0; a < 3; ++a)
                for (int b = 0; b < 3; ++b)
                    touches |= tris[3 * t + a] == tris[3 * s + b];
        ASSERT_EQ(ring.isBitSet(t), touches) << t;
    }

    // Whole component: exactly the first grid.
    BitVector component = bitsOf(mesh.getNumTriangles(), {3});
    MeshSelect(mesh, adj, component, vertices).selectTrianglesRecursive(false);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        ASSERT_EQ(component.isBitSet(t), t < perGrid) << t;

    // Nothing selected grows to nothing.
    BitVector none(mesh.getNumTriangles());
    MeshSelect(mesh, adj, none, vertices).selectTrianglesRecursive(false);
    EXPECT_FALSE(none.anyBitSet());
}

TEST(MeshSelect, invertFlipsPartialLastWordAndKeepsTailClear)
{
    CompactMesh mesh = fixtures::randomMesh(9, 10, 37);
    const MeshAdjTris adj = adjacencyOf(mesh);
    BitVector triangles = bitsOf(37, {0, 5, 31, 32, 36}), vertices;
    testsupport::DebugCapture capture;
    MeshSelect select(mesh, adj, triangles, vertices);
    select.invertTriangleSelection();
    EXPECT_EQ(capture.text(), "");
    BitVector expected(37);
    for (int t = 0; t < 37; ++t)
        if (t != 0 && t != 5 && t != 31 && t != 32 && t != 36)
            expected.setBit(t);
    EXPECT_EQ(triangles, expected);  // == compares whole words, tail included
    select.invertTriangleSelection();
    EXPECT_EQ(triangles, bitsOf(37, {0, 5, 31, 32, 36}));
}

TEST(MeshSelect, selectionsAreResizedToTheMeshOnUse)
{
    CompactMesh mesh = fixtures::unitSquare();
    const MeshAdjTris adj = adjacencyOf(mesh);
    // Too long (bit 40 beyond the mesh) and too short caller-owned selections.
    BitVector triangles = bitsOf(50, {1, 40}), vertices = bitsOf(1, {0});
    MeshSelect select(mesh, adj, triangles, vertices);
    EXPECT_EQ(select.getSelectedTriangles(), bitsOf(2, {1}));
    EXPECT_EQ(select.getSelectedVertices(), bitsOf(4, {0}));
    select.selectVerticesFromTriangles();
    EXPECT_EQ(vertices, bitsOf(4, {0, 2, 3}));
    // The mesh's own selections were not involved.
    EXPECT_FALSE(mesh.getSelectedVertices().anyBitSet());

    // The mesh's own selections, resized after the mesh shrank.
    mesh.getSelectedTriangles().resize(9);
    mesh.getSelectedTriangles().setBit(0);
    testsupport::DebugCapture capture;
    MeshSelect own(mesh, adj);
    own.selectVerticesFromTriangles();
    own.selectTrianglesFromVertices(3);
    own.selectAllTrianglesFromVertices();
    EXPECT_EQ(mesh.getSelectedTriangles(), bitsOf(2, {0, 1}));
    EXPECT_EQ(mesh.getSelectedVertices(), bitsOf(4, {0, 1, 2}));
    EXPECT_EQ(capture.text(),
              "MeshSelect::selectVerticesFromTriangles()\n"
              "  selected vertices(3): # s\n"
              "MeshSelect::selectedTrianglesFromVertices()\n"
              "  selected triangles(1): # s\n"
              "MeshSelect::selectAllTrianglesFromVertices()\n"
              "  selected triangles(2): # s\n");
}
