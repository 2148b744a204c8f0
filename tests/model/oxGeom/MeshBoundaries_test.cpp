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
    EXPECT_TRUE(lengths.empty());
    EXPECT_TRUE(vertices.empty());
    ASSERT_EQ(boundaries.size(), 3);
    EXPECT_EQ(loop(boundaries, 0), (std::vector<int>{1, 2, 0}));
    EXPECT_EQ(loop(boundaries, 1), (std::vector<int>{7}));
    EXPECT_EQ(loop(boundaries, 2), (std::vector<int>{4, 5, 6, 4}));
    EXPECT_EQ(boundaries.getLength(2), 4);
    EXPECT_EQ(boundaries.getTotalLength(), 8);
    EXPECT_EQ(boundaries.getLength(3), 0);
    EXPECT_EQ(boundaries.getStart(3), nullptr);
    EXPECT_EQ(boundaries.getEnd(-1), nullptr);

    const int extra[] = {9, 8};
    boundaries.addLoop(extra, 2);
    boundaries.addLoop(extra, 0);
    boundaries.addLoop(nullptr, 2);
    ASSERT_EQ(boundaries.size(), 4);
    EXPECT_EQ(loop(boundaries, 3), (std::vector<int>{9, 8}));
    EXPECT_EQ(loop(boundaries, 0), (std::vector<int>{1, 2, 0}));
}

TEST(MeshBoundaries, inconsistentLengthsAreRejected)
{
    MeshBoundaries boundaries;
    const int first[] = {0, 1};
    boundaries.addLoop(first, 2);

    std::vector<int> tooLong = {2, 2};
    std::vector<int> vertices = {1, 2, 3};
    EXPECT_FALSE(boundaries.assign(tooLong, vertices));
    EXPECT_EQ(boundaries.size(), 0);
    EXPECT_EQ(vertices.size(), 3u);  // the caller's data is left alone

    std::vector<int> negative = {4, -1};
    EXPECT_FALSE(boundaries.assign(negative, vertices));
    std::vector<int> tooShort = {2};
    EXPECT_FALSE(boundaries.assign(tooShort, vertices));
    EXPECT_EQ(boundaries.getTotalLength(), 0);

    std::vector<int> none;
    std::vector<int> noVertices;
    EXPECT_TRUE(boundaries.assign(none, noVertices));
    EXPECT_EQ(boundaries.size(), 0);

    MeshBoundaries other;
    other.addLoop(first, 2);
    boundaries.swap(other);
    EXPECT_EQ(boundaries.size(), 1);
    EXPECT_EQ(other.size(), 0);
    boundaries.clear();
    EXPECT_EQ(boundaries.size(), 0);
}
