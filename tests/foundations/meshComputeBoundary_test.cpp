// meshComputeBoundary: loops in discovery order, each ending with its start vertex, covering
// exactly the boundary edges; none for closed meshes; open loops where boundaries touch.

#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComputeBoundary.h>

#include "foundations/adjacencyOracles.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

using V = std::vector<int>;

namespace
{
std::vector<V> loopsOf(const oxGeom::CompactMesh& mesh)
{
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    oxGeom::MeshAdjVertices neighbours;
    oxGeom::meshAdjVertices(mesh, adj, neighbours);
    oxGeom::MeshBoundaries boundaries;
    boundaries.addLoop(V{5, 6}.data(), 2);  // must be replaced
    oxGeom::meshComputeBoundary(mesh, adj, neighbours, boundaries);
    std::vector<V> loops;
    for (int i = 0; i < boundaries.size(); ++i)
        loops.emplace_back(boundaries.getStart(i), boundaries.getEnd(i));
    return loops;
}

// A grid of 3 x 3 quads without its middle quad: vertex (i, j) is j * 4 + i.
//
//   12 13 14 15
//    8  9 10 11      the hole is bounded by 5, 6, 10, 9
//    4  5  6  7
//    0  1  2  3
oxGeom::CompactMesh gridWithHole()
{
    const oxGeom::CompactMesh grid = fixtures::gridMesh(3, 3);
    std::vector<oxGeom::MeshTriangle> kept;
    for (int t = 0; t < grid.getNumTriangles(); ++t)
        if (t / 2 != 4)  // quad (1, 1) holds triangles 8 and 9
            kept.push_back(grid.getTriangles()[t]);
    return oracle::meshOf(16, kept);
}
}  // namespace

TEST(meshComputeBoundary, singleTriangleLoopEndsWithItsStartVertex)
{
    EXPECT_EQ(loopsOf(oracle::meshOf(3, {{{0, 1, 2}}})), std::vector<V>({{1, 2, 0}}));
    EXPECT_EQ(loopsOf(fixtures::unitSquare()), std::vector<V>({{1, 2, 3, 0}}));
}

TEST(meshComputeBoundary, gridWithHoleHasOuterThenInnerLoop)
{
    const oxGeom::CompactMesh mesh = gridWithHole();
    const std::vector<V> loops = loopsOf(mesh);
    ASSERT_EQ(loops.size(), 2u);
    EXPECT_EQ(loops[0], V({1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4, 0}));
    EXPECT_EQ(loops[1], V({9, 10, 6, 5}));  // the hole runs clockwise
}

TEST(meshComputeBoundary, closedEmptyAndDoubledMeshesHaveNoLoops)
{
    EXPECT_TRUE(loopsOf(fixtures::icosphere(2, 1.0f)).empty());
    EXPECT_TRUE(loopsOf(fixtures::tetrahedron()).empty());
    EXPECT_TRUE(loopsOf(fixtures::emptyMesh()).empty());
    EXPECT_TRUE(loopsOf(oracle::meshOf(4, {})).empty());
    // A doubled triangle gives each vertex as many triangles as neighbours, the count test
    // that rules out a boundary through a vertex, so no loop is found.
    EXPECT_TRUE(loopsOf(oracle::meshOf(3, {{{0, 1, 2}}, {{0, 1, 2}}})).empty());
}

TEST(meshComputeBoundary, loopMeetingAnEarlierLoopStopsOpenAtTheSharedVertex)
{
    // Two triangles touching at vertex 2; vertex 5 is unused. The walk from 3 goes 3 -> 4 -> 2
    // and stops at 2, which the first loop visited.
    //   1       4
    //   | \   / |
    //   0 - 2 - 3
    const std::vector<V> loops = loopsOf(oracle::meshOf(6, {{{0, 2, 1}}, {{2, 3, 4}}}));
    EXPECT_EQ(loops, std::vector<V>({{2, 1, 0}, {4, 2}}));
}
