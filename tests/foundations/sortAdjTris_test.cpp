// sortAdjTris: fans follow the consistently wound neighbour; a broken fan keeps its runs in
// input order, with the continuation swapped (not shifted) into place.

#include <oxGeom/meshAdjacency.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

using V = std::vector<int>;

TEST(sortAdjTris, interiorFanTurnsCounterClockwiseFromTheFirstTriangle)
{
    // Vertex 4 = (1, 1) of fixtures::gridMesh(2, 2) lies on triangles 0, 1, 3, 4, 6, 7, whose
    // centroids sit at about -116, 206, -45, 135, 26 and 63 degrees around it.
    const oxGeom::CompactMesh grid = fixtures::gridMesh(2, 2);
    V sorted = {99};
    const int ascending[] = {0, 1, 3, 4, 6, 7}, scrambled[] = {6, 1, 0, 7, 3, 4};
    oxGeom::sortAdjTris(4, 6, ascending, grid.getTriangles(), sorted);
    EXPECT_EQ(sorted, V({0, 3, 6, 7, 4, 1}));
    oxGeom::sortAdjTris(4, 6, scrambled, grid.getTriangles(), sorted);
    EXPECT_EQ(sorted, V({6, 7, 4, 1, 0, 3}));
}

TEST(sortAdjTris, brokenFanKeepsRunsInInputOrder)
{
    // An open fan about vertex 0, spokes 1 .. 5 counter-clockwise; the fan order is A, B, C, D
    // and the edges 0-1 and 0-5 are on the boundary.
    //
    //        3   2          A = (0 1 2)   B = (0 2 3)
    //     4   \ /           C = (0 3 4)   D = (0 4 5)
    //      `---0---- 1
    //         /
    //        5
    const oxGeom::MeshTriangle tris[] = {{{0, 1, 2}}, {{0, 2, 3}}, {{0, 3, 4}}, {{0, 4, 5}}};
    V sorted;
    auto sortFrom = [&](V input)
    {
        oxGeom::sortAdjTris(0, static_cast<int>(input.size()), input.data(), tris, sorted);
        return sorted;
    };
    EXPECT_EQ(sortFrom({2, 1, 3, 0}), V({2, 3, 1, 0}));  // C D | B | A: D ends the boundary
    EXPECT_EQ(sortFrom({2, 0, 1, 3}), V({2, 3, 1, 0}));  // D swapped with A, not shifted
    EXPECT_EQ(sortFrom({0, 3, 2, 1}), V({0, 1, 2, 3}));  // from the boundary: the whole fan

    // A flipped neighbour is not a continuation.
    const oxGeom::MeshTriangle flipped[] = {{{0, 1, 2}}, {{0, 3, 2}}, {{0, 3, 4}}};
    const int input[] = {0, 2, 1};
    oxGeom::sortAdjTris(0, 3, input, flipped, sorted);
    EXPECT_EQ(sorted, V({0, 2, 1}));

    oxGeom::sortAdjTris(0, 0, input, tris, sorted);
    EXPECT_TRUE(sorted.empty());
}
