// meshVerify: each kind of fault is found, counted and named, on a mesh that is otherwise valid;
// valid meshes pass; the mesh is never changed.

#include <oxGeom/meshNormals.h>
#include <oxGeom/meshVerify.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "../support/meshes.h"

namespace
{
using oxGeom::CompactMesh;
using oxGeom::meshVerify;

TEST(meshVerify, validMeshesPass)
{
    for (const CompactMesh& mesh : {fixtures::emptyMesh(), fixtures::cube(),
                                    fixtures::icosphere(2, 1.0f), fixtures::degenerateMesh()})
    {
        const oxGeom::MeshVerifyReport report = meshVerify(mesh);
        EXPECT_TRUE(report.ok()) << report.describe();
        EXPECT_EQ(report.describe(), "mesh is valid");
    }
}

TEST(meshVerify, countsTrianglesWithCornersOutsideTheVertexArray)
{
    CompactMesh mesh = fixtures::cube();
    const int numVertices = mesh.getNumVertices();
    mesh.getTriangles()[3][1] = numVertices;  // one past the end
    mesh.getTriangles()[5][2] = -1;
    mesh.getTriangles()[7][0] = std::numeric_limits<int>::max();
    const CompactMesh before = mesh;
    const oxGeom::MeshVerifyReport report = meshVerify(mesh);
    EXPECT_FALSE(report.ok());
    EXPECT_EQ(report.badTriangles, 3);
    EXPECT_EQ(report.firstBadTriangle, 3);
    EXPECT_EQ(report.describe(),
              "triangle 3 has a corner index outside the vertex array (3 triangles in all)");
    EXPECT_EQ(0, std::memcmp(before.getTriangles(), mesh.getTriangles(),
                             sizeof(oxGeom::MeshTriangle) * mesh.getNumTriangles()));
}

TEST(meshVerify, findsNonFiniteCoordinatesButAcceptsNonFiniteNormals)
{
    CompactMesh mesh = fixtures::cube();
    mesh.getVertices()[6][2] = std::numeric_limits<float>::infinity();
    EXPECT_EQ(meshVerify(mesh).describe(), "vertex 6 has a non-finite coordinate");
    mesh.getVertices()[2][0] = std::nanf("");
    const oxGeom::MeshVerifyReport report = meshVerify(mesh);
    EXPECT_EQ(report.nonFiniteVertices, 2);
    EXPECT_EQ(report.firstNonFiniteVertex, 2);

    CompactMesh withNormals = fixtures::icosphere(1, 1.0f);
    oxGeom::meshComputeNormals(withNormals);
    ASSERT_NE(withNormals.getNormals(), nullptr);
    withNormals.getNormals()[0][0] = std::nanf("");
    EXPECT_TRUE(meshVerify(withNormals).ok());
}

TEST(meshVerify, checksStripFanAndLineTables)
{
    CompactMesh mesh = fixtures::cube();
    const int n = mesh.getNumVertices();
    mesh.resizeTriStripArrays(2, 7);
    const int stripLengths[2] = {4, 3}, stripPoints[7] = {0, 1, 2, 3, 4, 5, 6};
    std::copy(stripLengths, stripLengths + 2, mesh.getTriStripLengths());
    std::copy(stripPoints, stripPoints + 7, mesh.getTriStripPoints());
    mesh.resizeTriFanArrays(1, 4);
    const int fanLengths[1] = {4}, fanPoints[4] = {0, 1, 2, 3};
    std::copy(fanLengths, fanLengths + 1, mesh.getTriFanLengths());
    std::copy(fanPoints, fanPoints + 4, mesh.getTriFanPoints());
    ASSERT_TRUE(meshVerify(mesh).ok()) << meshVerify(mesh).describe();

    mesh.getTriStripPoints()[6] = n;
    EXPECT_EQ(meshVerify(mesh).badStripPoints, 1);
    EXPECT_EQ(meshVerify(mesh).describe(), "1 triangle strip points lie outside the vertex array");
    mesh.getTriStripPoints()[6] = 6;
    mesh.getTriStripLengths()[1] = 2;  // 4 + 2 != 7
    EXPECT_EQ(meshVerify(mesh).describe(),
              "triangle strip lengths do not add up to the strip points");
    mesh.getTriStripLengths()[0] = 5;  // 5 + 2 == 7 again
    EXPECT_TRUE(meshVerify(mesh).ok());
    mesh.getTriStripLengths()[0] = 8;
    mesh.getTriStripLengths()[1] = -1;  // adds up, but a negative length is never valid
    EXPECT_TRUE(meshVerify(mesh).stripLengthsDisagree);
    mesh.getTriStripLengths()[0] = 5;
    mesh.getTriStripLengths()[1] = 2;

    mesh.getTriFanPoints()[0] = -7;
    EXPECT_EQ(meshVerify(mesh).describe(), "1 triangle fan points lie outside the vertex array");
    mesh.getTriFanPoints()[0] = 0;
    mesh.getTriFanLengths()[0] = 3;
    EXPECT_TRUE(meshVerify(mesh).fanLengthsDisagree);
    mesh.getTriFanLengths()[0] = 4;

    mesh.resizeLineArray(2);
    mesh.getLines()[1][1] = n + 4;
    EXPECT_EQ(meshVerify(mesh).describe(), "1 lines have an end outside the vertex array");
    mesh.getLines()[1][1] = 0;
    mesh.resizeLineStripArrays(1, 3);
    mesh.getLineStripLengths()[0] = 3;
    EXPECT_TRUE(meshVerify(mesh).ok()) << meshVerify(mesh).describe();
    mesh.getLineStripPoints()[2] = n;
    EXPECT_EQ(meshVerify(mesh).badLineStripPoints, 1);
}

TEST(meshVerify, findsSelectionsOfTheWrongSize)
{
    CompactMesh mesh = fixtures::cube();
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles() + 1);
    EXPECT_EQ(meshVerify(mesh).describe(),
              "the triangle selection's size differs from the triangle count");
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedVertices().resize(3);
    EXPECT_EQ(meshVerify(mesh).describe(),
              "the vertex selection's size differs from the vertex count");
    mesh.resizeVertexArray(mesh.getNumVertices());  // sizes the selection again
    EXPECT_TRUE(meshVerify(mesh).ok());
}
}  // namespace
