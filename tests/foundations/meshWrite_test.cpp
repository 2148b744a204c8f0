// meshWrite: the exact text written for small meshes of both kinds, the empty
// mesh, and a failure reported when the file cannot be opened or written.

#include <oxGeom/meshWrite.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace
{
// A file of the running test's own in the temporary directory, removed at the end.
struct TempFile
{
    const std::string path = std::filesystem::temp_directory_path().string() + "/trelm-meshWrite-" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name();
    ~TempFile() { std::filesystem::remove(path); }
    std::string text() const
    {
        std::stringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }
};
}  // namespace

TEST(meshWrite, compactMeshTextIsExact)
{
    // Floats are widened to double and written with ten significant digits.
    const oxGeom::MeshVertex vertices[3] = {
        {{0.0f, -0.0f, 0.0f}}, {{1.0f, 0.1f, -2.5f}}, {{1e-7f, 123456789.0f, FLT_MAX}}};
    oxGeom::CompactMesh mesh(3, vertices, nullptr, nullptr, nullptr);
    const int triangles[6] = {0, 1, 2, 2, 1, 0};
    mesh.copyTriangles(2, triangles);
    TempFile file;
    ASSERT_TRUE(oxGeom::meshWrite(mesh, file.path));
    EXPECT_EQ(file.text(),
              "3 2\n"
              "0 -0 0\n"
              "1 0.1000000015 -2.5\n"
              "1.000000012e-07 123456792 3.402823466e+38\n"
              "3 0 1 2\n"
              "3 2 1 0\n");

    ASSERT_TRUE(oxGeom::meshWrite(oxGeom::CompactMesh(), file.path));
    EXPECT_EQ(file.text(), "0 0\n");
}

TEST(meshWrite, topoMeshFacesListTheirCornerCountThenCorners)
{
    //   3 ----- 2          a quad (0 1 2 3) and a triangle (1 4 2);
    //   |       | \        corners are numbered by their place in the
    //   0 ----- 1 - 4      vertex list
    oxGeom::TopoMesh mesh;
    const double points[5][3] = {
        {0, 0, 0}, {1, 0, 0}, {1, 1.0 / 3, 0}, {0, 2.0 / 3, 0}, {1e300, 0.1, 0}};
    ox::vector<oxGeom::TopoMeshVertex> v;
    for (const auto& p : points)
        v.push_back(mesh.allocVertex(oxLinear::Point(p[0], p[1], p[2])));
    mesh.allocFace({v[0], v[1], v[2], v[3]});
    mesh.allocFace({v[1], v[4], v[2]});
    oxGeom::meshTwin(mesh);
    TempFile file;
    ASSERT_TRUE(oxGeom::meshWrite(mesh, file.path));
    EXPECT_EQ(file.text(),
              "5 2\n"
              "0 0 0\n"
              "1 0 0\n"
              "1 0.3333333333 0\n"
              "0 0.6666666667 0\n"
              "1e+300 0.1 0\n"
              "4 0 1 2 3\n"
              "3 1 4 2\n");

    oxGeom::TopoMesh empty;
    ASSERT_TRUE(oxGeom::meshWrite(empty, file.path));
    EXPECT_EQ(file.text(), "0 0\n");
}

TEST(meshWrite, unwritableFileReturnsFalse)
{
    oxGeom::TopoMesh topo;
    const std::string missingDir = "/nonexistent/trelm/mesh.txt";
    EXPECT_FALSE(oxGeom::meshWrite(oxGeom::CompactMesh(), missingDir));
    EXPECT_FALSE(oxGeom::meshWrite(topo, missingDir));
    // A device that accepts the open but no byte: the failure shows at flush or close.
    if (std::filesystem::exists("/dev/full"))
    {
        EXPECT_FALSE(oxGeom::meshWrite(oxGeom::CompactMesh(), "/dev/full"));
        EXPECT_FALSE(oxGeom::meshWrite(topo, "/dev/full"));
    }
}
