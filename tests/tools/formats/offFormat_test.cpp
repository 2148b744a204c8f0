// OFF: counts on the keyword's line or the next, comments and blank lines anywhere, the ST, C and
// N prefixes, face colours, fanned polygons; exact messages for malformed files; the written text.

#if defined(TRELM_FORMAT_TESTS)

#include "formatTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using formatTests::failureOf;
using formatTests::meshOf;
using formatTests::ScratchDir;
using trelm::files::MeshFormat;

TEST(offFormat, countsCommentsPrefixesAndFaceColoursAreRead)
{
    ScratchDir dir;
    // A square (3 above 0, 2 above 1) as one quad and a triangle with a face colour.
    const oxGeom::CompactMesh plain = meshOf(dir,
                                             "# comment first\nOFF 4 2 0 # counts here\n\n"
                                             "0 0 0\n1 0 0\n  # between vertices\n1 1 0\n0 1 0\n"
                                             "4 0 1 2 3\n3 3 2 1 255 0 0 1\n# trailing comment\n",
                                             MeshFormat::Off);
    EXPECT_EQ(formatTests::positionsOf(plain),
              (std::vector<float>{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}));
    EXPECT_EQ(formatTests::trianglesOf(plain), (std::vector<int>{0, 1, 2, 0, 2, 3, 3, 2, 1}));
    // ST, C and N: texture coordinates last, colours of 3 or 4 values skipped.
    const oxGeom::CompactMesh full = meshOf(dir,
                                            "STCNOFF\r\n3 1\r\n"
                                            "0 0 0  0 0 1  1 0 0 1  0.25 0.5\r\n"
                                            "1 0 0  0 0 1  0 1 0  0.75 0.5\r\n"
                                            "0 1 0  0 0 -1  0 0 1 1  0 1\r\n"
                                            "3 0 1 2\r\n",
                                            MeshFormat::Off);
    EXPECT_EQ(formatTests::channelOf(full.getNormalsRaw(), 3, 3),
              (std::vector<float>{0, 0, 1, 0, 0, 1, 0, 0, -1}));
    EXPECT_EQ(formatTests::channelOf(full.getUVsRaw(), 3, 2),
              (std::vector<float>{0.25f, 0.5f, 0.75f, 0.5f, 0, 1}));
    EXPECT_EQ(full.getNumAttributes(), 3);  // positions, normals, UVs: no colours
}

TEST(offFormat, malformedFilesNameTheLineAndTheProblem)
{
    ScratchDir dir;
    const std::string triangle = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n";
    EXPECT_EQ(failureOf(dir, "OFF BINARY\n3 1 0\n", MeshFormat::Off),
              "line 1: binary OFF is not supported");
    EXPECT_EQ(failureOf(dir, "4OFF\n", MeshFormat::Off),
              "line 1: OFF of other than 3 dimensions (\"4OFF\") is not supported");
    EXPECT_EQ(failureOf(dir, "PLY\n", MeshFormat::Off),
              "line 1: not an OFF file (it starts with \"PLY\")");
    EXPECT_EQ(failureOf(dir, "OFF\n3 -1 0\n", MeshFormat::Off),
              "line 2: the face count -1 out of range [0, 715827882]");
    EXPECT_EQ(failureOf(dir, "OFF\n300 1 0\n0 0 0\n", MeshFormat::Off),
              "line 2: 300 vertices and 1 faces need more bytes than the file has");
    EXPECT_EQ(failureOf(dir, "OFF\n3 1 0\n0 0 0\n1 0 0 7\n0 1 0\n3 0 1 2\n", MeshFormat::Off),
              "line 4: vertex 1 has 4 numbers, expected 3");
    EXPECT_EQ(failureOf(dir, "COFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", MeshFormat::Off),
              "line 3: vertex 0 has 3 numbers, expected 3 and a colour of 1 to 4");
    EXPECT_EQ(failureOf(dir, triangle + "2 0 1       \n", MeshFormat::Off),
              "line 6: face 0 has 2 corners (at least 3 needed)");
    EXPECT_EQ(failureOf(dir, triangle + "3 0 1 3\n", MeshFormat::Off),
              "line 6: face 0: vertex index 3 out of range (3 vertices)");
    EXPECT_EQ(failureOf(dir, triangle + "3 0 1 2 0.5 x\n", MeshFormat::Off),
              "line 6: expected a number, found \"x\"");
    EXPECT_EQ(failureOf(dir, triangle + "3 0 1 2\n3 0 1 2\n", MeshFormat::Off),
              "line 7: unexpected content after the last face: \"3\"");
    EXPECT_EQ(failureOf(dir, "OFF\n3 1 0\n0 0 0\n1 0 0\n# only two vertices, padding padding\n",
                        MeshFormat::Off),
              "line 6: the file ends after 2 of 3 vertices");
    EXPECT_EQ(failureOf(dir, "OFF\n3 0 0\n0 0 0\n1 0 0\n0 nan 0\n", MeshFormat::Off),
              "line 5: coordinate nan is not finite");
}

TEST(offFormat, writtenTextIsPlainOffThatReadsBack)
{
    oxGeom::CompactMesh square;
    const float positions[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, -0.5f, 1, 0};
    const int triangles[] = {0, 1, 2, 0, 2, 3};
    square.copyVertices(4, positions);
    square.copyTriangles(2, triangles);
    square.allocNormalArray();
    ScratchDir dir;
    ASSERT_TRUE(trelm::files::writeMesh(dir.file("square.off"), square).ok);
    EXPECT_EQ(formatTests::readBytes(dir.file("square.off")),
              "OFF\n4 2 0\n0 0 0\n1 0 0\n1 1 0\n-0.5 1 0\n3 0 1 2\n3 0 2 3\n");
    formatTests::expectSameIndexedMesh(
        square, formatTests::readOrFail(dir.file("square.off"), MeshFormat::Off));
}

#endif
