// STL: binary told from ASCII by the file's size, keywords in any case and several solids, the
// weld into shared vertices (checked against the distinct corner positions), exact messages for
// malformed files, and written facets whose normals match the triangles' geometry.

#if defined(TRELM_FORMAT_TESTS)

#include "formatTestSupport.h"

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using formatTests::Bytes;
using formatTests::failureOf;
using formatTests::meshOf;
using formatTests::ScratchDir;
using trelm::files::MeshFormat;

namespace
{
// A binary STL of the given corners (9 floats per triangle), its header starting with `title`.
std::string binaryStl(const std::string& title, const std::vector<float>& corners)
{
    std::string header = title;
    header.resize(80, ' ');
    Bytes bytes(false);
    bytes.put<std::uint32_t>(static_cast<std::uint32_t>(corners.size() / 9));
    for (std::size_t t = 0; t < corners.size() / 9; ++t)
    {
        for (int k = 0; k < 3; ++k)
            bytes.put(0.0f);
        for (int k = 0; k < 9; ++k)
            bytes.put(corners[9 * t + k]);
        bytes.put<std::uint16_t>(0);
    }
    return header + bytes.str();
}

std::string asciiFacet(const float* c, const char* style)
{
    std::string text = std::string(style) + " normal 0 0 0\n  outer loop\n";
    for (int k = 0; k < 3; ++k)
        text += "    vertex " + std::to_string(c[3 * k]) + " " + std::to_string(c[3 * k + 1]) +
                " " + std::to_string(c[3 * k + 2]) + "\n";
    return text + "  endloop\nendfacet\n";
}

// The corners of the cube fixture's triangles, 9 floats per triangle.
std::vector<float> cubeCorners()
{
    const oxGeom::CompactMesh cube = fixtures::cube();
    std::vector<float> corners;
    for (const auto& corner : formatTests::triangleCorners(cube))
        corners.insert(corners.end(),
                       {std::get<0>(corner), std::get<1>(corner), std::get<2>(corner)});
    return corners;
}

std::vector<float> cornersOf(const oxGeom::CompactMesh& mesh)
{
    std::vector<float> corners;
    for (const auto& corner : formatTests::triangleCorners(mesh))
        corners.insert(corners.end(),
                       {std::get<0>(corner), std::get<1>(corner), std::get<2>(corner)});
    return corners;
}
}  // namespace

TEST(stlFormat, binaryIsToldBySizeEvenWhenItsHeaderSaysSolid)
{
    ScratchDir dir;
    const std::vector<float> corners = cubeCorners();
    for (const char* title : {"solid cube exported by a binary writer", "binary cube"})
    {
        const oxGeom::CompactMesh mesh = meshOf(dir, binaryStl(title, corners), MeshFormat::Stl);
        EXPECT_EQ(cornersOf(mesh), corners) << title;
        EXPECT_EQ(mesh.getNumVertices(), 8) << title;
    }
    std::string shortFile = binaryStl("binary cube", corners);
    shortFile.pop_back();
    EXPECT_EQ(failureOf(dir, shortFile, MeshFormat::Stl),
              "byte 80: binary STL of 12 triangles needs 684 bytes, the file has 683");
    EXPECT_EQ(failureOf(dir, "facet normal 0 0 0\n", MeshFormat::Stl),
              "not an STL file: no \"solid\" at the start, and 19 bytes are too few for a binary "
              "header");
    EXPECT_EQ(meshOf(dir, binaryStl("empty", {}), MeshFormat::Stl).getNumTriangles(), 0);
}

TEST(stlFormat, asciiKeywordsInAnyCaseAndSeveralSolidsWeldIntoSharedVertices)
{
    ScratchDir dir;
    const std::vector<float> corners = cubeCorners();
    std::string text = "  SOLID first part\n";
    for (std::size_t t = 0; t < 12; ++t)
    {
        if (t == 7)
            text += "ENDSOLID first part\nsolid\n";
        text += asciiFacet(&corners[9 * t], t % 2 ? "facet" : "FaCeT");
    }
    text += "endsolid";
    const oxGeom::CompactMesh mesh = meshOf(dir, text, MeshFormat::Stl);
    EXPECT_EQ(cornersOf(mesh), corners);
    EXPECT_EQ(static_cast<std::size_t>(mesh.getNumVertices()),
              formatTests::distinctCornerPositions(mesh));
    EXPECT_EQ(mesh.getNumVertices(), 8);
    EXPECT_EQ(meshOf(dir, "solid empty\nendsolid empty\n", MeshFormat::Stl).getNumVertices(), 0);
}

TEST(stlFormat, malformedAsciiNamesTheLineAndTheProblem)
{
    ScratchDir dir;
    const float c[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const std::string facet = asciiFacet(c, "facet");
    EXPECT_EQ(failureOf(dir, "solid a\n" + facet, MeshFormat::Stl),
              "line 9: expected \"facet\" or \"endsolid\", found the end of the file");
    EXPECT_EQ(failureOf(dir, "solid a\n" + facet.substr(0, facet.size() - 9) + "endsolid a\n",
                        MeshFormat::Stl),
              "line 8: expected \"endfacet\", found \"endsolid\"");
    EXPECT_EQ(failureOf(dir, "solid a\nfacet normal 0 0 0\nouter loop\nvertex 1 2\nvertex",
                        MeshFormat::Stl),
              "line 5: expected a coordinate, found \"vertex\"");
    EXPECT_EQ(failureOf(dir, "solid a\nfacet normal 0 0 0\nouter loop\nvertex 1 2 inf\n",
                        MeshFormat::Stl),
              "line 4: coordinate inf is not finite");
    // File content in a message is escaped, so that it stays one line.
    EXPECT_EQ(failureOf(dir, "solid a\nendsolid a\nsolid\x01\nfacet", MeshFormat::Stl),
              "line 3: expected \"solid\", found \"solid\\x01\"");
}

TEST(stlFormat, writtenFacetsCarryTheTrianglesNormalsAndReadBackWelded)
{
    // The tetrahedron plus a degenerate triangle (0 1 1), whose normal is written as zero.
    oxGeom::CompactMesh mesh = fixtures::tetrahedron();
    std::vector<int> triangles = formatTests::trianglesOf(mesh);
    triangles.insert(triangles.end(), {0, 1, 1});
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    ScratchDir dir;
    for (const trelm::files::Encoding encoding :
         {trelm::files::Encoding::Binary, trelm::files::Encoding::Ascii})
    {
        trelm::files::WriteOptions options;
        options.encoding = encoding;
        const std::string path = dir.file("mesh.stl");
        ASSERT_TRUE(trelm::files::writeMesh(path, mesh, options).ok);
        const oxGeom::CompactMesh back = formatTests::readOrFail(path, MeshFormat::Stl);
        EXPECT_EQ(cornersOf(back), cornersOf(mesh));
        EXPECT_EQ(back.getNumVertices(), 4);
        if (encoding == trelm::files::Encoding::Ascii)
        {
            const std::string start =
                "solid trelm\nfacet normal 0 0 -1\n  outer loop\n    vertex 0 0 0\n    "
                "vertex 0 1 0\n    vertex 1 0 0\n  endloop\nendfacet\n";
            EXPECT_EQ(formatTests::readBytes(path).substr(0, start.size()), start);
            continue;
        }
        const std::string bytes = formatTests::readBytes(path);
        ASSERT_EQ(bytes.size(), 84u + 5 * 50);
        EXPECT_NE(bytes.substr(0, 5), "solid");
        const float* p = mesh.getVerticesRaw();
        for (int t = 0; t < 5; ++t)
        {
            const int* c = &triangles[3 * t];
            const double u[3] = {p[3 * c[1]] - p[3 * c[0]], p[3 * c[1] + 1] - p[3 * c[0] + 1],
                                 p[3 * c[1] + 2] - p[3 * c[0] + 2]};
            const double v[3] = {p[3 * c[2]] - p[3 * c[0]], p[3 * c[2] + 1] - p[3 * c[0] + 1],
                                 p[3 * c[2] + 2] - p[3 * c[0] + 2]};
            double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                           u[0] * v[1] - u[1] * v[0]};
            const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
            float written[3];
            std::memcpy(written, bytes.data() + 84 + 50 * t, 12);
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(written[k], length > 0 ? n[k] / length : 0.0, 1e-6) << t;
        }
    }
}

#endif
