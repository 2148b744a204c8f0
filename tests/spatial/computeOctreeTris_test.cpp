// computeOctreeTris: lists against a clipping oracle over every leaf; the same lists and
// statistics as a plain serial partition for every thread count; the last-leaf shortcut and its
// restarts; zero leaves, no triangles and bad input; the exact statistics lines.

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

// Partitions and returns the statistics text, timings masked.
std::string partition(const CompactMesh& mesh, const oxGeom::Octree& octree,
                      oxGeom::OctreeTris& tris)
{
    testsupport::DebugCapture capture;
    oxGeom::computeOctreeTris(mesh, octree, tris);
    return testsupport::maskPartitionTimes(capture.text());
}

// The partition written plainly: one serial pass with the public box iterator and overlap test,
// the last-leaf shortcut and its restart every 1024 triangles. `ratios` receives the start of
// the statistics line's second half.
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
        cached = i % 1024 == 0 ? oxGeom::OctreeIterator() : cached;
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
    for (const CompactMesh& mesh :
         {fixtures::randomMesh(11, 300, 400), fixtures::icosphere(3, 1.0f), heightField})
    {
        const oxGeom::Octree octree = meshOctree(mesh);
        oxGeom::OctreeTris tris;
        oxGeom::computeOctreeTris(mesh, octree, tris);
        EXPECT_EQ(tris.getData().getNumSets(), octree.getNumLeaves());
        const int decided = testsupport::expectListsMatchOracle(
            octree.getRoot(), tris.getData(), mesh.getNumTriangles(),
            [&](int i)
            {
                const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
                const oxGeom::MeshVertex* v = mesh.getVertices();
                return std::vector<const float*>{v[t[0]].v, v[t[1]].v, v[t[2]].v};
            });
        EXPECT_GT(decided, octree.getNumLeaves() * mesh.getNumTriangles() / 2);
    }
}

TEST(computeOctreeTris, sameAsPlainSerialPartitionForEveryThreadCount)
{
    // The flat grid lies on the face between two layers of leaves, where the shortcut and the
    // walk list a triangle differently, so a dependence on where a thread's slice begins, or a
    // walk in another order than the box iterator's, shows. The octrees without tiling leave
    // out empty cells: the soup's long triangles cross them, and the last octree, built over
    // the lower half of the grid's vertices, has none over the upper half.
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
    // t0 touches the cells of slots 1 and 2 at corners; its walk (slots 0, 2, 1, 3 in +x order)
    // ends on slot 3, which it misses. t1 lies inside slot 3's cell and takes it without a walk.
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
    for (int slot = 0; slot < 4; ++slot)
        EXPECT_EQ(listOf(tris, testsupport::leafOfSlot(octree, slot)),
                  std::vector<int>{slot < 3 ? 0 : 1});

    // Copies of a triangle on the face x = 1 between slots 0 and 1: a walk lists it in both and
    // ends on slot 1, whose box then holds the next copies, except where every 1024th triangle
    // has forgotten the leaf.
    std::vector<int> copies(9000, 0), all(3000);
    for (int i = 0; i < 3000; ++i)
        copies[3 * i + 1] = 1, copies[3 * i + 2] = 2, all[i] = i;
    const CompactMesh onFace =
        triangleMesh({{{1, 0.25f, 0.25f}}, {{1, 0.75f, 0.25f}}, {{1, 0.25f, 0.75f}}}, copies);
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        EXPECT_EQ(partition(onFace, octree, tris),
                  "OctreeTris:  Partitioned 3000 triangles into 8 voxels in # seconds.\n"
                  "             (1.00 coherence, 1.00 voxels/tri, # tri/sec)\n");
        EXPECT_EQ(listOf(tris, testsupport::leafOfSlot(octree, 0)),
                  (std::vector<int>{0, 1024, 2048}));
        EXPECT_EQ(listOf(tris, testsupport::leafOfSlot(octree, 1)), all);
        EXPECT_EQ(tris.getData().getTotalSize(), 3003);
    }
}

TEST(computeOctreeTris, zeroLeavesEmptyMeshAndBadIndices)
{
    oxGeom::ArrayOfSets old;
    const int oldPair[2] = {1, 5};
    old.assignFromPairs(2, 1, oldPair);
    oxGeom::OctreeTris tris(old);
    EXPECT_EQ(partition(fixtures::cube(), oxGeom::Octree(), tris), "");
    EXPECT_EQ(listOf(tris, 1), std::vector<int>{5});

    const oxGeom::Octree octree = testsupport::eightCells();
    EXPECT_EQ(partition(fixtures::emptyMesh(), octree, tris),
              "OctreeTris:  Partitioned 0 triangles into 8 voxels in # seconds.\n"
              "             (nan coherence, nan voxels/tri, # tri/sec)\n");
    EXPECT_EQ(tris.getData().getNumSets(), 8);
    EXPECT_EQ(tris.getData().getTotalSize(), 0);

    // Bad indices and corners that are not finite are listed nowhere, even (1, 4, 2), whose
    // finite corners lie in the cell just visited.
    const CompactMesh bad = triangleMesh({{{0.2f, 0.2f, 0.2f}},
                                          {{0.8f, 0.2f, 0.2f}},
                                          {{0.2f, 0.8f, 0.2f}},
                                          {{INFINITY, 0, 0}},
                                          {{0.5f, NAN, 0.5f}}},
                                         {0, 1, 2, 0, 1, 5, -1, 0, 1, 2, 1, 0, 1, 4, 2, 0, 1, 3});
    partition(bad, octree, tris);
    EXPECT_EQ(listOf(tris, testsupport::leafOfSlot(octree, 0)), (std::vector<int>{0, 3}));
    EXPECT_EQ(tris.getData().getTotalSize(), 2);
}
