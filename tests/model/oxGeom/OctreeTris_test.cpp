#include "oxGeom/OctreeTris.h"
#include "oxGeom/OctreeLines.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::ArrayOfSets;

TEST(OctreeTris, takesOverTheSetsAndAnswersPerLeaf)
{
    // Leaf 0: triangles 4, 7; leaf 1: none; leaf 2: triangle 7.
    const int pairs[] = {0, 4, 2, 7, 0, 7};
    ArrayOfSets sets;
    sets.assignFromPairs(3, 3, pairs);
    oxGeom::OctreeTris tris(sets);
    EXPECT_EQ(sets.getNumSets(), 0);
    ASSERT_EQ(tris.getNumLeaves(), 3);
    EXPECT_EQ(tris.numTris(0), 2);
    EXPECT_EQ(std::vector<int>(tris.firstTri(0), tris.firstTri(0) + 2), (std::vector<int>{4, 7}));
    EXPECT_EQ(tris.numTris(1), 0);
    EXPECT_EQ(tris.firstTri(2)[0], 7);
    EXPECT_EQ(tris.numTris(3), 0);
    EXPECT_EQ(tris.firstTri(-1), nullptr);
    EXPECT_EQ(tris.getData().getTotalSize(), 3);

    oxGeom::OctreeTris other;
    other.swap(tris);
    EXPECT_EQ(tris.getNumLeaves(), 0);
    EXPECT_EQ(other.numTris(0), 2);
}

TEST(OctreeLines, takesOverTheSetsAndAnswersPerLeaf)
{
    const int pairs[] = {1, 9, 1, 3};
    ArrayOfSets sets;
    sets.assignFromPairs(2, 2, pairs);
    oxGeom::OctreeLines lines(sets);
    EXPECT_EQ(sets.getNumSets(), 0);
    EXPECT_EQ(lines.numLines(0), 0);
    ASSERT_EQ(lines.numLines(1), 2);
    EXPECT_EQ(lines.firstLine(1)[1], 3);
    EXPECT_EQ(lines.firstLine(5), nullptr);

    oxGeom::OctreeLines other;
    lines.swap(other);
    EXPECT_EQ(lines.getNumLeaves(), 0);
    EXPECT_EQ(other.getData().getTotalSize(), 2);
}
