// MeshSubset: the lists are copies in the given order, and malformed inputs
// (negative counts, null arrays) give empty lists instead of reads past them.

#include "oxGeom/MeshSubset.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::MeshSubset;

TEST(MeshSubset, listsAreCopiesInGivenOrder)
{
    std::vector<int> vertices = {7, 2, 2, 9};
    std::vector<int> triangles = {3, 0};
    ox::Reference<MeshSubset> subset(new MeshSubset(4, vertices.data(), 2, triangles.data()));
    vertices.assign(4, -5);
    triangles.assign(2, -5);

    ASSERT_EQ(subset->getNumVertices(), 4);
    ASSERT_EQ(subset->getNumTriangles(), 2);
    EXPECT_EQ(std::vector<int>(subset->getVertices(), subset->getVertices() + 4),
              (std::vector<int>{7, 2, 2, 9}));
    EXPECT_EQ(std::vector<int>(subset->getTriangles(), subset->getTriangles() + 2),
              (std::vector<int>{3, 0}));

    // Shared through references: one count per holder.
    ox::Reference<MeshSubset> other = subset;
    EXPECT_EQ(subset->getUseCount(), 2);
}

TEST(MeshSubset, negativeCountsAndNullArraysGiveEmptyLists)
{
    const int values[] = {1, 2, 3};
    const MeshSubset negative(-1, values, -3, values);
    EXPECT_EQ(negative.getNumVertices(), 0);
    EXPECT_EQ(negative.getNumTriangles(), 0);
    EXPECT_EQ(negative.getVertices(), nullptr);

    const MeshSubset nulls(3, nullptr, 2, nullptr);
    EXPECT_EQ(nulls.getNumVertices(), 0);
    EXPECT_EQ(nulls.getNumTriangles(), 0);
    EXPECT_EQ(nulls.getTriangles(), nullptr);

    const MeshSubset mixed(3, values, 0, values);
    EXPECT_EQ(mixed.getNumVertices(), 3);
    EXPECT_EQ(mixed.getNumTriangles(), 0);
}
