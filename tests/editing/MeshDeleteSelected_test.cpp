// MeshDeleteSelected: every surviving channel value stays with its vertex (checked
// through the vertex map against a copy of the original), survivors keep their
// order, the notice carries both maps, and the no-op and delete-all cases behave
// and print exactly as documented.

#include <oxGeom/MeshDeleteSelected.h>

#include <oxGeom/meshAdjacency.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using oxGeom::BitVector;
using oxGeom::CompactMesh;
using oxGeom::MeshDeleteSelected;
using oxGeom::MeshModification;

namespace
{
// The vertex map a deletion must produce, by brute force: a selected vertex
// goes unless an unselected triangle uses it; the rest are numbered in order.
std::vector<int> expectedVertexMap(const CompactMesh& mesh)
{
    std::vector<bool> used(mesh.getNumVertices(), false);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (!mesh.getSelectedTriangles().isBitSet(t))
            for (int c = 0; c < 3; ++c)
                used[mesh.getTriangles()[t][c]] = true;
    std::vector<int> map;
    int next = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        map.push_back(mesh.getSelectedVertices().isBitSet(v) && !used[v] ? -1 : next++);
    return map;
}

std::vector<int> mapValues(const oxGeom::Remap& map)
{
    std::vector<int> values;
    for (int i = 0; i < map.getDomainSize(); ++i)
        values.push_back(map(i));
    return values;
}

// Checks that `after` is `before` without the deleted elements, every channel
// value and triangle normal in place, through the given maps.
void expectSurvivorsIntact(const CompactMesh& before, const CompactMesh& after,
                           const std::vector<int>& vertexMap)
{
    std::vector<std::string> names = testsupport::everyChannelName();
    names.push_back("Vertices");
    for (int v = 0; v < before.getNumVertices(); ++v)
    {
        if (vertexMap[v] < 0)
            continue;
        for (const std::string& name : names)
            ASSERT_EQ(testsupport::channelValue(after, name, vertexMap[v]),
                      testsupport::channelValue(before, name, v))
                << name << " of vertex " << v;
    }
    EXPECT_FALSE(after.getAttributes("Weights")->isStoreable());

    int k = 0;
    for (int t = 0; t < before.getNumTriangles(); ++t)
    {
        if (before.getSelectedTriangles().isBitSet(t))
            continue;
        ASSERT_LT(k, after.getNumTriangles());
        for (int c = 0; c < 3; ++c)
        {
            EXPECT_EQ(after.getTriangles()[k][c], vertexMap[before.getTriangles()[t][c]]);
            EXPECT_EQ(after.getTriangleNormals()[k][c], before.getTriangleNormals()[t][c]);
        }
        ++k;
    }
    EXPECT_EQ(k, after.getNumTriangles());
}
}  // namespace

TEST(MeshDeleteSelected, survivorsKeepEveryChannelValueAndOrder)
{
    std::mt19937 random(31);
    for (int round = 0; round < 6; ++round)
    {
        CompactMesh mesh = fixtures::randomMesh(100 + round, 300, 400);
        mesh.resizeVertexArray(320);  // 20 vertices no triangle uses
        testsupport::addEveryChannel(mesh, 7 + round);
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            if (int(random() % 10) < 3 + round)
                mesh.getSelectedTriangles().setBit(t);
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            if (int(random() % 10) < 4 + round)
                mesh.getSelectedVertices().setBit(v);
        const CompactMesh before = mesh;
        const std::vector<int> expectedMap = expectedVertexMap(before);
        const int numSelectedVertices = before.getSelectedVertices().countSetBits();
        const int numSelectedTriangles = before.getSelectedTriangles().countSetBits();

        testsupport::ModificationLog log(mesh);
        testsupport::DebugCapture capture;
        MeshDeleteSelected deletion(mesh);
        deletion();

        ASSERT_TRUE(deletion.getVertexMap());
        EXPECT_EQ(mapValues(*deletion.getVertexMap()), expectedMap);
        expectSurvivorsIntact(before, mesh, expectedMap);
        EXPECT_EQ(mesh.getSelectedTriangles().size(), 0);
        EXPECT_EQ(mesh.getSelectedVertices().size(), 0);
        EXPECT_EQ(capture.text(), "meshDeleteSelected:  vertices " +
                                      std::to_string(numSelectedVertices) + "(320)  triangles " +
                                      std::to_string(numSelectedTriangles) +
                                      "(400)\n  delete vertices: # s\n  delete triangles: # s\n");

        ASSERT_EQ(log.notices.size(), 1u);
        const testsupport::RecordedModification& notice = log.notices[0];
        EXPECT_EQ(notice.type, MeshModification::Topology);
        EXPECT_EQ(notice.flags, unsigned(MeshModification::UVsValidFlag));
        EXPECT_EQ(notice.vertexMap, expectedMap);
        ASSERT_EQ(notice.triangleMap.size(), 400u);
        int next = 0;
        for (int t = 0; t < 400; ++t)
            EXPECT_EQ(notice.triangleMap[t],
                      before.getSelectedTriangles().isBitSet(t) ? -1 : next++);
    }
}

TEST(MeshDeleteSelected, selectedVertexSurvivesWhileAnyPrimitiveUsesIt)
{
    //   3 ---- 2      4 (alone)  5 (alone)   6 -- 7 line, 8 9 10 fan
    //   |    / |
    //   |  /   |      triangles (0 1 2) selected, (0 2 3) kept
    //   0 ---- 1      every vertex selected
    CompactMesh mesh = testsupport::makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 5, 5, 5, 6, 6,
                                              6, 7, 0, 0, 8, 0, 0, 9, 0, 0, 9, 1, 0, 9, 2, 0},
                                             {0, 1, 2, 0, 2, 3});
    mesh.resizeLineArray(1);
    mesh.getLines()[0] = {{6, 7}};
    mesh.resizeTriFanArrays(1, 3);
    mesh.getTriFanLengths()[0] = 3;
    mesh.getTriFanPoints()[0] = 8;
    mesh.getTriFanPoints()[1] = 9;
    mesh.getTriFanPoints()[2] = 10;
    mesh.getSelectedTriangles().setBit(0);
    mesh.getSelectedVertices().setAllBits();
    // Vertex 5 is not selected and unused: it stays.
    mesh.getSelectedVertices().clearBit(5);

    MeshDeleteSelected deletion(mesh);
    deletion();
    // 1 and 4 go: 1 was only in the deleted triangle, 4 in nothing.
    EXPECT_EQ(mapValues(*deletion.getVertexMap()),
              (std::vector<int>{0, -1, 1, 2, -1, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(testsupport::triangleList(mesh), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(mesh.getLines()[0][0], 4);
    EXPECT_EQ(mesh.getLines()[0][1], 5);
    EXPECT_EQ(std::vector<int>(mesh.getTriFanPoints(), mesh.getTriFanPoints() + 3),
              (std::vector<int>{6, 7, 8}));
    EXPECT_EQ(testsupport::channelValue(mesh, "Vertices", 3), (std::vector<float>{6, 6, 6}));
    EXPECT_TRUE(fixtures::indicesInRange(mesh));
}

TEST(MeshDeleteSelected, noSelectedTriangleIsANoOp)
{
    CompactMesh mesh = fixtures::cube();
    mesh.getSelectedVertices().setAllBits();
    // A stale bit beyond the triangle count is not a selected triangle.
    mesh.getSelectedTriangles().resize(40);
    mesh.getSelectedTriangles().setBit(39);
    const CompactMesh before = mesh;
    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    MeshDeleteSelected deletion(mesh);
    deletion();
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(log.notices.empty());
    EXPECT_FALSE(deletion.getVertexMap());
    EXPECT_EQ(testsupport::triangleList(mesh), testsupport::triangleList(before));
    EXPECT_EQ(mesh.getNumVertices(), 8);
    EXPECT_EQ(mesh.getSelectedVertices(), before.getSelectedVertices());
}

TEST(MeshDeleteSelected, everyTriangleSelectedEmptiesMeshAndKeepsLastMap)
{
    CompactMesh mesh = fixtures::gridMesh(3, 2);  // 12 vertices, 12 triangles
    mesh.resizeTriStripArrays(1, 3);
    mesh.getTriStripLengths()[0] = 3;
    MeshDeleteSelected deletion(mesh);
    mesh.getSelectedTriangles().setBit(0);
    deletion();
    const ox::Reference<oxGeom::Remap> first = deletion.getVertexMap();
    ASSERT_TRUE(first);
    ASSERT_EQ(mesh.getNumTriangles(), 11);
    ASSERT_EQ(mesh.getNumVertices(), 12);  // no vertex was selected

    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedTriangles().setAllBits();
    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    deletion();
    // The triangle count stands in the "vertices" slot.
    EXPECT_EQ(capture.text(), "meshDeleteSelected:  deleting all vertices(11) and triangles(12)\n");
    EXPECT_EQ(mesh.getNumTriangles(), 0);
    EXPECT_EQ(mesh.getNumVertices(), 0);
    EXPECT_EQ(mesh.getNumTriStrips(), 0);
    EXPECT_EQ(mesh.getSelectedTriangles().size(), 0);
    EXPECT_EQ(mesh.getSelectedVertices().size(), 0);
    EXPECT_EQ(deletion.getVertexMap(), first);
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].type, MeshModification::Topology);
    EXPECT_FALSE(log.notices[0].hasRemap);
    EXPECT_EQ(log.notices[0].flags, unsigned(MeshModification::StripsAndFansModifiedFlag));
}

TEST(MeshDeleteSelected, listedTrianglesGoWithTheVerticesOnlyTheyUse)
{
    //   3 ---- 2 ---- 5
    //   |    / |    / |     triangles 0 (0 1 2), 1 (0 2 3), 2 (1 4 5), 3 (1 5 2)
    //   |  /   |  /   |     delete 2 and 3 by list; 1 was already selected
    //   0 ---- 1 ---- 4
    CompactMesh mesh = testsupport::makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 0, 0, 2, 1, 0},
                                             {0, 1, 2, 0, 2, 3, 1, 4, 5, 1, 5, 2});
    const oxGeom::MeshAdjTris adj = [&]
    {
        oxGeom::MeshAdjTris a;
        oxGeom::meshAdjTris(mesh, a);
        return a;
    }();
    mesh.getSelectedTriangles().setBit(1);
    mesh.getSelectedVertices().setBit(4);
    MeshDeleteSelected deletion(mesh);
    MeshDeleteSelected copy(deletion);
    testsupport::DebugCapture capture;
    deletion(adj, {2, 3, 99, -4});
    EXPECT_EQ(capture.text(),
              "MeshSelect::selectVerticesFromTriangles()\n"
              "  selected vertices(6): # s\n"
              "meshDeleteSelected:  vertices 6(6)  triangles 3(4)\n"
              "  delete vertices: # s\n"
              "  delete triangles: # s\n");
    // Survivor (0 1 2); 3, 4 and 5 were used only by deleted triangles.
    EXPECT_EQ(mapValues(*deletion.getVertexMap()), (std::vector<int>{0, 1, 2, -1, -1, -1}));
    EXPECT_EQ(testsupport::triangleList(mesh), (std::vector<int>{0, 1, 2}));
    // A copy made before the deletion does not see the new map; a later one does.
    EXPECT_FALSE(copy.getVertexMap());
    EXPECT_EQ(MeshDeleteSelected(deletion).getVertexMap(), deletion.getVertexMap());
}
