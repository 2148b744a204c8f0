// MeshSubset: the lists are copies in the given order, and malformed inputs
// (negative counts, null arrays) give empty lists instead of reads past them.

#include "oxGeom/MeshSubset.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::MeshSubset;

TEST(MeshSubset, copiesListsAndReadsMalformedInputAsEmpty)
{
    std::vector<int> vertices = {7, 2, 2, 9};
    const int triangles[] = {3, 0};
    ox::Reference<MeshSubset> subset(new MeshSubset(4, vertices.data(), 2, triangles));
    vertices.assign(4, -5);
    ASSERT_EQ(subset->getNumVertices(), 4);
    ASSERT_EQ(subset->getNumTriangles(), 2);
    EXPECT_EQ(std::vector<int>(subset->getVertices(), subset->getVertices() + 4),
              (std::vector<int>{7, 2, 2, 9}));
    EXPECT_EQ(subset->getTriangles()[0], 3);

    const MeshSubset negative(-1, triangles, -3, triangles);
    const MeshSubset nulls(3, nullptr, 2, nullptr);
    for (const MeshSubset* empty : {&negative, &nulls})
    {
        EXPECT_EQ(empty->getNumVertices(), 0);
        EXPECT_EQ(empty->getNumTriangles(), 0);
        EXPECT_EQ(empty->getVertices(), nullptr);
        EXPECT_EQ(empty->getTriangles(), nullptr);
    }
}
