// Vertex-to-triangle adjacency: the sets taken over from an ArrayOfSets, and
// copies of a vertex's triangles through a renumbering.

#include "oxGeom/MeshAdjTris.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::ArrayOfSets;
using oxGeom::MeshAdjTris;

TEST(MeshAdjTris, takesOverSetsAndCopiesThroughTriangleMap)
{
    //   3-----2
    //   | \ 1 |      triangles 0 (0,1,3), 1 (1,2,3), 2 (4,4,1) degenerate
    //   | 0 \ |
    //   0-----1
    const int pairs[] = {0, 0, 1, 0, 3, 0, 1, 1, 2, 1, 3, 1, 4, 2, 4, 2, 1, 2};
    ArrayOfSets sets;
    sets.assignFromPairs(5, 9, pairs);
    const MeshAdjTris adj(sets);
    EXPECT_EQ(sets.getNumSets(), 0);
    ASSERT_EQ(adj.getNumVertices(), 5);
    EXPECT_EQ(adj.numTris(4), 2);
    EXPECT_EQ(adj.triIndices(4)[1], 2);
    EXPECT_EQ(adj.numTris(5), 0);
    EXPECT_EQ(adj.triIndices(-1), nullptr);

    int out[3];
    EXPECT_EQ(adj.copyTriangles(1, out, nullptr), 3);
    EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{0, 1, 2}));
    const int newNumber[] = {-1, 0, 1};  // triangle 0 deleted
    EXPECT_EQ(adj.copyTriangles(1, out, newNumber), 3);
    EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{-1, 0, 1}));
    EXPECT_EQ(adj.copyTriangles(9, out, nullptr), 0);
    EXPECT_EQ(adj.copyTriangles(1, nullptr, nullptr), 0);
}
