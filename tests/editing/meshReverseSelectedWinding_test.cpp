// meshReverseSelectedWinding: only selected triangles turn; each vertex normal at a
// selected corner is negated exactly once however many selected triangles share it
// (checked against a brute-force corner set); strips and fans are left alone.

#include <oxGeom/meshReverseWinding.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshModification;

TEST(meshReverseSelectedWinding, sharedNormalsFlipOnceAndOnlySelectedTrianglesTurn)
{
    CompactMesh mesh = fixtures::icosphere(2, 1.0f);
    testsupport::addEveryChannel(mesh, 12);
    mesh.resizeTriStripArrays(1, 3);
    mesh.getTriStripLengths()[0] = 3;
    mesh.getTriStripPoints()[1] = 1;
    std::mt19937 random(4);
    std::set<int> corners;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (random() % 3 == 0)
        {
            mesh.getSelectedTriangles().setBit(t);
            for (int c = 0; c < 3; ++c)
                corners.insert(mesh.getTriangles()[t][c]);
        }
    const CompactMesh before = mesh;

    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    oxGeom::meshReverseSelectedWinding(mesh);
    EXPECT_EQ(capture.text(),
              "meshReverseSelectedWinding: 320 triangles\n  mesh reverse selected winding: # s\n");

    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const bool selected = before.getSelectedTriangles().isBitSet(t);
        const oxGeom::MeshTriangle& was = before.getTriangles()[t];
        const oxGeom::MeshTriangle& is = mesh.getTriangles()[t];
        EXPECT_EQ(is[0], selected ? was[1] : was[0]) << t;
        EXPECT_EQ(is[1], selected ? was[0] : was[1]) << t;
        EXPECT_EQ(is[2], was[2]) << t;
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(mesh.getTriangleNormals()[t][k], selected
                                                           ? -before.getTriangleNormals()[t][k]
                                                           : before.getTriangleNormals()[t][k]);
    }
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(mesh.getNormals()[v][k],
                      corners.count(v) ? -before.getNormals()[v][k] : before.getNormals()[v][k])
                << v;
    EXPECT_EQ(mesh.getTriStripPoints()[1], 1);
    EXPECT_EQ(mesh.getSelectedTriangles(), before.getSelectedTriangles());
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].type, MeshModification::Topology);
    EXPECT_FALSE(log.notices[0].hasRemap);
    EXPECT_EQ(log.notices[0].flags, unsigned(MeshModification::NormalsModifiedFlag |
                                             MeshModification::TriangleNormalsModifiedFlag |
                                             MeshModification::UVsValidFlag));
}

TEST(meshReverseSelectedWinding, staleSelectionBitsAndBadCornersAreSafe)
{
    //   2            triangles 0 (0 1 2) and 1 (1 0 7): vertex 7 does not exist.
    //   | \          both selected; a stale selection bit 5 names no triangle.
    //   0 - 1
    CompactMesh mesh = testsupport::makeMesh({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 1, 0, 7});
    mesh.allocNormalArray()[0][2] = 1.0f;
    mesh.getSelectedTriangles().resize(6);
    mesh.getSelectedTriangles().setAllBits();
    oxGeom::meshReverseSelectedWinding(mesh);
    EXPECT_EQ(testsupport::triangleList(mesh), (std::vector<int>{1, 0, 2, 0, 1, 7}));
    EXPECT_EQ(mesh.getNormals()[0][2], -1.0f);  // shared by both, flipped once

    // Nothing selected: nothing turns, the notice is still sent.
    mesh.clearSelection();
    testsupport::ModificationLog log(mesh);
    oxGeom::meshReverseSelectedWinding(mesh);
    EXPECT_EQ(testsupport::triangleList(mesh), (std::vector<int>{1, 0, 2, 0, 1, 7}));
    EXPECT_EQ(log.notices.size(), 1u);
}
