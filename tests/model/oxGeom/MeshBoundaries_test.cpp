// Boundary loops: flat vertices split by lengths, and inconsistent lengths
// rejected without touching the caller's data.

#include "oxGeom/MeshBoundaries.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::MeshBoundaries;

namespace
{
std::vector<int> loop(const MeshBoundaries& b, int i)
{
    return std::vector<int>(b.getStart(i), b.getEnd(i));
}
}  // namespace

TEST(MeshBoundaries, assignSplitsFlatVerticesByLengths)
{
    MeshBoundaries boundaries;
    std::vector<int> lengths = {3, 1, 4};
    std::vector<int> vertices = {1, 2, 0, 7, 4, 5, 6, 4};
    ASSERT_TRUE(boundaries.assign(lengths, vertices));
    EXPECT_TRUE(vertices.empty());
    ASSERT_EQ(boundaries.size(), 3);
    EXPECT_EQ(loop(boundaries, 1), (std::vector<int>{7}));
    EXPECT_EQ(loop(boundaries, 2), (std::vector<int>{4, 5, 6, 4}));
    EXPECT_EQ(boundaries.getLength(3), 0);
    EXPECT_EQ(boundaries.getStart(3), nullptr);

    const int extra[] = {9, 8};
    boundaries.addLoop(extra, 2);
    boundaries.addLoop(extra, 0);
    ASSERT_EQ(boundaries.size(), 4);
    EXPECT_EQ(loop(boundaries, 3), (std::vector<int>{9, 8}));
    EXPECT_EQ(loop(boundaries, 0), (std::vector<int>{1, 2, 0}));
}

TEST(MeshBoundaries, inconsistentLengthsAreRejected)
{
    MeshBoundaries boundaries;
    const int first[] = {0, 1};
    boundaries.addLoop(first, 2);
    std::vector<int> vertices = {1, 2, 3};
    for (std::vector<int> lengths : {std::vector<int>{2, 2}, {4, -1}, {2}})
    {
        EXPECT_FALSE(boundaries.assign(lengths, vertices));
        EXPECT_EQ(boundaries.size(), 0);
        EXPECT_EQ(vertices.size(), 3u);  // the caller's data is left alone
    }
}
