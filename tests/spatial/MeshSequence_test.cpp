// MeshSequence: the vertex -> position map (first occurrence wins, indices outside the mesh
// left out, rebuilt for another vertex count) and the consecutive rule of open and closed lines.

#include <oxGeom/MeshClosestPtOnLine.h>

#include <gtest/gtest.h>

#include <vector>

namespace
{
using oxGeom::MeshSequence;

TEST(MeshSequence, positionsKeepFirstOccurrenceAndSkipOutsideIndices)
{
    //   positions 0 1 2 3 4 5
    //   vertices  4 2 7 2 9 -1     (7 and 9 outside a mesh of 6 vertices; -1 never a vertex)
    const MeshSequence line({4, 2, 7, 2, 9, -1}, false);
    const std::vector<int> expected = {-1, -1, 1, -1, 0, -1};
    EXPECT_EQ(line.getPositions(6), expected);
    // Another vertex count rebuilds the map rather than returning the cached one.
    const std::vector<int> wider = {-1, -1, 1, -1, 0, -1, -1, 2, -1, 4};
    EXPECT_EQ(line.getPositions(10), wider);
    EXPECT_EQ(line.getPositions(6), expected);
    EXPECT_TRUE(line.getPositions(-3).empty());
    EXPECT_EQ(line.getVertex(2), 7);
    EXPECT_EQ(line.getVertex(6), -1);
    EXPECT_EQ(line.getVertex(-1), -1);
}

TEST(MeshSequence, consecutiveRuleOfOpenAndClosedLines)
{
    const MeshSequence open({10, 11, 12, 13}, false);
    const MeshSequence closed({10, 11, 12, 13}, true);
    const MeshSequence closedPair({10, 11}, true);
    EXPECT_EQ(open.numSegments(), 3);
    EXPECT_EQ(closed.numSegments(), 4);
    EXPECT_EQ(closedPair.numSegments(), 1);
    EXPECT_EQ(MeshSequence().numSegments(), 0);
    EXPECT_EQ(MeshSequence({5}, true).numSegments(), 0);

    EXPECT_EQ(open.segmentIndex(1, 2), 1);
    EXPECT_EQ(open.segmentIndex(2, 1), 1);
    EXPECT_EQ(open.segmentIndex(0, 2), -1);
    EXPECT_EQ(open.segmentIndex(0, 3), -1) << "an open line has no closing segment";
    EXPECT_EQ(closed.segmentIndex(3, 0), 3);
    EXPECT_EQ(closed.segmentIndex(0, 3), 3);
    EXPECT_EQ(closedPair.segmentIndex(1, 0), 0) << "two entries share their one segment";
    EXPECT_EQ(closed.segmentIndex(2, 2), -1);
    EXPECT_EQ(closed.segmentIndex(-1, 0), -1);
    EXPECT_EQ(closed.segmentIndex(3, 4), -1);
}
}  // namespace
