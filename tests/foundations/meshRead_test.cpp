// meshRead: round trips through meshWrite, the count-4 shift of the indexed reader, appending
// to a TopoMesh, the accepted number syntax, and malformed files (every truncated prefix, bad
// counts and indices, absurd headers), which must change nothing and say why in one line.
// The process locale must not matter.

#include <oxGeom/MeshCache.h>
#include <oxGeom/meshRead.h>
#include <oxGeom/meshWrite.h>

#include "support/CountingAllocator.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::TopoMesh;
using oxLinear::Point;

namespace
{
// A file of the running test's own in the temporary directory, removed at the end.
struct TempFile
{
    const std::string path = std::filesystem::temp_directory_path().string() + "/trelm-meshRead-" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name();
    ~TempFile() { std::filesystem::remove(path); }
    const std::string& holding(const std::string& text) const
    {
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    std::string text() const
    {
        std::stringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }
};

// The tetrahedron with normals and a selected triangle: a failed read must leave it so.
CompactMesh sentinel()
{
    CompactMesh mesh = fixtures::tetrahedron();
    mesh.allocNormalArray();
    mesh.getSelectedTriangles().setBit(1);
    return mesh;
}

// Bitwise equality of positions (so -0 differs from 0) and triangles, same channels.
void expectSameMesh(const CompactMesh& a, const CompactMesh& b)
{
    ASSERT_EQ(a.getNumVertices(), b.getNumVertices());
    ASSERT_EQ(a.getNumTriangles(), b.getNumTriangles());
    // memcmp must not see the null arrays of an empty mesh.
    EXPECT_TRUE(a.getNumVertices() == 0 ||
                std::memcmp(a.getVerticesRaw(), b.getVerticesRaw(), 12u * a.getNumVertices()) == 0);
    EXPECT_TRUE(a.getNumTriangles() == 0 || std::memcmp(a.getTrianglesRaw(), b.getTrianglesRaw(),
                                                        12u * a.getNumTriangles()) == 0);
    EXPECT_EQ(a.getNormals() == nullptr, b.getNormals() == nullptr);
    EXPECT_EQ(a.getSelectedTriangles().isBitSet(1), b.getSelectedTriangles().isBitSet(1));
}

// Reads `file` into the sentinel and into a TopoMesh holding one vertex; checks that a
// failed read changed neither.
struct BothReads
{
    explicit BothReads(const std::string& file)
    {
        CompactMesh mesh = sentinel();
        compact = oxGeom::meshRead(mesh, file, &compactError);
        if (!compact)
        {
            expectSameMesh(mesh, sentinel());
        }
        TopoMesh topoMesh;
        topoMesh.allocVertex(Point(1, 2, 3));
        topo = oxGeom::meshRead(topoMesh, file, &topoError);
        EXPECT_TRUE(topo || (topoMesh.numVertices() == 1 && topoMesh.numFaces() == 0));
    }
    bool compact, topo;
    std::string compactError, topoError;
};

std::vector<int> corners(const TopoMesh& mesh, int face)
{
    ox::vector<oxGeom::TopoMeshVertex> vertices;
    mesh.face(face).getVertices(vertices);
    std::vector<int> indices;
    for (const auto& v : vertices)
        indices.push_back(v.index());
    return indices;
}

}  // namespace

TEST(meshRead, compactRoundTripKeepsFloatsExactlyAndDropsOtherChannels)
{
    CompactMesh mesh = fixtures::randomMesh(7, 200, 300);
    const float extremes[] = {-0.0f, FLT_MAX, -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, 1e-30f, 0.1f};
    std::memcpy(mesh.getVerticesRaw(), extremes, sizeof extremes);  // ten digits suffice for floats
    mesh.allocUVArray();
    TempFile file;
    ASSERT_TRUE(oxGeom::meshWrite(mesh, file.path));
    mesh.deleteUVs();

    CompactMesh read = sentinel();
    ox::Reference<fixtures::CountingAllocator> allocator(new fixtures::CountingAllocator);
    read.setArrayAllocator(allocator);
    oxGeom::SimpleMeshCache cache;
    const ox::Reference<oxGeom::MeshAdjTris> before = cache.getAdjTris(read);
    ASSERT_TRUE(oxGeom::meshRead(read, file.path));
    expectSameMesh(read, mesh);  // the sentinel's normals and selected triangle are gone too
    // The cache heard of the new contents: its table is rebuilt for them.
    EXPECT_EQ(before->getNumVertices(), 4);
    EXPECT_EQ(cache.getAdjTris(read)->getNumVertices(), 200);
    EXPECT_EQ(read.getUVs(), nullptr);
    // One assignment into the mesh: its allocator hook stays and holds the new arrays.
    EXPECT_EQ(read.getArrayAllocator().get(), allocator.get());
    EXPECT_GT(allocator->liveBytes(), 300u * 12u);
}

TEST(meshRead, topoRoundTripKeepsQuadsAndLinksTwins)
{
    // A 3 x 2 grid of quads; vertex (i, j) has index j * 4 + i.
    TopoMesh mesh;
    ox::vector<oxGeom::TopoMeshVertex> v;
    for (int j = 0; j <= 2; ++j)
        for (int i = 0; i <= 3; ++i)
            v.push_back(mesh.allocVertex(Point(i * 0.1, j / 3.0, std::sqrt(i + j))));
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 3; ++i)
            mesh.allocFace({v[j * 4 + i], v[j * 4 + i + 1], v[j * 4 + i + 5], v[j * 4 + i + 4]});
    TempFile file;
    ASSERT_TRUE(oxGeom::meshWrite(mesh, file.path));
    EXPECT_NE(file.text().find("\n4 0 1 5 4\n"), std::string::npos);

    TopoMesh read;
    ASSERT_TRUE(oxGeom::meshRead(read, file.path));
    ASSERT_EQ(read.numVertices(), 12);
    ASSERT_EQ(read.numFaces(), 6);
    for (int i = 0; i < 12; ++i)
        for (int axis = 0; axis < 3; ++axis)  // ten significant digits of values below 2.3
            EXPECT_NEAR(read.pointAt(i)[axis], mesh.pointAt(i)[axis], 1.2e-9);
    for (int f = 0; f < 6; ++f)
        EXPECT_EQ(corners(read, f), corners(mesh, f));
    int boundary = 0;
    for (int e = 0; e < read.numEdges(); ++e)
        boundary += read.edge(e).isBoundary();
    EXPECT_EQ(boundary, 2 * (3 + 2));  // the grid's rim; the 7 inner edges are twinned
}

TEST(meshRead, compactFaceOfFourShiftsItsLastIndexIntoTheNextCount)
{
    TempFile file;
    CompactMesh mesh;
    ASSERT_TRUE(oxGeom::meshRead(
        mesh, file.holding("5 2\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n2 0 0\n4 0 1 2 3\n3 2 3 4\n")));
    ASSERT_EQ(mesh.getNumTriangles(), 2);
    const int* t = mesh.getTrianglesRaw();
    EXPECT_EQ(std::vector<int>(t, t + 6), (std::vector<int>{0, 1, 2, 3, 2, 3}));
}

TEST(meshRead, topoReadAppendsToWhatTheMeshHolds)
{
    TopoMesh mesh;
    mesh.allocFace({mesh.allocVertex(Point(5, 5, 5)), mesh.allocVertex(Point(6, 5, 5)),
                    mesh.allocVertex(Point(5, 6, 5))});
    TempFile file;
    file.holding("4 1\n0 0 0\n1 0 0\n1 1 0\n0 1 0.5\n4 0 1 2 3\n");
    ASSERT_TRUE(oxGeom::meshRead(mesh, file.path));
    ASSERT_TRUE(oxGeom::meshRead(mesh, file.path));
    ASSERT_EQ(mesh.numFaces(), 3);
    EXPECT_EQ(corners(mesh, 0), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(corners(mesh, 1), (std::vector<int>{3, 4, 5, 6}));
    EXPECT_EQ(corners(mesh, 2), (std::vector<int>{7, 8, 9, 10}));
    EXPECT_EQ(mesh.pointAt(10)[2], 0.5);
    EXPECT_EQ(mesh.pointAt(0)[0], 5.0);
}

TEST(meshRead, missingFileChangesNothing)
{
    const BothReads reads("/nonexistent/trelm/mesh.txt");
    EXPECT_FALSE(reads.compact || reads.topo);
    EXPECT_EQ(reads.compactError, "the file cannot be opened for reading");
}

TEST(meshRead, everyTruncatedPrefixFailsAndChangesNothing)
{
    // The last number is one digit, so only the prefix lacking the final newline is complete.
    const std::string text = "4 2\n0 0 0\n1 0.5 0\n0 1 0\n0.25 -0.25 1e-3\n3 0 1 2\n3 1 3 2\n";
    TempFile file;
    for (std::size_t length = 0; length < text.size(); ++length)
    {
        const BothReads reads(file.holding(text.substr(0, length)));
        EXPECT_EQ(reads.compact, length + 1 == text.size()) << length;
        EXPECT_EQ(reads.topo, length + 1 == text.size()) << length;
    }
}

TEST(meshRead, malformedFilesFailWithOneLineReasonAndChangeNothing)
{
    const std::string v3 = "3 1\n0 0 0\n1 0 0\n0 1 0\n";
    struct Case
    {
        std::string text, reason, topoReason = "";  // an empty topoReason: the same reason
    };
    const Case cases[] = {
        {"", "line 1: the file ends before the vertex count"},
        {"-1 0\n", "line 1: negative vertex count -1"},
        {"0 -2\n", "line 1: negative face count -2"},
        {"1000000000000 1\n", "line 1: expected the vertex count, found \"1000000000000\""},
        {"2000000000 2000000000\n0 0 0\n\n",
         "line 2: the file ends before a coordinate of vertex 1"},
        {"2147483647 0\n", "line 1: the file ends before a coordinate of vertex 0",
         "line 1: more vertices or faces than a mesh can hold"},
        {"3 1\n0 0 0\n1 0 0\n0 1,5 0\n",
         "line 4: expected a coordinate of vertex 2, found \"1,5\""},
        {"1 0\n0 0 1.5abc\n", "line 2: expected a coordinate of vertex 0, found \"1.5abc\""},
        {"1 0\n0 \x01 0\n", "line 2: expected a coordinate of vertex 0, found \"?\""},
        {"1 0\n0 0 " + std::string(1025, '1'), "line 2: a number longer than 1024 characters"},
        {v3 + "3 0 1 3\n", "line 5: index 3 of face 0 is outside [0, 3)"},
        {v3 + "3 0 -1 2\n", "line 5: index -1 of face 0 is outside [0, 3)"},
        {v3 + "3 0 1.0 2\n", "line 5: expected a corner index of face 0, found \"1.0\""},
        {v3 + "x 0 1 2\n", "line 5: expected the corner count of face 0, found \"x\""},
        {v3 + "2000000000 0 1\n", "line 5: the file ends before a corner index of face 0"},
        {v3 + "2 0 1\n", "line 5: the file ends before a corner index of face 0",
         "line 5: face 0 has 2 corners; a face needs at least 3"}};
    TempFile file;
    for (const Case& c : cases)
    {
        const BothReads reads(file.holding(c.text));
        EXPECT_FALSE(reads.compact || reads.topo) << c.reason;
        EXPECT_EQ(reads.compactError, c.reason);
        EXPECT_EQ(reads.topoError, c.topoReason.empty() ? c.reason : c.topoReason);
    }
}

TEST(meshRead, numbersReadAsStrtodReadsThemInTheCLocale)
{
    TempFile file;
    CompactMesh mesh;
    ASSERT_TRUE(oxGeom::meshRead(mesh, file.holding("+3\t1\r\n 1e3   -0 0x1.8p1\ninf -INF nan\n"
                                                    "1e39 -1e-50 1e-40 +3 +0 002 1 unread: 1,2")));
    ASSERT_EQ(mesh.getNumVertices(), 3);
    const float* p = mesh.getVerticesRaw();
    EXPECT_TRUE(p[0] == 1000 && p[1] == 0 && std::signbit(p[1]) && p[2] == 3);
    EXPECT_TRUE(p[3] == INFINITY && p[4] == -INFINITY && std::isnan(p[5]));
    EXPECT_EQ(p[6], INFINITY);  // beyond float: an infinity, as strtof gives
    EXPECT_TRUE(p[7] == 0 && std::signbit(p[7]));
    EXPECT_EQ(p[8], 1e-40f);  // a subnormal float is kept
    EXPECT_EQ(std::vector<int>(mesh.getTrianglesRaw(), mesh.getTrianglesRaw() + 3),
              (std::vector<int>{0, 2, 1}));

    TopoMesh topo;
    const std::string longest = "0." + std::string(1021, '0') + "1";  // 1024 characters
    ASSERT_TRUE(oxGeom::meshRead(
        topo, file.holding("2 0\n1e400 -1e-400 0x1p-1074\n0.1 " + longest + " -0x1P+3")));
    EXPECT_TRUE(topo.pointAt(0)[0] == INFINITY && std::signbit(topo.pointAt(0)[1]));
    EXPECT_EQ(topo.pointAt(0)[2], std::ldexp(1.0, -1074));
    EXPECT_TRUE(topo.pointAt(1)[0] == 0.1 && topo.pointAt(1)[1] == 0 && topo.pointAt(1)[2] == -8);

    for (const char* bad : {"+-1", "--1", "-+1", "0xinf", "0x", "0x-1", "1e", ".", "1.5.", "e5"})
        EXPECT_FALSE(BothReads(file.holding(std::string("1 0\n0 0 ") + bad)).compact) << bad;
    for (const char* bad : {"2147483648", "+-1", "0x1", "1e2"})
        EXPECT_FALSE(BothReads(file.holding(std::string(bad) + " 0\n")).compact) << bad;
}

TEST(meshRead, decimalCommaLocaleIsIgnored)
{
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    bool commaLocale = false;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8"})
        if (!commaLocale && std::setlocale(LC_ALL, name))
            commaLocale = *std::localeconv()->decimal_point == ',';
    if (!commaLocale)
    {
        std::setlocale(LC_ALL, previous.c_str());
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    const oxGeom::MeshVertex vertices[3] = {{{0.5f, -1.25f, 2}}, {{1, 0, 0}}, {{0, 1, 0}}};
    const CompactMesh mesh(3, vertices, nullptr, nullptr, nullptr);
    TempFile file;
    const bool written = oxGeom::meshWrite(mesh, file.path);
    CompactMesh read;
    TopoMesh topo;
    const bool readBack = oxGeom::meshRead(read, file.path) && oxGeom::meshRead(topo, file.path);
    std::setlocale(LC_ALL, previous.c_str());

    EXPECT_TRUE(written && readBack);
    EXPECT_EQ(file.text(), "3 0\n0.5 -1.25 2\n1 0 0\n0 1 0\n");
    expectSameMesh(read, mesh);
    EXPECT_EQ(topo.pointAt(0)[1], -1.25);
}
