#include "oxGeom/MeshAdjTris.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::ArrayOfSets;
using oxGeom::MeshAdjTris;

namespace
{
//   3-----2
//   | \ 1 |      triangles 0 (0,1,3), 1 (1,2,3), 2 (4,4,1) degenerate
//   | 0 \ |      vertex 5 unused
//   0-----1
MeshAdjTris squareWithDegenerate()
{
    const int tris[] = {0, 1, 3, 1, 2, 3, 4, 4, 1};
    std::vector<int> pairs;
    for (int t = 0; t < 3; ++t)
        for (int c = 0; c < 3; ++c)
        {
            pairs.push_back(tris[3 * t + c]);
            pairs.push_back(t);
        }
    ArrayOfSets sets;
    sets.assignFromPairs(6, 9, pairs.data());
    MeshAdjTris adj(sets);
    EXPECT_EQ(sets.getNumSets(), 0);  // storage taken over
    return adj;
}

std::vector<int> fan(const MeshAdjTris& adj, int v)
{
    return std::vector<int>(adj.triIndices(v), adj.triIndices(v) + adj.numTris(v));
}
}  // namespace

TEST(MeshAdjTris, listsTrianglesPerVertexIncludingRepeats)
{
    const MeshAdjTris adj = squareWithDegenerate();
    ASSERT_EQ(adj.getNumVertices(), 6);
    EXPECT_EQ(fan(adj, 1), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(fan(adj, 3), (std::vector<int>{0, 1}));
    EXPECT_EQ(fan(adj, 4), (std::vector<int>{2, 2}));
    EXPECT_EQ(adj.numTris(5), 0);
    EXPECT_EQ(adj.numTris(6), 0);
    EXPECT_EQ(adj.numTris(-1), 0);
    EXPECT_EQ(adj.triIndices(-1), nullptr);
}

TEST(MeshAdjTris, copyTrianglesRenumbersThroughMap)
{
    const MeshAdjTris adj = squareWithDegenerate();
    int out[4] = {-9, -9, -9, -9};
    EXPECT_EQ(adj.copyTriangles(1, out, nullptr), 3);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[2], 2);
    EXPECT_EQ(out[3], -9);

    const int newNumber[] = {-1, 0, 1};  // triangle 0 deleted, 1 -> 0, 2 -> 1
    EXPECT_EQ(adj.copyTriangles(1, out, newNumber), 3);
    EXPECT_EQ(out[0], -1);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2], 1);

    EXPECT_EQ(adj.copyTriangles(9, out, nullptr), 0);
    EXPECT_EQ(adj.copyTriangles(1, nullptr, nullptr), 0);

    MeshAdjTris empty;
    MeshAdjTris full = squareWithDegenerate();
    empty.swap(full);
    EXPECT_EQ(empty.numTris(1), 3);
    EXPECT_EQ(full.getNumVertices(), 0);
}
