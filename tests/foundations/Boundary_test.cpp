// Boundary: directed edges of a triangle, the reverse-edge test and one step of the walk.

#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComputeBoundary.h>

#include "foundations/adjacencyOracles.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

TEST(Boundary, findEdgeFollowsTheFirstCornerOfTheVertex)
{
    const int triangle[3] = {4, 7, 9};
    EXPECT_EQ(oxGeom::Boundary::findEdge(4, triangle), 7);
    EXPECT_EQ(oxGeom::Boundary::findEdge(7, triangle), 9);
    EXPECT_EQ(oxGeom::Boundary::findEdge(9, triangle), 4);
    EXPECT_EQ(oxGeom::Boundary::findEdge(5, triangle), -1);
    const int degenerate[3] = {3, 3, 5};
    EXPECT_EQ(oxGeom::Boundary::findEdge(3, degenerate), 3);
    EXPECT_EQ(oxGeom::Boundary::findEdge(5, degenerate), 3);
}

TEST(Boundary, hasEdgeAndWalkTellBoundaryEdgesByTheirReverse)
{
    //   3 ----- 2     fixtures::unitSquare: (0 1 2), (0 2 3); the diagonal 0-2 is held both
    //   |     / |     ways, every side one way only. Vertex 4 is on no triangle.
    //   | /     |
    //   0 ----- 1
    const oxGeom::CompactMesh square = oracle::meshOf(5, {{{0, 1, 2}}, {{0, 2, 3}}});
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(square, adj);
    oxGeom::MeshAdjVertices neighbours;
    oxGeom::meshAdjVertices(square, adj, neighbours);
    for (int a = -1; a < 6; ++a)
        for (int b = -1; b < 6; ++b)
            EXPECT_EQ(oxGeom::Boundary::hasEdge(square, adj, a, b),
                      oracle::hasDirectedEdge(square, b, a))
                << a << " " << b;

    // From 2 the first triangle offers 2 -> 0, which has its reverse; the second offers 2 -> 3.
    const int expectedNext[4] = {1, 2, 3, 0};
    for (int v = 0; v < 4; ++v)
    {
        int next = -7;
        EXPECT_TRUE(oxGeom::Boundary::walkBoundary(v, next, square, adj, neighbours));
        EXPECT_EQ(next, expectedNext[v]);
    }
    int next = -7;
    EXPECT_FALSE(oxGeom::Boundary::walkBoundary(4, next, square, adj, neighbours));
    EXPECT_FALSE(oxGeom::Boundary::walkBoundary(9, next, square, adj, neighbours));
    EXPECT_EQ(next, -7);

    // Closed: no step anywhere; `next` is the last candidate tried.
    const oxGeom::CompactMesh tetrahedron = fixtures::tetrahedron();
    oxGeom::meshAdjTris(tetrahedron, adj);
    oxGeom::meshAdjVertices(tetrahedron, adj, neighbours);
    // Vertex 3 is on (0 1 3), (1 2 3), (2 0 3): the last offers 3 -> 2.
    EXPECT_FALSE(oxGeom::Boundary::walkBoundary(3, next, tetrahedron, adj, neighbours));
    EXPECT_EQ(next, 2);
}
