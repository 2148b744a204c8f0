// Vertex storage: channels and selection follow the vertex count, optional
// channels are absent until allocated, reserved names demand their type, and
// the bounding box skips NaN vertices.

#include <oxGeom/PointMesh.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "support/meshes.h"

using oxGeom::MeshAttributes;
using oxGeom::PointMesh;
using oxString::CString;

TEST(PointMesh, resizeKeepsChannelsAndSelectionSized)
{
    PointMesh mesh;
    mesh.resizeVertexArray(40);
    mesh.allocNormalArray()[39][2] = 1.0f;
    MeshAttributes* weight = mesh.allocAttributes("weight", 1);
    weight->asFloat()[5] = 0.5f;
    weight->asFloat()[39] = 2.0f;
    float lo, hi;
    weight->getRange(&lo, &hi);
    mesh.getSelectedVertices().setBit(5);
    mesh.getSelectedVertices().setBit(39);

    mesh.resizeVertexArray(36);
    weight->getRange(&lo, &hi);
    EXPECT_EQ(hi, 0.5f);  // resizing invalidates the cached range
    mesh.resizeVertexArray(80);
    EXPECT_EQ(mesh.getSelectedVertices().size(), 80);
    EXPECT_TRUE(mesh.getSelectedVertices().isBitSet(5));    // survivor keeps its bit
    EXPECT_FALSE(mesh.getSelectedVertices().isBitSet(39));  // dropped and re-added: clear
    EXPECT_EQ(mesh.getAttributes("weight")->asFloat()[5], 0.5f);
    EXPECT_EQ(mesh.getNormals()[39][2], 0.0f);
    for (int i = 0; i < mesh.getNumAttributes(); ++i)
        EXPECT_EQ(mesh.getAttributes(i)->getNumElements(), 80);
}

TEST(PointMesh, absentArraysAreNullAndAppearAfterAlloc)
{
    PointMesh mesh;
    EXPECT_NE(mesh.getVertices(), nullptr);
    EXPECT_EQ(mesh.getNormals(), nullptr);
    EXPECT_EQ(mesh.getUVs(), nullptr);
    EXPECT_EQ(mesh.getSTs(), nullptr);
    EXPECT_NE(mesh.allocNormalArray(), nullptr);  // present with zero vertices
    EXPECT_NE(mesh.allocSTArray(), nullptr);
    mesh.resizeVertexArray(3);
    mesh.allocUVArray()[2][1] = 4.0f;
    EXPECT_EQ(mesh.allocUVArray()[2][1], 4.0f);  // alloc keeps existing values
    mesh.setNormalsComputed(true);
    mesh.deleteUVs();
    EXPECT_TRUE(mesh.getNormalsComputed());  // only deleting the normals forgets them
    mesh.deleteNormals();
    EXPECT_FALSE(mesh.getNormalsComputed());
    EXPECT_EQ(mesh.getNormals(), nullptr);
    EXPECT_EQ(mesh.getUVs(), nullptr);
}

TEST(PointMesh, attributesAllocLookupDeleteAndNames)
{
    PointMesh mesh;
    mesh.resizeVertexArray(4);
    MeshAttributes* temperature = mesh.allocAttributes("temperature", MeshAttributes::Float1);
    temperature->asFloat()[3] = 20.0f;
    mesh.allocAttributes("rgba", 4);
    mesh.allocNormalArray();
    ox::set<CString> names{"stale"};
    mesh.getAttributeNames(names);
    EXPECT_EQ(names, (ox::set<CString>{"Vertices", "Normals", "rgba", "temperature"}));
    EXPECT_EQ(mesh.getAttributes(PointMesh::VerticesName)->asFloat(), mesh.getVerticesRaw());
    EXPECT_EQ(mesh.getAttributes(PointMesh::NormalsName)->asFloat(), mesh.getNormalsRaw());
    EXPECT_EQ(mesh.getAttributes(1), temperature);
    EXPECT_EQ(mesh.getAttributes(4), nullptr);
    EXPECT_EQ(static_cast<const PointMesh&>(mesh).getAttributes(4), nullptr);
    EXPECT_EQ(mesh.getAttributes("missing"), nullptr);

    EXPECT_EQ(mesh.allocAttributes("temperature", 1),
              temperature);  // same type: kept
    EXPECT_EQ(temperature->asFloat()[3], 20.0f);
    MeshAttributes* wide = mesh.allocAttributes("temperature", 2);  // other type: replaced
    EXPECT_EQ(wide->getDimension(), 2);
    EXPECT_EQ(wide->asFloat()[3], 0.0f);

    EXPECT_EQ(mesh.allocAttributes("x", 5), nullptr);
    EXPECT_EQ(mesh.allocAttributes("", 1), nullptr);
    EXPECT_EQ(mesh.allocAttributes(PointMesh::VerticesName, 2), nullptr);
    EXPECT_EQ(mesh.allocAttributes(PointMesh::UVsName, 3), nullptr);
    EXPECT_EQ(mesh.getNumAttributes(), 4);
    const oxGeom::MeshUV* uvs = mesh.allocAttributes(PointMesh::UVsName, 2)->asMeshUV();
    EXPECT_EQ(uvs, mesh.getUVs());

    EXPECT_FALSE(mesh.deleteAttributes(PointMesh::VerticesName));
    EXPECT_FALSE(mesh.deleteAttributes("missing"));
    EXPECT_TRUE(mesh.deleteAttributes("rgba"));
    EXPECT_EQ(mesh.getAttributes(1), wide);  // indices close up
}

TEST(PointMesh, copyVerticesFromItsOwnArray)
{
    PointMesh mesh;
    mesh.allocUVArray();
    mesh.resizeVertexArray(40);
    for (int i = 0; i < 3 * 40; ++i)
        mesh.getVerticesRaw()[i] = static_cast<float>(i);
    // Shrinking this far reallocates: the source must be read first.
    mesh.copyVertices(2, mesh.getVertices() + 5);
    ASSERT_EQ(mesh.getNumVertices(), 2);
    EXPECT_EQ(mesh.getAttributes(PointMesh::UVsName)->getNumElements(), 2);
    EXPECT_EQ(mesh.getVertices()[0][0], 15.0f);
    EXPECT_EQ(mesh.getVertices()[1][2], 20.0f);
}

TEST(PointMesh, boundingBoxMatchesBruteForceAndSkipsNaNVertices)
{
    const oxGeom::CompactMesh mesh = fixtures::randomMesh(7, 500, 0);
    oxLinear::Range3d box;
    mesh.getBoundingBox(box);
    for (int c = 0; c < 3; ++c)
    {
        float lo = FLT_MAX, hi = -FLT_MAX;
        for (int i = 0; i < mesh.getNumVertices(); ++i)
        {
            lo = std::fmin(lo, mesh.getVertices()[i][c]);
            hi = std::fmax(hi, mesh.getVertices()[i][c]);
        }
        EXPECT_EQ(box.min()[c], lo);
        EXPECT_EQ(box.max()[c], hi);
    }

    PointMesh withNaN;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float withNaNs[12] = {nan, 0, 0, 0, nan, 0, 0, 0, nan, 2, 3, 4};
    withNaN.copyVertices(4, withNaNs);
    withNaN.getBoundingBox(box);
    EXPECT_EQ(box.min(), oxLinear::Point(2, 3, 4));  // each vertex with a NaN is skipped
    PointMesh().getBoundingBox(box);
    EXPECT_TRUE(box.isEmpty());
}
