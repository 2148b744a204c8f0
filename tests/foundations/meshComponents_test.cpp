// meshComponents: components through shared vertices, numbered by their lowest triangle, for
// indexed meshes (against a brute-force merge) and topological meshes.

#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComponents.h>

#include "foundations/adjacencyOracles.h"
#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <numeric>

using V = std::vector<int>;

namespace
{
int components(const oxGeom::CompactMesh& mesh, V* labels)
{
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);
    return oxGeom::meshComponents(mesh, adj, labels);
}

// Vertex labels by lowering each triangle's class to that of any triangle with a common
// corner until nothing changes; classes are numbered in the order of their lowest triangle.
V bruteLabels(const oxGeom::CompactMesh& mesh)
{
    const int n = mesh.getNumTriangles();
    const oxGeom::MeshTriangle* t = mesh.getTriangles();
    V lowest(static_cast<size_t>(n)), number(static_cast<size_t>(n));
    std::iota(lowest.begin(), lowest.end(), 0);
    for (int pass = 0; pass < n; ++pass)
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int a = 0; a < 9; ++a)
                    if (t[i][a / 3] == t[j][a % 3])
                        lowest[i] = std::min(lowest[i], lowest[j]);
    V labels(static_cast<size_t>(mesh.getNumVertices()), -1);
    for (int i = 0, count = 0; i < n; ++i)
    {
        number[i] = lowest[i] == i ? count++ : number[lowest[i]];
        labels[t[i][0]] = labels[t[i][1]] = labels[t[i][2]] = number[i];
    }
    return labels;
}
}  // namespace

TEST(meshComponents, numberedByLowestTriangleThroughSharedVertices)
{
    // Triangle 0 is the island {3 4 5}; triangles 1 and 2 touch only at vertex 1 and so are
    // one component; vertices 6 and 9 are unused.
    const oxGeom::CompactMesh mesh = oracle::meshOf(10, {{{3, 4, 5}}, {{0, 1, 2}}, {{1, 7, 8}}});
    testsupport::DebugCapture capture;
    V labels = {42};
    EXPECT_EQ(components(mesh, &labels), 2);
    EXPECT_EQ(labels, V({1, 1, 1, 0, 0, 0, -1, 1, 1, -1}));
    EXPECT_EQ(oracle::maskBareSeconds(capture.text()),
              "MeshAdjTris: 10 vertices 3 triangles #\n"
              "meshComponents(): 3 triangles\n"
              "   2 components: # s\n");
    EXPECT_EQ(components(mesh, nullptr), 2);
}

TEST(meshComponents, agreesWithBruteForceMergeOnSoupsAndSphere)
{
    for (std::uint32_t seed : {11u, 12u, 13u})
    {
        // Sparse enough to fall into several components.
        const oxGeom::CompactMesh mesh = fixtures::randomMesh(seed, 40, 14);
        V labels;
        const int count = components(mesh, &labels);
        EXPECT_EQ(labels, bruteLabels(mesh)) << "seed " << seed;
        EXPECT_EQ(count, *std::max_element(labels.begin(), labels.end()) + 1);
    }
    V labels;
    EXPECT_EQ(components(fixtures::icosphere(2, 1.0f), &labels), 1);
    EXPECT_EQ(labels, V(labels.size(), 0));
}

TEST(meshComponents, triangleWithCornerOutOfRangeBelongsToNoComponent)
{
    V labels;
    EXPECT_EQ(components(oracle::meshOf(4, {}), &labels), 0);
    EXPECT_EQ(labels, V(4, -1));
    // Vertex 0 is only on the bad triangle, so it stays unlabelled.
    EXPECT_EQ(components(oracle::meshOf(4, {{{0, 1, 9}}, {{1, 2, 3}}}), &labels), 1);
    EXPECT_EQ(labels, V({-1, 0, 0, 0}));

    // A table of another mesh names triangles the square lacks; they are ignored.
    oxGeom::MeshAdjTris foreign;
    oxGeom::meshAdjTris(fixtures::gridMesh(3, 3), foreign);
    EXPECT_EQ(oxGeom::meshComponents(fixtures::unitSquare(), foreign, &labels), 1);
    EXPECT_EQ(labels, V(4, 0));
}

TEST(meshComponents, topoMeshFacesConnectThroughVerticesWithOrWithoutTwins)
{
    // Two quads sharing vertex 3, and a separate triangle.
    oxGeom::TopoMesh mesh;
    std::vector<oxGeom::TopoMeshVertex> v;
    for (int i = 0; i < 10; ++i)
        v.push_back(mesh.allocVertex(oxLinear::Point(i, 0, 0)));
    mesh.allocFace({v[0], v[1], v[2], v[3]});
    mesh.allocFace({v[7], v[8], v[9]});
    mesh.allocFace({v[3], v[4], v[5], v[6]});
    EXPECT_EQ(oxGeom::meshComponents(mesh), 2);
    oxGeom::meshTwin(mesh);
    EXPECT_EQ(oxGeom::meshComponents(mesh), 2);
    mesh.allocFace({v[6], v[7], v[1]});
    EXPECT_EQ(oxGeom::meshComponents(mesh), 1);
    oxGeom::TopoMesh empty;
    EXPECT_EQ(oxGeom::meshComponents(empty), 0);
}
