// meshAdjVertices: distinct neighbours in first-occurrence order, in the exact count-word
// layout, for hand-made, degenerate, random and stale inputs.

#include <oxGeom/meshAdjacency.h>

#include "foundations/adjacencyOracles.h"
#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

using V = std::vector<int>;

namespace
{
oxGeom::MeshAdjVertices neighbourTable(const oxGeom::CompactMesh& mesh)
{
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    oxGeom::MeshAdjVertices table;
    oxGeom::meshAdjVertices(mesh, adj, table);
    return table;
}

V rawData(const oxGeom::MeshAdjVertices& table)
{
    return V(table.getData(), table.getData() + table.getDataSize());
}
}  // namespace

TEST(meshAdjVertices, layoutIsCountWordThenNeighboursInFirstOccurrenceOrder)
{
    EXPECT_EQ(rawData(neighbourTable(oracle::meshOf(3, {{{0, 1, 2}}}))),
              V({2, 1, 2, 2, 0, 2, 2, 0, 1}));  // vertex 1: 0 then 2

    // fixtures::unitSquare (0 1 2), (0 2 3), plus an unused vertex 4 with an empty record.
    testsupport::DebugCapture capture;
    const oxGeom::MeshAdjVertices table =
        neighbourTable(oracle::meshOf(5, {{{0, 1, 2}}, {{0, 2, 3}}}));
    EXPECT_EQ(oracle::maskBareSeconds(capture.text()),
              "MeshAdjTris: 5 vertices 2 triangles #\n"
              "MeshAdjVertices: 5 vertices, 2 triangles: # s\n");
    EXPECT_EQ(rawData(table), V({3, 1, 2, 3, 2, 0, 2, 3, 0, 1, 3, 2, 0, 2, 0}));
    EXPECT_EQ(V(table.getStarts(), table.getStarts() + 5), V({0, 4, 7, 11, 14}));
    EXPECT_EQ(table.getMaxValence(), 3);

    // fixtures::degenerateMesh (0 1 2), (0 1 2), (0 1 3), (0 0 2): no vertex is its own
    // neighbour, repeated triangles add nothing.
    EXPECT_EQ(rawData(neighbourTable(fixtures::degenerateMesh())),
              V({3, 1, 2, 3, 3, 0, 2, 3, 2, 0, 1, 2, 0, 1}));
}

TEST(meshAdjVertices, randomMeshesAgreeWithBruteForce)
{
    // Disjoint triangles have twice the neighbours of a manifold mesh per triangle, so their
    // lists outgrow the first buffer.
    std::vector<oxGeom::MeshTriangle> disjoint;
    for (int t = 0; t < 40; ++t)
        disjoint.push_back({{3 * t, 3 * t + 1, 3 * t + 2}});
    for (const oxGeom::CompactMesh& mesh :
         {fixtures::randomMesh(7, 25, 60), fixtures::randomMesh(8, 25, 60),
          oracle::meshOf(120, disjoint)})
    {
        const oxGeom::MeshAdjVertices table = neighbourTable(mesh);
        size_t maxValence = 0;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
        {
            const V expected = oracle::neighboursOf(mesh, v);
            EXPECT_EQ(V(table.neighbours(v), table.neighbours(v) + table.numNeighbours(v)),
                      expected);
            maxValence = std::max(maxValence, expected.size());
        }
        EXPECT_EQ(table.getMaxValence(), static_cast<int>(maxValence));
    }
}

TEST(meshAdjVertices, staleOrEmptyInputReadsNothingOutOfRange)
{
    // A table of a larger mesh lists triangles the mesh lacks, and triangle 1, whose corner 9
    // does not exist, under vertex 0: both are skipped.
    oxGeom::MeshAdjTris stale;
    oxGeom::meshAdjTris(fixtures::gridMesh(3, 3), stale);
    oxGeom::MeshAdjVertices table;
    oxGeom::meshAdjVertices(oracle::meshOf(3, {{{0, 1, 2}}, {{0, 1, 9}}}), stale, table);
    EXPECT_EQ(rawData(table), V({2, 1, 2, 2, 0, 2, 0}));

    oxGeom::MeshAdjTris none;
    oxGeom::meshAdjVertices(fixtures::emptyMesh(), none, table);
    EXPECT_EQ(table.getNumVertices(), 0);
}
