#include "oxGeom/OctreeTris.h"
#include "oxGeom/OctreeLines.h"

#include <gtest/gtest.h>

#include <vector>

TEST(OctreeTris, takeOverTheSetsAndAnswerPerLeaf)
{
    // Leaf 0: 4, 7; leaf 1: none; leaf 2: 7.
    const int pairs[] = {0, 4, 2, 7, 0, 7};
    oxGeom::ArrayOfSets sets;
    sets.assignFromPairs(3, 3, pairs);
    oxGeom::OctreeTris tris(sets);
    EXPECT_EQ(sets.getNumSets(), 0);
    ASSERT_EQ(tris.getNumLeaves(), 3);
    EXPECT_EQ(std::vector<int>(tris.firstTri(0), tris.firstTri(0) + tris.numTris(0)),
              (std::vector<int>{4, 7}));
    EXPECT_EQ(tris.numTris(1), 0);
    EXPECT_EQ(tris.firstTri(2)[0], 7);
    EXPECT_EQ(tris.numTris(3), 0);
    EXPECT_EQ(tris.firstTri(-1), nullptr);
    oxGeom::OctreeTris other;
    other.swap(tris);
    EXPECT_EQ(tris.getNumLeaves(), 0);
    EXPECT_EQ(other.getData().getTotalSize(), 3);

    sets.assignFromPairs(3, 3, pairs);
    oxGeom::OctreeLines lines(sets);
    EXPECT_EQ(sets.getNumSets(), 0);
    EXPECT_EQ(lines.numLines(0), 2);
    EXPECT_EQ(lines.firstLine(2)[0], 7);
    EXPECT_EQ(lines.firstLine(5), nullptr);
    oxGeom::OctreeLines empty;
    lines.swap(empty);
    EXPECT_EQ(lines.getNumLeaves(), 0);
    EXPECT_EQ(empty.getData().getTotalSize(), 3);
}
