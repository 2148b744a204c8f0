// getSharedEdgeAdjacentTriangle: the lowest other triangle touching both ends of the edge,
// in either direction, and nothing across an edge that only shares a vertex.

#include <oxGeom/meshAdjacency.h>

#include "foundations/adjacencyOracles.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

using V = std::vector<int>;

namespace
{
// {found, otherTri, otherCorner}; otherTri starts at 99, which a miss must leave.
V across(const oxGeom::CompactMesh& mesh, int tri, int edge)
{
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    int other = 99, corner = 99;
    const bool found =
        oxGeom::getSharedEdgeAdjacentTriangle(tri, edge, mesh.getTriangles(), adj, other, corner);
    return {found, other, corner};
}
}  // namespace

TEST(getSharedEdgeAdjacentTriangle, lowestOtherTriangleOnTheEdgeAndNoneAcrossAVertex)
{
    // fixtures::nonManifoldEdge: (0 1 2), (1 0 3), (0 1 4) all on the edge 0-1.
    const oxGeom::CompactMesh mesh = fixtures::nonManifoldEdge();
    EXPECT_EQ(across(mesh, 0, 0), V({1, 1, 0}));
    EXPECT_EQ(across(mesh, 2, 0), V({1, 0, 1}));  // running the edge the same way still counts
    EXPECT_EQ(across(mesh, 1, 0), V({1, 0, 0}));
    EXPECT_EQ(across(mesh, 0, 1), V({0, 99, -1}));  // 1-2 is a boundary edge
    EXPECT_EQ(across(mesh, 0, 3), V({0, 99, -1}));
    EXPECT_EQ(across(mesh, -1, 0), V({0, 99, -1}));

    // Two triangles sharing only vertex 2: no edge has a neighbour.
    const oxGeom::CompactMesh bowtie = oracle::meshOf(5, {{{0, 1, 2}}, {{2, 3, 4}}});
    for (int tri = 0; tri < 2; ++tri)
        for (int edge = 0; edge < 3; ++edge)
            EXPECT_EQ(across(bowtie, tri, edge), V({0, 99, -1}));
}
