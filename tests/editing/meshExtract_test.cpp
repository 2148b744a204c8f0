// meshExtract: copied vertices carry every channel value of their source vertex,
// copied triangles are renumbered, incomplete subsets are completed (or left out)
// as documented, the destination is fully replaced, and the notice and lines match.

#include <oxGeom/meshExtract.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshModification;
using oxGeom::MeshSubset;

namespace
{
// Every channel of destination vertex i equals that of source vertex listed[i].
void expectVerticesCopied(const CompactMesh& source, const CompactMesh& destination,
                          const std::vector<int>& listed)
{
    ASSERT_EQ(destination.getNumVertices(), static_cast<int>(listed.size()));
    std::vector<std::string> names = testsupport::everyChannelName();
    names.push_back("Vertices");
    for (std::size_t i = 0; i < listed.size(); ++i)
        for (const std::string& name : names)
            ASSERT_EQ(testsupport::channelValue(destination, name, static_cast<int>(i)),
                      testsupport::channelValue(source, name, listed[i]))
                << name << " of copied vertex " << i;
}

std::set<std::string> channelNamesBesidesPositions()
{
    const std::vector<std::string>& names = testsupport::everyChannelName();
    return std::set<std::string>(names.begin(), names.end());
}
}  // namespace

TEST(meshExtract, subsetCarriesEveryChannelInListOrder)
{
    CompactMesh source = fixtures::randomMesh(12, 200, 300);
    testsupport::addEveryChannel(source, 5);
    std::mt19937 random(3);
    std::vector<int> triangles;
    std::set<int> corners;
    for (int t = 0; t < source.getNumTriangles(); ++t)
        if (random() % 4 == 0)
        {
            triangles.push_back(t);
            for (int c = 0; c < 3; ++c)
                corners.insert(source.getTriangles()[t][c]);
        }
    std::reverse(triangles.begin(), triangles.end());
    std::vector<int> vertices(corners.begin(), corners.end());
    vertices.push_back(199);  // a listed vertex that no listed triangle uses
    std::shuffle(vertices.begin(), vertices.end(), random);

    // The destination starts with content of its own: a channel the source lacks,
    // strips and a selection. All of it is replaced.
    CompactMesh destination = fixtures::cube();
    destination.allocAttributes("Stale", 2);
    destination.resizeTriStripArrays(1, 3);
    destination.getSelectedTriangles().setBit(2);
    testsupport::ModificationLog log(destination);
    testsupport::DebugCapture capture;
    oxGeom::meshExtract(destination, source,
                        MeshSubset(static_cast<int>(vertices.size()), vertices.data(),
                                   static_cast<int>(triangles.size()), triangles.data()));

    expectVerticesCopied(source, destination, vertices);
    EXPECT_FALSE(destination.getAttributes("Weights")->isStoreable());
    EXPECT_EQ(destination.getAttributes("Stale"), nullptr);
    EXPECT_EQ(destination.getNumTriStrips(), 0);
    EXPECT_FALSE(destination.getSelectedTriangles().anyBitSet());
    ASSERT_EQ(destination.getNumTriangles(), static_cast<int>(triangles.size()));
    for (std::size_t k = 0; k < triangles.size(); ++k)
        for (int c = 0; c < 3; ++c)
        {
            const int copied = destination.getTriangles()[k][c];
            ASSERT_EQ(vertices[copied], source.getTriangles()[triangles[k]][c]);
            ASSERT_EQ(destination.getTriangleNormals()[k][c],
                      source.getTriangleNormals()[triangles[k]][c]);
        }

    EXPECT_EQ(capture.text(), "MeshExtract:  extracting " + std::to_string(vertices.size()) +
                                  "(200) vertices, " + std::to_string(triangles.size()) +
                                  "(300) triangles\n  copied triangles: # s\n");
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].type, MeshModification::Topology);
    EXPECT_FALSE(log.notices[0].hasRemap);
    std::set<std::string> expectedNames = channelNamesBesidesPositions();
    expectedNames.insert("Stale");
    EXPECT_EQ(log.notices[0].attributes, expectedNames);
}

TEST(meshExtract, selectionAddsUnselectedCornersOfSelectedTriangles)
{
    //   3 ---- 2 ---- 5
    //   |    / |    / |     triangles 0 (0 1 2), 1 (0 2 3), 2 (1 4 5), 3 (1 5 2)
    //   |  /   |  /   |     selected: triangle 2 and vertices 0, 4
    //   0 ---- 1 ---- 4     extracted vertices: 0, 1, 4, 5 (1 and 5 added)
    CompactMesh source =
        testsupport::makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 0, 0, 2, 1, 0},
                              {0, 1, 2, 0, 2, 3, 1, 4, 5, 1, 5, 2});
    testsupport::addEveryChannel(source, 9);
    source.getSelectedTriangles().setBit(2);
    source.getSelectedVertices().setBit(0);
    source.getSelectedVertices().setBit(4);
    // Stale bits past the counts are ignored.
    source.getSelectedTriangles().resize(70);
    source.getSelectedTriangles().setBit(69);

    CompactMesh destination;
    testsupport::DebugCapture capture;
    oxGeom::meshExtract(destination, source);
    expectVerticesCopied(source, destination, {0, 1, 4, 5});
    EXPECT_EQ(testsupport::triangleList(destination), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(capture.text(),
              "MeshExtract:  extracting 4(6) vertices, 1(4) triangles\n  copied triangles: # s\n");

    // Nothing selected: an empty mesh that still has the source's channels.
    source.clearSelection();
    oxGeom::meshExtract(destination, source);
    EXPECT_EQ(destination.getNumVertices(), 0);
    EXPECT_EQ(destination.getNumTriangles(), 0);
    EXPECT_NE(destination.getAttributes("Temperature"), nullptr);
}

TEST(meshExtract, incompleteSubsetsAreCompletedOrLeftOut)
{
    CompactMesh source = testsupport::makeMesh(
        {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 0, 0, 2, 1, 0},
        {0, 1, 2, 0, 2, 3, 1, 4, 5, 1, 5, 2, 0, 9, 1});  // triangle 4 names vertex 9
    testsupport::addEveryChannel(source, 4);
    // Vertex 42 does not exist; 2 is listed twice. Triangle 7 does not exist,
    // triangle 4 has a corner out of range; triangles 2 and 1 lack corners.
    const std::vector<int> vertices = {2, 42, 2};
    const std::vector<int> triangles = {7, 2, 4, 1};
    CompactMesh destination;
    testsupport::DebugCapture capture;
    oxGeom::meshExtract(destination, source, MeshSubset(3, vertices.data(), 4, triangles.data()));
    EXPECT_EQ(capture.text(),
              "MeshExtract:  extracting 8(6) vertices, 2(5) triangles\n  copied triangles: # s\n");

    // Corners met first in triangle 2 (1 4 5), then triangle 1 (0 2 3).
    ASSERT_EQ(destination.getNumVertices(), 8);
    for (int i : {0, 2})
        EXPECT_EQ(testsupport::channelValue(destination, "UVs", i),
                  testsupport::channelValue(source, "UVs", 2));
    EXPECT_EQ(testsupport::channelValue(destination, "Weights", 1),
              (std::vector<float>{0, 0, 0, 0}));
    EXPECT_EQ(testsupport::channelValue(destination, "Vertices", 3),
              testsupport::channelValue(source, "Vertices", 1));
    // Vertex 2 maps to its last copy (2); 1, 4, 5 then 0, 3 were appended.
    EXPECT_EQ(testsupport::triangleList(destination), (std::vector<int>{3, 4, 5, 6, 2, 7}));
    EXPECT_TRUE(fixtures::indicesInRange(destination));
}

TEST(meshExtract, destinationMayBeTheSource)
{
    CompactMesh mesh = fixtures::gridMesh(4, 4);
    testsupport::addEveryChannel(mesh, 2);
    const CompactMesh before = mesh;
    const std::vector<int> vertices = {24, 0, 1, 6, 5};
    const std::vector<int> triangles = {0, 1};  // (0 1 6), (0 6 5)
    testsupport::ModificationLog log(mesh);
    oxGeom::meshExtract(mesh, mesh, MeshSubset(5, vertices.data(), 2, triangles.data()));
    expectVerticesCopied(before, mesh, vertices);
    EXPECT_EQ(testsupport::triangleList(mesh), (std::vector<int>{1, 2, 3, 1, 3, 4}));
    EXPECT_EQ(log.notices.size(), 1u);
}
