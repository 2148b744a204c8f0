#include "oxGeom/MeshAdjVertices.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::MeshAdjVertices;

namespace
{
// Neighbour records of one triangle (0, 1, 2) and an unused vertex 3:
//   v0: 1 2   v1: 0 2   v2: 0 1   v3: -
MeshAdjVertices triangleAndLoneVertex()
{
    int* starts = new int[4]{0, 3, 6, 9};
    int* data = new int[10]{2, 1, 2, 2, 0, 2, 2, 0, 1, 0};
    return MeshAdjVertices(4, 2, starts, data);
}

std::vector<int> ring(const MeshAdjVertices& adj, int v)
{
    return std::vector<int>(adj.neighbours(v), adj.neighbours(v) + adj.numNeighbours(v));
}
}  // namespace

TEST(MeshAdjVertices, readsCountWordLayout)
{
    const MeshAdjVertices adj = triangleAndLoneVertex();
    ASSERT_EQ(adj.getNumVertices(), 4);
    EXPECT_EQ(adj.getMaxValence(), 2);
    EXPECT_EQ(adj.getDataSize(), 10);
    EXPECT_EQ(ring(adj, 1), (std::vector<int>{0, 2}));
    EXPECT_EQ(ring(adj, 2), (std::vector<int>{0, 1}));
    EXPECT_EQ(adj.numNeighbours(3), 0);
    EXPECT_EQ(adj.numNeighbours(4), 0);
    EXPECT_EQ(adj.neighbours(-1), nullptr);
}

TEST(MeshAdjVertices, copyIsDeepAndBadInputGivesEmptyTable)
{
    MeshAdjVertices original = triangleAndLoneVertex();
    MeshAdjVertices copy(original);
    MeshAdjVertices empty;
    original.swap(empty);
    EXPECT_EQ(original.getNumVertices(), 0);
    EXPECT_EQ(ring(copy, 0), (std::vector<int>{1, 2}));
    EXPECT_NE(copy.getData(), empty.getData());
    MeshAdjVertices assigned;
    assigned = copy;
    EXPECT_EQ(ring(assigned, 2), (std::vector<int>{0, 1}));
    EXPECT_EQ(assigned.getDataSize(), 10);

    // Arrays handed over with a zero count are still released (checked by the
    // leak checker of the sanitizer build).
    MeshAdjVertices zero(0, 0, new int[1]{0}, new int[1]{0});
    EXPECT_EQ(zero.getNumVertices(), 0);
    EXPECT_EQ(zero.getData(), nullptr);
    MeshAdjVertices missing(3, 1, new int[3]{0, 1, 2}, nullptr);
    EXPECT_EQ(missing.numNeighbours(0), 0);
}
