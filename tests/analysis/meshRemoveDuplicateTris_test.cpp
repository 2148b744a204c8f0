// meshRemoveDuplicateTris: deletes exactly the listed triangles (plus any selected
// before) and the vertices only they used, keeps every channel value with its
// vertex, leaves a clean mesh alone, and prints its lines in the documented order.

#include <oxGeom/meshDuplicateTris.h>

#include <oxGeom/meshAdjacency.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshDuplicateTrisResult;

namespace
{
oxGeom::MeshAdjTris adjacencyOf(const CompactMesh& mesh)
{
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    return adj;
}
}  // namespace

TEST(meshRemoveDuplicateTris, removesFoundTrianglesAndKeepsChannels)
{
    //   3 ---- 2      4        triangles 0 (0 1 2), 1 (0 2 3), 2 (2 1 0) duplicate,
    //   |    / |               3 (0 0 4) index-degenerate, 4 (1 5 2) with 5 on 1:
    //   |  /   |               position-degenerate. Vertex 4 and 5 are used only
    //   0 ---- 1 5             by bad triangles; triangle 1 was selected before.
    CompactMesh mesh = testsupport::makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 3, 0, 0, 1, 0, 0},
                                             {0, 1, 2, 0, 2, 3, 2, 1, 0, 0, 0, 4, 1, 5, 2});
    testsupport::addEveryChannel(mesh, 8);
    mesh.getSelectedVertices().setBit(3);  // cleared by the corner selection
    const CompactMesh before = mesh;
    const oxGeom::MeshAdjTris adj = adjacencyOf(mesh);

    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    oxGeom::meshRemoveDuplicateTris(mesh, adj);
    EXPECT_EQ(capture.text(),
              "meshDuplicateTris:  verts(6) tris(5) dup(1) degenerate(2) # s\n"
              "oxGeom::meshRemoveDuplicateTris\n"
              "           vertices(6) triangles(5)\n"
              "MeshSelect::selectVerticesFromTriangles()\n"
              "  selected vertices(5): # s\n"
              "  selected 3 duplicate/degenerate tris: # s\n"
              "meshDeleteSelected:  vertices 5(6)  triangles 3(5)\n"
              "  delete vertices: # s\n"
              "  delete triangles: # s\n");

    EXPECT_EQ(testsupport::triangleList(mesh), (std::vector<int>{0, 1, 2, 0, 2, 3}));
    ASSERT_EQ(log.notices.size(), 1u);
    const std::vector<int>& map = log.notices[0].vertexMap;
    EXPECT_EQ(map, (std::vector<int>{0, 1, 2, 3, -1, -1}));
    std::vector<std::string> names = testsupport::everyChannelName();
    names.push_back("Vertices");
    for (int v = 0; v < 4; ++v)
        for (const std::string& name : names)
            EXPECT_EQ(testsupport::channelValue(mesh, name, map[v]),
                      testsupport::channelValue(before, name, v));
    MeshDuplicateTrisResult after;
    EXPECT_FALSE(oxGeom::meshDuplicateTris(mesh, after));
}

TEST(meshRemoveDuplicateTris, earlierSelectionIsDeletedToo)
{
    CompactMesh mesh = fixtures::gridMesh(2, 1);  // triangles 0..3
    const oxGeom::MeshAdjTris adj = adjacencyOf(mesh);
    mesh.getSelectedTriangles().setBit(3);
    MeshDuplicateTrisResult result;
    result.getIndexDegenerates().push_back(0);
    testsupport::DebugCapture capture;
    oxGeom::meshRemoveDuplicateTris(mesh, adj, result);
    EXPECT_EQ(mesh.getNumTriangles(), 2);
    EXPECT_NE(capture.text().find("  selected 2 duplicate/degenerate tris: # s\n"),
              std::string::npos);
}

TEST(meshRemoveDuplicateTris, cleanMeshOrEmptyResultChangesNothing)
{
    CompactMesh mesh = fixtures::cube();
    mesh.getSelectedTriangles().setBit(4);  // not deleted: nothing was found
    const oxGeom::MeshAdjTris adj = adjacencyOf(mesh);
    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    oxGeom::meshRemoveDuplicateTris(mesh, adj);
    EXPECT_EQ(capture.text(), "meshDuplicateTris:  verts(8) tris(12) dup(0) degenerate(0) # s\n");

    capture.clear();
    oxGeom::meshRemoveDuplicateTris(mesh, adj, MeshDuplicateTrisResult());
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(log.notices.empty());
    EXPECT_EQ(mesh.getNumTriangles(), 12);
    EXPECT_TRUE(mesh.getSelectedTriangles().isBitSet(4));
}
