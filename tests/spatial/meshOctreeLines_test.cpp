// meshOctreeLines: lists against a clipping oracle over every leaf, the same for every thread
// count; a segment on a shared face, zero leaves, no lines and bad indices, with the exact
// statistics lines.

#include <oxGeom/computeOctreeTris.h>

#include <oxGeom/meshBoundingBox.h>

#include "support/debugCapture.h"
#include "support/partitionCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace
{
oxGeom::CompactMesh lineMesh(const std::vector<oxGeom::MeshVertex>& vertices,
                             const std::vector<int>& ends)
{
    oxGeom::CompactMesh mesh(int(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.resizeLineArray(int(ends.size() / 2));
    std::copy(ends.begin(), ends.end(), reinterpret_cast<int*>(mesh.getLines()));
    return mesh;
}

std::string partition(const oxGeom::CompactMesh& mesh, const oxGeom::Octree& octree,
                      oxGeom::OctreeLines& lines)
{
    testsupport::DebugCapture capture;
    oxGeom::meshOctreeLines(mesh, octree, lines);
    return testsupport::maskPartitionTimes(capture.text());
}
}  // namespace

TEST(meshOctreeLines, listsMatchClippingOracleForEveryThreadCount)
{
    // Long chords between scattered points, then a random walk of short steps in mesh order.
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<oxGeom::MeshVertex> vertices(300);
    std::vector<int> ends;
    for (oxGeom::MeshVertex& v : vertices)
        v = {{unit(random), unit(random), unit(random)}};
    for (int i = 0; i < 150; ++i)
        ends.insert(ends.end(), {int(random() % 300), int(random() % 300)});
    for (int i = 0; i < 700; ++i)
    {
        oxGeom::MeshVertex step = vertices.back();
        for (int k = 0; k < 3; ++k)
            step[k] = std::min(1.0f, std::max(0.0f, step[k] + 0.04f * (unit(random) - 0.5f)));
        ends.insert(ends.end(), {int(vertices.size()) - 1, int(vertices.size())});
        vertices.push_back(step);
    }
    const oxGeom::CompactMesh mesh = lineMesh(vertices, ends);
    oxGeom::BoundingBox bounds;
    oxGeom::meshBoundingBox(mesh, bounds);
    const oxGeom::Octree octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, 16);

    oxGeom::OctreeLines reference;
    const std::string referenceText = partition(mesh, octree, reference);
    const int decided = testsupport::expectListsMatchOracle(
        octree.getRoot(), reference.getData(), mesh.getNumLines(),
        [&](int i)
        {
            const oxGeom::MeshLine& line = mesh.getLines()[i];
            return std::vector<const float*>{mesh.getVertices()[line[0]].v,
                                             mesh.getVertices()[line[1]].v};
        });
    EXPECT_GT(decided, octree.getNumLeaves() * mesh.getNumLines() / 2);
    EXPECT_EQ(referenceText.find("(0.00 coherence"), std::string::npos) << referenceText;
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        oxGeom::OctreeLines lines;
        EXPECT_EQ(partition(mesh, octree, lines), referenceText) << threads << " threads";
        EXPECT_TRUE(lines.getData() == reference.getData()) << threads << " threads";
    }
}

TEST(meshOctreeLines, sharedFaceZeroLeavesNoLinesAndBadIndices)
{
    // A segment on the face x = 1 is listed in the cells of slots 0 and 1; its copy fits the
    // cell the walk ended on (slot 1) and takes it alone; (0, 2) and (-1, 1) are listed nowhere.
    const oxGeom::Octree octree = testsupport::eightCells();
    const std::vector<oxGeom::MeshVertex> vertices = {{{1, 0.25f, 0.25f}}, {{1, 0.75f, 0.5f}}};
    oxGeom::OctreeLines lines;
    EXPECT_EQ(partition(lineMesh(vertices, {0, 1, 1, 0, 0, 2, -1, 1}), octree, lines),
              "OctreeLines:  Partitioned 4 lines into 8 voxels in # seconds.\n"
              "             (0.25 coherence, 0.75 duplication, # tri/sec)\n");
    EXPECT_EQ(lines.numLines(testsupport::leafOfSlot(octree, 0)), 1);
    EXPECT_EQ(lines.numLines(testsupport::leafOfSlot(octree, 1)), 2);
    EXPECT_EQ(lines.getData().getTotalSize(), 3);

    EXPECT_EQ(partition(lineMesh(vertices, {}), octree, lines),
              "OctreeLines:  Partitioned 0 lines into 8 voxels in # seconds.\n"
              "             (nan coherence, nan duplication, # tri/sec)\n");
    EXPECT_EQ(lines.getData().getNumSets(), 8);
    EXPECT_EQ(lines.getData().getTotalSize(), 0);
    EXPECT_EQ(partition(lineMesh(vertices, {0, 1}), oxGeom::Octree(), lines), "");
    EXPECT_EQ(lines.getData().getNumSets(), 8);
}
