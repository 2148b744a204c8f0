// computeOctreeTris: per-leaf lists against a clipping oracle over every leaf; identical lists
// and statistics for every thread count; the shortcut through the last visited leaf and its
// restarts; zero leaves, empty meshes and bad indices; the exact statistics lines.

#include <oxGeom/computeOctreeTris.h>

#include <oxGeom/OctreeIterators.h>
#include <oxGeom/boxOverlap.h>
#include <oxGeom/meshBoundingBox.h>

#include "support/debugCapture.h"
#include "support/meshes.h"
#include "support/partitionCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace
{
using oxGeom::CompactMesh;

oxGeom::Octree meshOctree(const CompactMesh& mesh, bool tileBounds = true)
{
    oxGeom::BoundingBox bounds;
    oxGeom::meshBoundingBox(mesh, bounds);
    return oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, tileBounds, 16);
}

CompactMesh triangleMesh(const std::vector<oxGeom::MeshVertex>& vertices,
                         const std::vector<int>& indices)
{
    CompactMesh mesh(int(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(int(indices.size() / 3), indices.data());
    return mesh;
}

// The partition of `mesh` with the statistics text it printed, timings masked.
std::string partition(const CompactMesh& mesh, const oxGeom::Octree& octree,
                      oxGeom::OctreeTris& tris)
{
    testsupport::DebugCapture capture;
    oxGeom::computeOctreeTris(mesh, octree, tris);
    return testsupport::maskPartitionTimes(capture.text());
}

// The partition written plainly: one pass in triangle order with the public box iterator and
// overlap test, the last-leaf shortcut, and its restart every 1024 triangles. `ratios` receives
// the start of the statistics line's second half.
oxGeom::ArrayOfSets plainPartition(const CompactMesh& mesh, const oxGeom::Octree& octree,
                                   std::string& ratios)
{
    std::vector<int> pairs;
    int hits = 0;
    oxGeom::OctreeBBoxIntersectIt walk(octree);
    oxGeom::OctreeIterator cached;
    const oxGeom::MeshVertex* v = mesh.getVertices();
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
        oxGeom::BoundingBox box;
        oxGeom::meshTriBoundingBox(v, t, box);
        if (i % 1024 == 0)
            cached = oxGeom::OctreeIterator();
        const bool shortcut = cached.getBox().contains(box);
        hits += shortcut;
        if (shortcut)
            pairs.insert(pairs.end(), {cached.getLeafNumber(), i});
        for (walk.reset(box); !shortcut && walk.valid(); walk.next())
        {
            cached = walk.get();
            if (oxGeom::intersects(cached.getBox(), v[t[0]].v, v[t[1]].v, v[t[2]].v))
                pairs.insert(pairs.end(), {cached.getLeafNumber(), i});
        }
    }
    char text[100];
    const float n = float(mesh.getNumTriangles());
    std::snprintf(text, sizeof text, "(%.2f coherence, %.2f voxels/tri", hits / n,
                  float(pairs.size() / 2) / n);
    ratios = text;
    oxGeom::ArrayOfSets sets;
    sets.assignFromPairs(octree.getNumLeaves(), int(pairs.size() / 2), pairs.data());
    return sets;
}

std::vector<int> listOf(const oxGeom::OctreeTris& tris, int leaf)
{
    return std::vector<int>(tris.firstTri(leaf), tris.firstTri(leaf) + tris.numTris(leaf));
}
}  // namespace

TEST(computeOctreeTris, listsMatchClippingOracleOnSoupSphereAndHeightField)
{
    CompactMesh heightField = fixtures::gridMesh(24, 16);
    for (int i = 0; i < heightField.getNumVertices(); ++i)
        heightField.getVertices()[i][2] = 0.25f * float((3 * i) % 7);
    const CompactMesh meshes[] = {fixtures::randomMesh(11, 300, 400), fixtures::icosphere(3, 1.0f),
                                  heightField};
    for (const CompactMesh& mesh : meshes)
    {
        const oxGeom::Octree octree = meshOctree(mesh);
        oxGeom::OctreeTris tris;
        oxGeom::computeOctreeTris(mesh, octree, tris);
        const oxGeom::MeshVertex* v = mesh.getVertices();
        const int decided = testsupport::expectListsMatchOracle(
            octree, tris.getData(), mesh.getNumTriangles(),
            [&](int i)
            {
                const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
                return std::vector<const float*>{v[t[0]].v, v[t[1]].v, v[t[2]].v};
            },
            1e-5);
        EXPECT_GT(decided, octree.getNumLeaves() * mesh.getNumTriangles() / 2);
        EXPECT_GE(tris.getData().getTotalSize(), mesh.getNumTriangles());
    }
}

TEST(computeOctreeTris, sameAsPlainSerialPartitionForEveryThreadCount)
{
    // The flat grid lies on the face between two layers of leaves, where the shortcut and the
    // walk list a triangle differently: any dependence on where a thread's slice begins, or a
    // walk that visits leaves in another order than the box iterator, shows. Octrees without
    // tiling leave out empty cells: the soup's long triangles cross them, and the last octree,
    // over the lower half of the grid's vertices only, has no cells at all over the upper half.
    const CompactMesh grid = fixtures::gridMesh(40, 40), sphere = fixtures::icosphere(3, 1.0f),
                      soup = fixtures::randomMesh(3, 1000, 1500);
    oxGeom::BoundingBox gridBounds;
    oxGeom::meshBoundingBox(grid, gridBounds);
    const struct
    {
        const CompactMesh& mesh;
        oxGeom::Octree octree;
    } cases[] = {{grid, meshOctree(grid)},
                 {sphere, meshOctree(sphere)},
                 {soup, meshOctree(soup, false)},
                 {grid, oxGeom::Octree(grid.getNumVertices() / 2, grid.getVerticesRaw(), gridBounds,
                                       false, 16)}};
    for (const auto& test : cases)
    {
        std::string ratios;
        const oxGeom::ArrayOfSets expected = plainPartition(test.mesh, test.octree, ratios);
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            oxGeom::OctreeTris tris;
            const std::string text = partition(test.mesh, test.octree, tris);
            EXPECT_TRUE(tris.getData() == expected) << threads << " threads";
            EXPECT_NE(text.find(ratios), std::string::npos) << text << " lacks " << ratios;
        }
    }
}

TEST(computeOctreeTris, cachedLeafTakesContainedTrianglesAloneAndRestartsPerBlock)
{
    const oxGeom::Octree octree = testsupport::eightCells();
    int slotLeaf[8];
    for (int slot = 0; slot < 8; ++slot)
        slotLeaf[slot] = testsupport::leafOfSlot(octree, slot);

    // Triangle 0 touches the cells of slots 1 and 2 at its corners; its walk (cells in +x
    // order: slots 0, 2, 1, 3) ends on slot 3, which it misses. Triangle 1 lies inside slot 3's
    // cell, so it takes that cell without a walk.
    //      y=1 +-----+-----+
    //          |2 \  |3 t1 |   t0: (0.5, 0.5) (1, 0.5) (0.5, 1), z = 0.5
    //      0.5 |  t0\|     |   t1: inside (1, 2) x (1, 2), z = 0.2
    //          +-----+-----+
    const CompactMesh pair = triangleMesh({{{0.5f, 0.5f, 0.5f}},
                                           {{1, 0.5f, 0.5f}},
                                           {{0.5f, 1, 0.5f}},
                                           {{1.2f, 1.2f, 0.2f}},
                                           {{1.4f, 1.2f, 0.2f}},
                                           {{1.2f, 1.4f, 0.2f}}},
                                          {0, 1, 2, 3, 4, 5});
    oxGeom::OctreeTris tris;
    EXPECT_EQ(partition(pair, octree, tris),
              "OctreeTris:  Partitioned 2 triangles into 8 voxels in # seconds.\n"
              "             (0.50 coherence, 2.00 voxels/tri, # tri/sec)\n");
    for (int slot : {0, 1, 2})
        EXPECT_EQ(listOf(tris, slotLeaf[slot]), std::vector<int>{0}) << slot;
    EXPECT_EQ(listOf(tris, slotLeaf[3]), std::vector<int>{1});

    // 3000 copies of a triangle on the face x = 1 between slots 0 and 1. A walk lists it in
    // both and ends on slot 1; the copies after it fit in slot 1's box and take it alone,
    // except at every 1024th triangle, where the remembered cell is forgotten.
    std::vector<int> copies;
    for (int i = 0; i < 3000; ++i)
        copies.insert(copies.end(), {0, 1, 2});
    const CompactMesh onFace =
        triangleMesh({{{1, 0.25f, 0.25f}}, {{1, 0.75f, 0.25f}}, {{1, 0.25f, 0.75f}}}, copies);
    std::vector<int> all(3000);
    for (int i = 0; i < 3000; ++i)
        all[i] = i;
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        EXPECT_EQ(partition(onFace, octree, tris),
                  "OctreeTris:  Partitioned 3000 triangles into 8 voxels in # seconds.\n"
                  "             (1.00 coherence, 1.00 voxels/tri, # tri/sec)\n");
        EXPECT_EQ(listOf(tris, slotLeaf[0]), (std::vector<int>{0, 1024, 2048})) << threads;
        EXPECT_EQ(listOf(tris, slotLeaf[1]), all) << threads;
        EXPECT_EQ(tris.getData().getTotalSize(), 3003) << threads;
    }
}

TEST(computeOctreeTris, zeroLeavesEmptyMeshAndBadIndices)
{
    // No leaves: the result keeps its old lists and nothing is printed.
    oxGeom::ArrayOfSets old;
    const int oldPair[2] = {1, 5};
    old.assignFromPairs(2, 1, oldPair);
    oxGeom::OctreeTris tris(old);
    EXPECT_EQ(partition(fixtures::cube(), oxGeom::Octree(), tris), "");
    EXPECT_EQ(listOf(tris, 1), std::vector<int>{5});

    // No triangles: one empty list per leaf and not-a-number ratios.
    const oxGeom::Octree octree = testsupport::eightCells();
    EXPECT_EQ(partition(fixtures::emptyMesh(), octree, tris),
              "OctreeTris:  Partitioned 0 triangles into 8 voxels in # seconds.\n"
              "             (nan coherence, nan voxels/tri, # tri/sec)\n");
    EXPECT_EQ(tris.getData().getNumSets(), 8);
    EXPECT_EQ(tris.getData().getTotalSize(), 0);

    // Triangles with an index outside the vertex array or a corner that is not finite are
    // listed nowhere, even (1, 4, 2), whose finite corners lie in the cell just visited.
    const float inf = std::numeric_limits<float>::infinity();
    const CompactMesh bad = triangleMesh({{{0.2f, 0.2f, 0.2f}},
                                          {{0.8f, 0.2f, 0.2f}},
                                          {{0.2f, 0.8f, 0.2f}},
                                          {{inf, 0.5f, 0.5f}},
                                          {{0.5f, std::nanf(""), 0.5f}}},
                                         {0, 1, 2, 0, 1, 5, -1, 0, 1, 2, 1, 0, 1, 4, 2, 0, 1, 3});
    partition(bad, octree, tris);
    EXPECT_EQ(listOf(tris, testsupport::leafOfSlot(octree, 0)), (std::vector<int>{0, 3}));
    EXPECT_EQ(tris.getData().getTotalSize(), 2);
}
