// meshLongestEdge: the longest edge of fixtures and of a random soup (against a plain scan),
// with bad indices and NaN corners skipped, and an empty mesh.

#include <oxGeom/meshLongestEdge.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
TEST(meshLongestEdge, longestOfEveryTriangleEdge)
{
    EXPECT_EQ(oxGeom::meshLongestEdge(fixtures::emptyMesh()), 0.0);
    EXPECT_DOUBLE_EQ(oxGeom::meshLongestEdge(fixtures::cube()), std::sqrt(2.0));
    // The collinear triangle (0 1 3) holds the edge 0-3 of length 2.
    EXPECT_DOUBLE_EQ(oxGeom::meshLongestEdge(fixtures::degenerateMesh()), 2.0);

    const oxGeom::CompactMesh soup = fixtures::randomMesh(21u, 50, 80);
    double longest = 0.0;
    for (int t = 0; t < soup.getNumTriangles(); ++t)
        for (int c = 0; c < 3; ++c)
        {
            const oxGeom::MeshVertex& a = soup.getVertices()[soup.getTriangles()[t][c]];
            const oxGeom::MeshVertex& b = soup.getVertices()[soup.getTriangles()[t][(c + 1) % 3]];
            longest = std::max(
                longest, std::hypot(double(a[0]) - b[0], double(a[1]) - b[1], double(a[2]) - b[2]));
        }
    EXPECT_DOUBLE_EQ(oxGeom::meshLongestEdge(soup), longest);
}

//   0 (0,0,0)  1 (1,0,0)  2 (0,1,0)  3 (NaN,0,0)
//   triangles (0 1 2), (0 1 9) bad index, (0 3 1) with a NaN corner
TEST(meshLongestEdge, badIndicesAndNaNCornersAreSkipped)
{
    const std::vector<oxGeom::MeshVertex> vertices = {
        {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {std::nanf(""), 0, 0}};
    oxGeom::CompactMesh mesh(4, vertices.data(), nullptr, nullptr, nullptr);
    const std::vector<int> indices = {0, 1, 2, 0, 1, 9, 0, 3, 1};
    mesh.copyTriangles(3, indices.data());
    EXPECT_DOUBLE_EQ(oxGeom::meshLongestEdge(mesh), std::sqrt(2.0));
}
}  // namespace
