// meshAdjTris: each vertex lists its triangles in ascending order, once per corner; triangles
// with a corner out of range are left out.

#include <oxGeom/meshAdjacency.h>

#include "foundations/adjacencyOracles.h"
#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

using oracle::listOf;
using V = std::vector<int>;

TEST(meshAdjTris, listsAscendingWithARepeatPerDegenerateCorner)
{
    // fixtures::degenerateMesh: (0 1 2), (0 1 2), (0 1 3), (0 0 2); the last names 0 twice.
    oxGeom::MeshAdjTris adj;
    testsupport::DebugCapture capture;
    oxGeom::meshAdjTris(fixtures::degenerateMesh(), adj);
    EXPECT_EQ(oracle::maskBareSeconds(capture.text()), "MeshAdjTris: 4 vertices 4 triangles #\n");
    ASSERT_EQ(adj.getNumVertices(), 4);
    EXPECT_EQ(listOf(adj, 0), V({0, 1, 2, 3, 3}));
    EXPECT_EQ(listOf(adj, 1), V({0, 1, 2}));
    EXPECT_EQ(listOf(adj, 2), V({0, 1, 3}));
    EXPECT_EQ(listOf(adj, 3), V({2}));
}

TEST(meshAdjTris, randomMeshesAgreeWithBruteForce)
{
    for (std::uint32_t seed : {1u, 2u, 3u})
    {
        const oxGeom::CompactMesh mesh = fixtures::randomMesh(seed, 30, 80);
        oxGeom::MeshAdjTris adj;
        oxGeom::meshAdjTris(mesh, adj);
        ASSERT_EQ(adj.getNumVertices(), 30);
        EXPECT_EQ(adj.getSets().getTotalSize(), 3 * 80);
        for (int v = 0; v < 30; ++v)
            EXPECT_EQ(listOf(adj, v), oracle::trianglesAround(mesh, v)) << "seed " << seed;
    }
}

TEST(meshAdjTris, triangleWithCornerOutOfRangeIsLeftOut)
{
    // Vertex 3 is unused; triangles 1 and 2 name vertices that do not exist.
    const oxGeom::CompactMesh mesh =
        oracle::meshOf(4, {{{0, 1, 2}}, {{0, 1, 4}}, {{-1, 2, 0}}, {{2, 1, 0}}});
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    EXPECT_EQ(adj.getSets().getTotalSize(), 6);
    for (int v = 0; v < 3; ++v)
        EXPECT_EQ(listOf(adj, v), V({0, 3}));
    EXPECT_EQ(listOf(adj, 3), V());

    // Triangles but no vertices: the old table is replaced by one of no lists.
    oxGeom::meshAdjTris(oracle::meshOf(0, {{{0, 1, 2}}}), adj);
    EXPECT_EQ(adj.getNumVertices(), 0);
}
