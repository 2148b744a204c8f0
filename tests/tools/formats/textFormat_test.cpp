// The library's text format as one of the tool's formats: the checks added around meshRead
// (finite positions, the same one-line messages) and the written text.

#if defined(TRELM_FORMAT_TESTS)

#include "formatTestSupport.h"

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using formatTests::failureOf;
using formatTests::meshOf;
using formatTests::ScratchDir;
using trelm::files::MeshFormat;

TEST(textFormat, readerAddsTheFiniteCheckAndKeepsTheReadersMessages)
{
    ScratchDir dir;
    const oxGeom::CompactMesh mesh =
        meshOf(dir, "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", MeshFormat::Text);
    EXPECT_EQ(formatTests::trianglesOf(mesh), (std::vector<int>{0, 1, 2}));
    const std::string notFinite = "3 1\n0 0 0\n1 0 nan\n0 1 0\n3 0 1 2\n";
    EXPECT_EQ(failureOf(dir, notFinite, MeshFormat::Text),
              "vertex 1: coordinate nan is not finite");
    trelm::files::ReadOptions anyValue;
    anyValue.allowNonFinite = true;
    EXPECT_TRUE(std::isnan(meshOf(dir, notFinite, MeshFormat::Text, anyValue).getVertices()[1][2]));
    EXPECT_EQ(failureOf(dir, "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n", MeshFormat::Text)
                  .rfind("line 5: ", 0),
              0u);
    EXPECT_EQ(failureOf(dir, "", MeshFormat::Text), "empty file");
}

TEST(textFormat, writerWritesTheLibrarysTextThroughTheTemporaryFile)
{
    ScratchDir dir;
    ASSERT_TRUE(trelm::files::writeMesh(dir.file("t.trelm"), fixtures::tetrahedron()).ok);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"t.trelm"});
    EXPECT_EQ(formatTests::readBytes(dir.file("t.trelm")),
              "4 4\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n3 0 1 3\n3 1 2 3\n3 2 0 3\n");
}

#endif
