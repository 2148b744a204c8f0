// The named test meshes have the shape their names promise: closed solids are
// closed and face outwards, open and degenerate ones are what other tests
// rely on, and random meshes are reproducible from their seed.

#include "support/meshes.h"

#include <oxLinear/Angle.h>
#include <oxLinear/Point.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace
{
/// How many triangles use each undirected edge.
std::map<std::pair<int, int>, int> edgeUses(const oxGeom::CompactMesh& mesh)
{
    std::map<std::pair<int, int>, int> uses;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
        {
            const int a = mesh.getTriangles()[t][k], b = mesh.getTriangles()[t][(k + 1) % 3];
            ++uses[{std::min(a, b), std::max(a, b)}];
        }
    return uses;
}

/// Every edge used by exactly two triangles.
bool isClosed(const oxGeom::CompactMesh& mesh)
{
    for (const auto& edge : edgeUses(mesh))
        if (edge.second != 2)
            return false;
    return true;
}

/// Corner k of triangle t.
oxLinear::Vector corner(const oxGeom::CompactMesh& mesh, int t, int k)
{
    const float* v = mesh.getVertices()[mesh.getTriangles()[t][k]].v;
    return oxLinear::Vector(v[0], v[1], v[2]);
}

/// The signed volume enclosed (positive when the triangles face outwards).
double signedVolume(const oxGeom::CompactMesh& mesh)
{
    double six = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        six += oxLinear::det3x3(corner(mesh, t, 0), corner(mesh, t, 1), corner(mesh, t, 2));
    return six / 6.0;
}
}  // namespace

TEST(fixtures, closedSolidsAreClosedAndFaceOutwards)
{
    EXPECT_TRUE(isClosed(fixtures::tetrahedron()));
    EXPECT_NEAR(signedVolume(fixtures::tetrahedron()), 1.0 / 6.0, 1e-7);
    EXPECT_TRUE(isClosed(fixtures::cube()));
    EXPECT_NEAR(signedVolume(fixtures::cube()), 1.0, 1e-7);
    for (int s = 0; s <= 3; ++s)
    {
        const oxGeom::CompactMesh sphere = fixtures::icosphere(s, 2.5f);
        const int faces = 20 << (2 * s);
        EXPECT_EQ(sphere.getNumTriangles(), faces);
        EXPECT_TRUE(fixtures::indicesInRange(sphere));
        EXPECT_TRUE(isClosed(sphere));
        const int edges = static_cast<int>(edgeUses(sphere).size());
        EXPECT_EQ(sphere.getNumVertices() - edges + faces, 2);
        for (int i = 0; i < sphere.getNumVertices(); ++i)
        {
            const float* v = sphere.getVertices()[i].v;
            EXPECT_NEAR(std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]), 2.5, 1e-5);
        }
        const double ball = 4.0 / 3.0 * oxLinear::pi * 2.5 * 2.5 * 2.5;
        EXPECT_GT(signedVolume(sphere), 0.6 * ball);
        EXPECT_LT(signedVolume(sphere), ball);
    }
}

TEST(fixtures, openAndDegenerateMeshesHaveTheirShape)
{
    const oxGeom::CompactMesh grid = fixtures::gridMesh(3, 2);
    EXPECT_EQ(grid.getNumVertices(), 12);
    EXPECT_EQ(grid.getNumTriangles(), 12);
    int boundaryEdges = 0;
    for (const auto& edge : edgeUses(grid))
        boundaryEdges += edge.second == 1;
    EXPECT_EQ(boundaryEdges, 2 * (3 + 2));
    EXPECT_EQ(grid.getVertices()[1 * 4 + 3][0], 3.0f);  // vertex (3, 1)
    for (int t = 0; t < grid.getNumTriangles(); ++t)    // counter-clockwise seen from +z
    {
        const oxLinear::Vector a = corner(grid, t, 0);
        EXPECT_GT(cross(corner(grid, t, 1) - a, corner(grid, t, 2) - a)[2], 0.0) << t;
    }
    EXPECT_EQ(fixtures::unitSquare().getNumTriangles(), 2);
    EXPECT_EQ(fixtures::gridMesh(0, 5).getNumVertices(), 0);

    int maxUses = 0;
    for (const auto& edge : edgeUses(fixtures::nonManifoldEdge()))
        maxUses = std::max(maxUses, edge.second);
    EXPECT_EQ(maxUses, 3);
    EXPECT_TRUE(fixtures::indicesInRange(fixtures::degenerateMesh()));
    EXPECT_TRUE(fixtures::indicesInRange(fixtures::emptyMesh()));
}

TEST(fixtures, randomMeshIsSeededAndValid)
{
    const oxGeom::CompactMesh a = fixtures::randomMesh(11, 50, 200);
    EXPECT_EQ(a.getNumTriangles(), 200);
    EXPECT_TRUE(fixtures::indicesInRange(a));
    const oxGeom::CompactMesh b = fixtures::randomMesh(11, 50, 200);
    const oxGeom::CompactMesh c = fixtures::randomMesh(12, 50, 200);
    EXPECT_TRUE(std::equal(a.getVerticesRaw(), a.getVerticesRaw() + 150, b.getVerticesRaw()));
    EXPECT_TRUE(std::equal(a.getTrianglesRaw(), a.getTrianglesRaw() + 600, b.getTrianglesRaw()));
    EXPECT_FALSE(std::equal(a.getVerticesRaw(), a.getVerticesRaw() + 150, c.getVerticesRaw()));
    for (int i = 0; i < 150; ++i)
        EXPECT_TRUE(a.getVerticesRaw()[i] >= 0.0f && a.getVerticesRaw()[i] < 1.0f);
    for (int t = 0; t < a.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = a.getTriangles()[t];
        EXPECT_TRUE(tri[0] != tri[1] && tri[1] != tri[2] && tri[0] != tri[2]);
    }
    EXPECT_EQ(fixtures::randomMesh(1, 2, 10).getNumTriangles(), 0);
}
