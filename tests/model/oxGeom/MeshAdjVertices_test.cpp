// Vertex-to-vertex adjacency in its count-word layout, and the empty table
// that malformed input gives.

#include "oxGeom/MeshAdjVertices.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::MeshAdjVertices;

TEST(MeshAdjVertices, readsCountWordLayoutAndCopiesDeeply)
{
    // One triangle (0, 1, 2) and an unused vertex 3:
    //   v0: 1 2   v1: 0 2   v2: 0 1   v3: -
    MeshAdjVertices adj(4, 2, new int[4]{0, 3, 6, 9}, new int[10]{2, 1, 2, 2, 0, 2, 2, 0, 1, 0});
    EXPECT_EQ(adj.getDataSize(), 10);
    EXPECT_EQ(adj.getMaxValence(), 2);
    EXPECT_EQ(adj.numNeighbours(1), 2);
    EXPECT_EQ(adj.neighbours(1)[0], 0);
    EXPECT_EQ(adj.neighbours(1)[1], 2);
    EXPECT_EQ(adj.numNeighbours(3), 0);
    EXPECT_EQ(adj.numNeighbours(4), 0);
    EXPECT_EQ(adj.neighbours(-1), nullptr);

    MeshAdjVertices copy;
    copy = adj;
    MeshAdjVertices().swap(adj);
    EXPECT_EQ(adj.getNumVertices(), 0);
    EXPECT_EQ(copy.neighbours(2)[1], 1);
}

TEST(MeshAdjVertices, badInputGivesEmptyTableAndReleasesArrays)
{
    // Leaks would be reported by the sanitizer build.
    MeshAdjVertices zero(0, 0, new int[1]{0}, new int[1]{0});
    EXPECT_EQ(zero.getData(), nullptr);
    MeshAdjVertices missing(3, 1, new int[3]{0, 1, 2}, nullptr);
    EXPECT_EQ(missing.getNumVertices(), 0);
    EXPECT_EQ(missing.numNeighbours(0), 0);
}
