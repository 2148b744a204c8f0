// PLY: every scalar type in ASCII and both binary byte orders (files encoded here byte by byte,
// independently of the reader), the mapping of vertex properties to channels and attributes,
// skipped elements and properties, exact places in the messages for malformed files, and the
// writer's layout and round trips.

#if defined(TRELM_FORMAT_TESTS)

#include "formatTestSupport.h"

#include <oxGeom/PointMesh.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using formatTests::Bytes;
using formatTests::failureOf;
using formatTests::meshOf;
using formatTests::ScratchDir;
using trelm::files::MeshFormat;

namespace
{
const char* const typedHeader =
    "element vertex 3\n"
    "property char x\nproperty ushort y\nproperty double z\n"
    "property int nx\nproperty uint ny\nproperty float nz\n"
    "property short quality\n"
    "property uchar red\nproperty uint8 green\nproperty uchar blue\n"
    "element face 2\n"
    "property list uint8 int32 vertex_indices\n"
    "end_header\n";

// Three vertices with one value of each type, a quad (0 1 2 0) and a triangle (2 1 0).
std::string typedBinary(bool bigEndian)
{
    Bytes bytes(bigEndian);
    const long long values[3][10] = {{-128, 0, 0, -5, 7, 0, -32768, 255, 0, 51},
                                     {127, 65535, 1, 2147483647, 0, 1, 32767, 0, 255, 102},
                                     {0, 1, -1, -2147483647 - 1, 4294967295u, -1, 0, 0, 0, 0}};
    for (const auto& v : values)
        bytes.put<std::int8_t>(v[0])
            .put<std::uint16_t>(v[1])
            .put<double>(v[2] * 0.5)
            .put<std::int32_t>(v[3])
            .put<std::uint32_t>(static_cast<std::uint32_t>(v[4]))
            .put<float>(v[5] * 0.25f)
            .put<std::int16_t>(v[6])
            .put<std::uint8_t>(v[7])
            .put<std::uint8_t>(v[8])
            .put<std::uint8_t>(v[9]);
    bytes.put<std::uint8_t>(4).put<std::int32_t>(0).put<std::int32_t>(1).put<std::int32_t>(2);
    bytes.put<std::int32_t>(0);
    bytes.put<std::uint8_t>(3).put<std::int32_t>(2).put<std::int32_t>(1).put<std::int32_t>(0);
    return std::string("ply\nformat ") +
           (bigEndian ? "binary_big_endian" : "binary_little_endian") + " 1.0\ncomment typed\n" +
           typedHeader + bytes.str();
}

const std::string typedAscii = std::string("ply\r\nformat ascii 1.0\r\n") + typedHeader +
                               "-128 0 0 -5 7 0 -32768 255 0 51\n"
                               "127 65535 0.5 2147483647 0 0.25 32767 0 255 102\n"
                               "0 1 -0.5 -2147483648 4294967295 -0.25 0 0 0 0\n"
                               "4 0 1 2 0\n3 2 1 0\n";

std::vector<float> attribute(const oxGeom::CompactMesh& mesh, const char* name)
{
    const oxGeom::MeshAttributes* channel = mesh.getAttributes(name);
    if (!channel)
        return {};
    return formatTests::channelOf(channel->asFloat(), channel->getNumElements(),
                                  channel->getDimension());
}

std::string header(const std::string& elements, const char* format = "ascii")
{
    return std::string("ply\nformat ") + format + " 1.0\n" + elements + "end_header\n";
}

const std::string xyz = "property float x\nproperty float y\nproperty float z\n";
const std::string triangleFaces = "element face 1\nproperty list uchar int vertex_indices\n";
}  // namespace

TEST(plyFormat, everyScalarTypeDecodesAlikeInAsciiAndBothByteOrders)
{
    ScratchDir dir;
    for (const std::string& file : {typedAscii, typedBinary(false), typedBinary(true)})
    {
        const oxGeom::CompactMesh mesh = meshOf(dir, file, MeshFormat::Ply);
        EXPECT_EQ(formatTests::positionsOf(mesh),
                  (std::vector<float>{-128, 0, 0, 127, 65535, 0.5f, 0, 1, -0.5f}));
        EXPECT_EQ(formatTests::channelOf(mesh.getNormalsRaw(), 3, 3),
                  (std::vector<float>{-5, 7, 0, 2147483647.0f, 0, 0.25f, -2147483648.0f,
                                      4294967295.0f, -0.25f}));
        EXPECT_EQ(attribute(mesh, "quality"), (std::vector<float>{-32768, 32767, 0}));
        // uchar colours scaled to [0, 1], alpha 1 when absent.
        EXPECT_EQ(attribute(mesh, "Colours"),
                  (std::vector<float>{1, 0, 51 / 255.0f, 1, 0, 1, 102 / 255.0f, 1, 0, 0, 0, 1}));
        // The quad (0 1 2 0) fans into (0 1 2), (0 2 0); then the triangle.
        EXPECT_EQ(formatTests::trianglesOf(mesh), (std::vector<int>{0, 1, 2, 0, 2, 0, 2, 1, 0}));
        EXPECT_EQ(mesh.getNumAttributes(), 4);  // positions, normals, quality, colours
    }
}

TEST(plyFormat, propertiesMapToChannelsAndAttributesAndTheRestIsSkipped)
{
    ScratchDir dir;
    const std::string file =
        header("element vertex 2\n" + xyz +
               "property float weight_0\nproperty float weight_1\nproperty float weight_2\n"
               "property float STs_0\nproperty float STs_1\n"
               "property float texture_u\nproperty float texture_v\n"
               "property list uchar int neighbours\n"
               "property int flags\nproperty float lonely_0\nproperty float Normals\n"
               "property float nx\nproperty float ny\n"
               "element edge 1\nproperty list uchar int vertex_indices\n"
               "element face 1\nproperty int before\nproperty list uchar uint vertex_index\n"
               "property list uchar float texcoord\n") +
        "0 0 0 1 2 3 4 5 6 7 2 0 1 8 9 10 11 12\n"
        "1 0 0 1.5 2.5 3.5 4.5 5.5 6.5 7.5 0 -8 9.5 10.5 11.5 12.5\n"
        "3 0 1 0\n"
        "-1 3 0 1 1 6 0 0 1 0 1 1\n";
    const oxGeom::CompactMesh mesh = meshOf(dir, file, MeshFormat::Ply);
    EXPECT_EQ(formatTests::positionsOf(mesh), (std::vector<float>{0, 0, 0, 1, 0, 0}));
    EXPECT_EQ(attribute(mesh, "weight"), (std::vector<float>{1, 2, 3, 1.5f, 2.5f, 3.5f}));
    EXPECT_EQ(formatTests::channelOf(mesh.getSTsRaw(), 2, 2),
              (std::vector<float>{4, 5, 4.5f, 5.5f}));
    EXPECT_EQ(formatTests::channelOf(mesh.getUVsRaw(), 2, 2),
              (std::vector<float>{6, 7, 6.5f, 7.5f}));
    EXPECT_EQ(attribute(mesh, "flags"), (std::vector<float>{8, -8}));
    EXPECT_EQ(attribute(mesh, "lonely_0"), (std::vector<float>{9, 9.5f}));
    // Half a normal is no normal: nx and ny become attributes; "Normals" cannot be one.
    EXPECT_EQ(mesh.getNormals(), nullptr);
    EXPECT_EQ(attribute(mesh, "nx"), (std::vector<float>{11, 11.5f}));
    EXPECT_EQ(mesh.getNumAttributes(), 8);
    // The face list may be called vertex_index and be preceded by other properties; the edge
    // element's vertex_indices are not faces.
    EXPECT_EQ(formatTests::trianglesOf(mesh), (std::vector<int>{0, 1, 1}));
}

TEST(plyFormat, malformedFilesNameTheLineOrByte)
{
    ScratchDir dir;
    const std::string oneTriangle = header("element vertex 3\n" + xyz + triangleFaces);
    EXPECT_EQ(failureOf(dir, oneTriangle + "0.0000 0.0000 0.0000\n1.0000 0.0000 0.0000\n",
                        MeshFormat::Ply),
              "line 12: expected a number for x, found the end of the file");
    EXPECT_EQ(failureOf(dir, oneTriangle + "0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", MeshFormat::Ply),
              "line 13: face 0: vertex index 3 out of range (3 vertices)");
    EXPECT_EQ(failureOf(dir, oneTriangle + "0.0 0 0\n1.0 0 0\n0.0 1 0\n2 0 1\n", MeshFormat::Ply),
              "line 13: face 0 has 2 corners (at least 3 needed)");
    EXPECT_EQ(failureOf(dir, oneTriangle + "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n7\n", MeshFormat::Ply),
              "line 14: unexpected data after the last element: \"7\"");
    EXPECT_EQ(failureOf(dir, oneTriangle + "0 0 0\n1 0 0\n0 1 0\n300 0 1 2\n", MeshFormat::Ply),
              "line 13: value 300 out of range for uchar");
    EXPECT_EQ(failureOf(dir, oneTriangle + "0 0 0\n1 0 nan\n0 1 0\n3 0 1 2\n", MeshFormat::Ply),
              "line 11: coordinate nan is not finite");
    EXPECT_EQ(
        failureOf(dir, header("element vertex 1000000000000\n" + xyz) + "0 0 0\n", MeshFormat::Ply),
        "line 3: element vertex of 1000000000000 rows needs more bytes than the file has");
    EXPECT_EQ(failureOf(dir, "ply\nformat binary_middle_endian 1.0\n", MeshFormat::Ply),
              "line 2: unknown PLY format \"binary_middle_endian\"");
    EXPECT_EQ(failureOf(dir, "solid\n", MeshFormat::Ply),
              "line 1: not a PLY file (it does not start with \"ply\")");
    EXPECT_EQ(failureOf(dir, "ply\nformat ascii 1.0\nelement vertex 0\n", MeshFormat::Ply),
              "line 4: the header has no end_header line");
    EXPECT_EQ(failureOf(dir, header("element vertex 0\nproperty float x\nproperty float y\n"),
                        MeshFormat::Ply),
              "line 3: the vertex element has no property z");
    EXPECT_EQ(failureOf(dir, header("element face 0\nproperty list float int vertex_indices\n"),
                        MeshFormat::Ply),
              "line 4: a list count must have an integer type, not \"float\"");
    EXPECT_EQ(failureOf(dir, header("element vertex 0\nproperty float32x x\n"), MeshFormat::Ply),
              "line 4: unknown property type \"float32x\"");
    // A vertex element without properties takes no bytes whatever its count: no array may be
    // sized from that count before the coordinates are found.
    EXPECT_EQ(
        failureOf(dir, header("element vertex 500000000\n", "binary_big_endian"), MeshFormat::Ply),
        "line 3: the vertex element has no property x");
    EXPECT_EQ(
        failureOf(dir, header("element vertex 0\n" + xyz + "element vertex 0\n"), MeshFormat::Ply),
        "line 7: a second vertex element");
    EXPECT_EQ(
        failureOf(dir, header("element vertex 0\n" + xyz + "Created by hand\n"), MeshFormat::Ply),
        "line 7: unknown header line \"Created\"");
    EXPECT_EQ(
        failureOf(dir, header("element vertex 0\n" + xyz + "element face 0\n"), MeshFormat::Ply),
        "line 7: the face element has no vertex_indices list");

    // Binary places are byte offsets, computed here from the layout.
    const std::string binaryHeader =
        header("element vertex 3\n" + xyz + triangleFaces, "binary_little_endian");
    Bytes vertices(false);
    for (float value : {0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f})
        vertices.put(value);
    Bytes face(false);
    face.put<std::uint8_t>(3).put<std::int32_t>(0).put<std::int32_t>(-1).put<std::int32_t>(2);
    const std::size_t faceStart = binaryHeader.size() + 36;
    EXPECT_EQ(failureOf(dir, binaryHeader + vertices.str() + face.str(), MeshFormat::Ply),
              "byte " + std::to_string(faceStart + 5) +
                  ": face 0: vertex index -1 out of range (3 vertices)");
    // A quad where the header's count leaves room for a triangle only.
    Bytes quad(false);
    quad.put<std::uint8_t>(4).put<std::int32_t>(0).put<std::int32_t>(1).put<std::int32_t>(2);
    EXPECT_EQ(failureOf(dir, binaryHeader + vertices.str() + quad.str(), MeshFormat::Ply),
              "byte " + std::to_string(faceStart + 1) + ": the file ends inside face 0");
    Bytes good(false);
    good.put<std::uint8_t>(3).put<std::int32_t>(0).put<std::int32_t>(1).put<std::int32_t>(2);
    EXPECT_EQ(failureOf(dir, binaryHeader + vertices.str() + good.str() + "xyz", MeshFormat::Ply),
              "byte " + std::to_string(faceStart + 13) + ": 3 bytes after the last element");
    Bytes notFinite(false);
    for (float value :
         {0.0f, 0.0f, 0.0f, 1.0f, std::numeric_limits<float>::infinity(), 0.0f, 0.0f, 1.0f, 0.0f})
        notFinite.put(value);
    EXPECT_EQ(
        failureOf(dir, binaryHeader + notFinite.str() + good.str(), MeshFormat::Ply),
        "byte " + std::to_string(binaryHeader.size() + 16) + ": coordinate inf is not finite");
    trelm::files::ReadOptions anyValue;
    anyValue.allowNonFinite = true;
    EXPECT_TRUE(std::isinf(
        meshOf(dir, binaryHeader + notFinite.str() + good.str(), MeshFormat::Ply, anyValue)
            .getVertices()[1][1]));
    const std::string charCounts = header(
        "element vertex 0\n" + xyz + "element face 1\nproperty list char int vertex_indices\n",
        "binary_big_endian");
    EXPECT_EQ(failureOf(dir, charCounts + "\xff" + std::string(12, '\0'), MeshFormat::Ply),
              "byte " + std::to_string(charCounts.size()) + ": negative list length -1");
}

TEST(plyFormat, writerLaysOutEveryChannelAndReadsBackInEachEncoding)
{
    oxGeom::CompactMesh mesh = formatTests::awkwardMesh(3, 50, 80);
    const int n = mesh.getNumVertices();
    float* normals = mesh.allocNormalArray()->v;
    float* uvs = mesh.allocUVArray()->v;
    float* sts = mesh.allocSTArray()->v;
    float* colours = mesh.allocAttributes(oxGeom::PointMesh::ColoursName, 4)->asFloat();
    float* tangent = mesh.allocAttributes("tangent", 3)->asFloat();
    float* quality = mesh.allocAttributes("my quality", 1)->asFloat();
    mesh.allocAttributes("scratch", 2)->setStoreable(false);
    for (int i = 0; i < 4 * n; ++i)
    {
        if (i < 3 * n)
            normals[i] = tangent[i] = 0.5f * i - 7.0f;
        if (i < 2 * n)
            uvs[i] = sts[i] = 1.0f / (i + 1);
        if (i < n)
            quality[i] = -float(i);
        colours[i] = (i % 256) / 255.0f;  // survive the trip through uchar
    }
    ScratchDir dir;
    const std::string expectedHeader =
        "ply\nformat binary_little_endian 1.0\nelement vertex 50\n"
        "property float x\nproperty float y\nproperty float z\n"
        "property float nx\nproperty float ny\nproperty float nz\n"
        "property float u\nproperty float v\n"
        "property float STs_0\nproperty float STs_1\n"
        "property float tangent_0\nproperty float tangent_1\nproperty float tangent_2\n"
        "property float my_quality\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\n"
        "element face 80\nproperty list uchar int vertex_indices\nend_header\n";
    for (int variant = 0; variant < 3; ++variant)
    {
        trelm::files::WriteOptions options;
        options.encoding =
            variant == 0 ? trelm::files::Encoding::Ascii : trelm::files::Encoding::Binary;
        options.bigEndian = variant == 2;
        const std::string path = dir.file("mesh" + std::to_string(variant) + ".ply");
        ASSERT_TRUE(trelm::files::writeMesh(path, mesh, options).ok);
        const std::string bytes = formatTests::readBytes(path);
        if (variant == 1)
        {
            ASSERT_EQ(bytes.substr(0, expectedHeader.size()), expectedHeader);
            EXPECT_EQ(bytes.size(), expectedHeader.size() + n * (14 * 4 + 4) + 80 * 13);
        }
        const oxGeom::CompactMesh back = formatTests::readOrFail(path, MeshFormat::Ply);
        formatTests::expectSameIndexedMesh(mesh, back);
        EXPECT_EQ(formatTests::channelOf(back.getNormalsRaw(), n, 3),
                  formatTests::channelOf(normals, n, 3));
        EXPECT_EQ(formatTests::channelOf(back.getUVsRaw(), n, 2),
                  formatTests::channelOf(uvs, n, 2));
        EXPECT_EQ(formatTests::channelOf(back.getSTsRaw(), n, 2),
                  formatTests::channelOf(sts, n, 2));
        EXPECT_EQ(attribute(back, "tangent"), formatTests::channelOf(tangent, n, 3));
        EXPECT_EQ(attribute(back, "my_quality"), formatTests::channelOf(quality, n, 1));
        EXPECT_EQ(attribute(back, "Colours"), formatTests::channelOf(colours, n, 4));
        EXPECT_EQ(back.getAttributes("scratch"), nullptr);
    }
}

#endif
