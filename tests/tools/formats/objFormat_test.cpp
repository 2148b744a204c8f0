// OBJ: the file's own vertex numbering with every corner form, relative and forward references
// and fanned polygons; texture coordinates, normals and colours kept only when they are one per
// vertex; the statements that are skipped; exact messages for malformed files; the written text.

#if defined(TRELM_FORMAT_TESTS)

#include "formatTestSupport.h"

#include <oxGeom/PointMesh.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using formatTests::meshOf;
using formatTests::ScratchDir;
using trelm::files::MeshFormat;

namespace
{
std::string failure(const std::string& text, const trelm::files::ReadOptions& options = {})
{
    ScratchDir dir;
    formatTests::writeBytes(dir.file("input"), text);
    oxGeom::CompactMesh mesh;
    const trelm::files::FileResult result =
        trelm::files::readMesh(dir.file("input"), MeshFormat::Obj, mesh, options);
    EXPECT_FALSE(result.ok) << text;
    return result.ok ? std::string() : result.message.substr(dir.file("input").size() + 2);
}

std::vector<float> uvsOf(const oxGeom::CompactMesh& mesh)
{
    return formatTests::channelOf(mesh.getUVsRaw(), mesh.getNumVertices(), 2);
}

std::vector<float> normalsOf(const oxGeom::CompactMesh& mesh)
{
    return formatTests::channelOf(mesh.getNormalsRaw(), mesh.getNumVertices(), 3);
}

// Four corners of a unit square and an apex; the faces below refer to them in every way.
//
//   4 (0.5 0.5 1) above the middle
//   3 ---- 2
//   |      |
//   0 ---- 1
const std::string squareAndApex = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0.5 0.5 1\n";
}  // namespace

TEST(objFormat, everyCornerFormAndPolygonGivesFannedTrianglesOverTheFileNumbering)
{
    ScratchDir dir;
    const std::string text =
        "\xef\xbb\xbf# a comment\r\n"
        "mtllib none.mtl\n"
        "o thing\ng group\ns 1\nusemtl stone\n"
        "f 1 2 6\n"  // refers to a vertex defined further down
        "v 0 0 0\n"
        "v\t1 0 0 # trailing comment\n"
        "v 1 1 0\r\n"
        "v 0 1 \\\n 0\n"  // continued on the next line
        "v 0.5 0.5 1 1.0\n"
        "v 2 2 2\n"
        "vt 0 0\nvn 0 0 1\n"
        "f 1 2 3 4\n"
        "f -6 -5/1 -2//1\n"
        "f 2/1/1 3//1 5\n"
        "l 1 2 3\np 4\nvp 0.5\ncurv 0 1 1 2\n\n   \n";
    const oxGeom::CompactMesh mesh = meshOf(dir, text, MeshFormat::Obj);
    EXPECT_EQ(formatTests::positionsOf(mesh),
              (std::vector<float>{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5f, 0.5f, 1, 2, 2, 2}));
    EXPECT_EQ(formatTests::trianglesOf(mesh),
              (std::vector<int>{0, 1, 5, 0, 1, 2, 0, 2, 3, 0, 1, 4, 1, 2, 4}));
    // Corners without a texture coordinate or normal drop those channels.
    EXPECT_EQ(mesh.getUVs(), nullptr);
    EXPECT_EQ(mesh.getNormals(), nullptr);
}

TEST(objFormat, texCoordsAndNormalsStayOnlyWhereEachPositionPairsWithOne)
{
    ScratchDir dir;
    const std::string channels = squareAndApex +
                                 "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvt 0.5 0.5\nvt 1 0\n" +
                                 "vn 0 0 -1\nvn 0 0 1\n";
    // The same vt and vn index for every use of a position: kept, one value per vertex.
    // Vertex 1 is paired with vt 2 and vt 6, distinct indices of equal value: still one value.
    const oxGeom::CompactMesh paired =
        meshOf(dir, channels + "f 1/1/1 2/2/1 3/3/1 4/4/1\nf 1/1/1 2/6/1 5/5/1\n", MeshFormat::Obj);
    EXPECT_EQ(uvsOf(paired), (std::vector<float>{0, 0, 1, 0, 1, 1, 0, 1, 0.5f, 0.5f}));
    EXPECT_EQ(normalsOf(paired),
              (std::vector<float>{0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1}));
    // Vertex 0 with two different normals: normals dropped, UVs kept.
    const oxGeom::CompactMesh split =
        meshOf(dir, channels + "f 1/1/1 2/2/1 3/3/1\nf 1/1/2 3/3/2 4/4/2\n", MeshFormat::Obj);
    EXPECT_EQ(split.getNormals(), nullptr);
    EXPECT_EQ(uvsOf(split), (std::vector<float>{0, 0, 1, 0, 1, 1, 0, 1, 0, 0}));
    // Vertex 1 with UVs (1 0) and (0.5 0.5): UVs dropped, normals kept; an unused vertex (4)
    // gets a zero normal.
    const oxGeom::CompactMesh conflicting =
        meshOf(dir, channels + "f 1/1/2 2/2/2 3/3/2\nf 2/5/2 3/3/2 4/4/2\n", MeshFormat::Obj);
    EXPECT_EQ(conflicting.getUVs(), nullptr);
    EXPECT_EQ(normalsOf(conflicting),
              (std::vector<float>{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0}));
}

TEST(objFormat, vertexColoursStayOnlyWhenEveryVertexHasOne)
{
    ScratchDir dir;
    const oxGeom::CompactMesh coloured =
        meshOf(dir, "v 0 0 0 1 0 0\nv 1 0 0 0 1 0\nv 0 1 0 0 0 0.5\nf 1 2 3\n", MeshFormat::Obj);
    const oxGeom::MeshAttributes* colours = coloured.getAttributes(oxGeom::PointMesh::ColoursName);
    ASSERT_NE(colours, nullptr);
    EXPECT_EQ(formatTests::channelOf(colours->asFloat4(), 3, 4),
              (std::vector<float>{1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0.5f, 1}));
    for (const char* text : {"v 0 0 0 1 0 0\nv 1 0 0\nv 0 1 0 1 1 1\nf 1 2 3\n",
                             "v 0 0 0\nv 1 0 0 1 1 1\nv 0 1 0 1 1 1\nf 1 2 3\n"})
        EXPECT_EQ(meshOf(dir, text, MeshFormat::Obj).getAttributes(oxGeom::PointMesh::ColoursName),
                  nullptr)
            << text;
}

TEST(objFormat, malformedFilesNameTheLineAndTheProblem)
{
    const std::string triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    EXPECT_EQ(failure("v 1 2\n"),
              "line 1: a vertex has 3 coordinates (4 with a weight, 6 with a colour), not 2");
    EXPECT_EQ(failure("v 1 2 3\n\nv 1,5 2 3\n"), "line 3: expected a number, found \"1,5\"");
    EXPECT_EQ(failure("v 1 2 3\nv 1 2 3 \\\n 4 5 6 7 8\n"), "line 3: more than 7 numbers");
    EXPECT_EQ(failure("vn 1 2\n"), "line 1: a normal has 3 numbers, not 2");
    EXPECT_EQ(failure(triangle + "f 1 2 0\n"), "line 4: vertex index 0 (indices start at 1)");
    EXPECT_EQ(failure(triangle + "f 1 2 3\nf 1 2 9\nf 3 2 1\n"),
              "line 5: vertex index 9 out of range (3 vertices)");
    EXPECT_EQ(failure(triangle + "f 1 2 -4\n"),
              "line 4: relative vertex index -4 out of range (3 defined above it)");
    EXPECT_EQ(failure(triangle + "f 1 2\n"), "line 4: a face needs at least 3 corners, found 2");
    EXPECT_EQ(failure(triangle + "f\n"), "line 4: a face needs at least 3 corners, found 0");
    EXPECT_EQ(failure(triangle + "f 1/1 2/1 3/1\n"),
              "line 4: texture coordinate index 1 out of range (0 texture coordinates)");
    EXPECT_EQ(failure(triangle + "vn 0 0 1\nf 1//1 2//1 3//2\n"),
              "line 5: normal index 2 out of range (1 normals)");
    EXPECT_EQ(failure(triangle + "f 1/ 2 3\n"), "line 4: malformed face corner \"1/\"");
    EXPECT_EQ(failure(triangle + "f 1 2 3/1/1/1\n"), "line 4: malformed face corner \"3/1/1/1\"");
    EXPECT_EQ(failure(triangle + "f 1 2 99999999999\n"),
              "line 4: vertex index 99999999999 out of range");
    EXPECT_EQ(failure("v 1 2 3\nv 1e39 0 0\n"), "line 2: coordinate inf is not finite");
    EXPECT_EQ(failure("v nan 2 3\n"), "line 1: coordinate nan is not finite");
    trelm::files::ReadOptions anyValue;
    anyValue.allowNonFinite = true;
    ScratchDir dir;
    EXPECT_TRUE(
        std::isnan(meshOf(dir, "v nan 2 3\n", MeshFormat::Obj, anyValue).getVertices()[0][0]));
}

TEST(objFormat, writtenTextHoldsEveryChannelAndReadsBack)
{
    // The unit square (3 above 0, 2 above 1) with UVs equal to x y and normals +z.
    oxGeom::CompactMesh square;
    const float positions[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    const int triangles[] = {0, 1, 2, 0, 2, 3};
    square.copyVertices(4, positions);
    square.copyTriangles(2, triangles);
    float* uvs = square.allocUVArray()->v;
    float* normals = square.allocNormalArray()->v;
    for (int v = 0; v < 4; ++v)
    {
        uvs[2 * v] = positions[3 * v];
        uvs[2 * v + 1] = positions[3 * v + 1];
        normals[3 * v + 2] = 1.0f;
    }
    ScratchDir dir;
    ASSERT_TRUE(trelm::files::writeMesh(dir.file("square.obj"), square).ok);
    EXPECT_EQ(formatTests::readBytes(dir.file("square.obj")),
              "# 4 vertices, 2 triangles\n"
              "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
              "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
              "vn 0 0 1\nvn 0 0 1\nvn 0 0 1\nvn 0 0 1\n"
              "f 1/1/1 2/2/2 3/3/3\nf 1/1/1 3/3/3 4/4/4\n");
    const oxGeom::CompactMesh back =
        formatTests::readOrFail(dir.file("square.obj"), MeshFormat::Obj);
    formatTests::expectSameIndexedMesh(square, back);
    EXPECT_EQ(uvsOf(back), uvsOf(square));
    EXPECT_EQ(normalsOf(back), normalsOf(square));
    // Colours travel as the three extra numbers of a vertex line.
    oxGeom::CompactMesh coloured = square;
    float* colours = coloured.allocAttributes(oxGeom::PointMesh::ColoursName, 4)->asFloat();
    for (int k = 0; k < 16; ++k)
        colours[k] = k % 4 == 3 ? 1.0f : 0.125f * (k % 5);
    ASSERT_TRUE(trelm::files::writeMesh(dir.file("coloured.obj"), coloured).ok);
    const oxGeom::CompactMesh colouredBack =
        formatTests::readOrFail(dir.file("coloured.obj"), MeshFormat::Obj);
    EXPECT_EQ(formatTests::channelOf(
                  colouredBack.getAttributes(oxGeom::PointMesh::ColoursName)->asFloat(), 4, 4),
              formatTests::channelOf(colours, 4, 4));
}

#endif
