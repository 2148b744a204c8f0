// SimpleMeshCache: results are computed once and shared, dependencies come
// through the cache, any change notice or destruction of a mesh drops all of
// its results, and a destroyed cache is never called back.

#include <oxGeom/MeshCache.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/meshBoundingBox.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
void notifyChange(oxGeom::CompactMesh& mesh, oxGeom::MeshModification::Type type)
{
    oxGeom::MeshModification modification(&mesh, type);
    modification.normalsModified();
    mesh.modified(modification);
}

int listeners(const oxGeom::CompactMesh& mesh)
{
    return mesh.destructionSignal().getNumConnections() +
           mesh.modificationSignal().getNumConnections();
}
}  // namespace

TEST(SimpleMeshCache, boundariesCacheTheirDependencies)
{
    const oxGeom::CompactMesh grid = fixtures::gridMesh(3, 2);
    oxGeom::SimpleMeshCache cache;
    const ox::Reference<oxGeom::MeshBoundaries> loops = cache.getBoundaries(grid);
    ASSERT_EQ(loops->size(), 1);
    EXPECT_EQ(loops->getLength(0), 10);  // the rim of a 3 x 2 grid

    // The adjacency the boundaries were built from is the one handed out now.
    const ox::Reference<oxGeom::MeshAdjTris> adjTris = cache.getAdjTris(grid);
    const ox::Reference<oxGeom::MeshAdjVertices> adjVertices = cache.getAdjVertices(grid);
    EXPECT_EQ(adjTris->numTris(0), 2);
    EXPECT_EQ(cache.getAdjTris(grid).get(), adjTris.get());
    EXPECT_EQ(cache.getAdjVertices(grid).get(), adjVertices.get());
    EXPECT_EQ(cache.getBoundaries(grid).get(), loops.get());
    EXPECT_EQ(cache.getNumEntries(), 1);
    EXPECT_EQ(listeners(grid), 2);
}

TEST(SimpleMeshCache, firstOctreeRequestDecidesItsParameters)
{
    const oxGeom::CompactMesh sphere = fixtures::icosphere(3, 1.0f);
    oxGeom::BoundingBox bounds;
    oxGeom::meshBoundingBox(sphere, bounds);
    const oxGeom::Octree coarse(sphere.getNumVertices(), sphere.getVerticesRaw(), bounds, true, 32);
    const oxGeom::Octree fine(sphere.getNumVertices(), sphere.getVerticesRaw(), bounds, true, 8);
    ASSERT_NE(coarse.getNumLeaves(), fine.getNumLeaves());

    oxGeom::SimpleMeshCache cache;
    const ox::Reference<oxGeom::Octree> first = cache.getOctree(sphere, 32);
    EXPECT_EQ(cache.getOctree(sphere, 8).get(), first.get());
    EXPECT_EQ(first->getNumLeaves(), coarse.getNumLeaves());
    EXPECT_TRUE(first->getTileBounds());
    // The triangle lists are built over that same octree.
    const ox::Reference<oxGeom::OctreeTris> tris = cache.getOctreeTris(sphere);
    EXPECT_EQ(tris->getData().getNumSets(), first->getNumLeaves());

    // Sizes of 0 or less: leaf size 16, tiling flag from the low byte.
    for (int size : {0, -256, -1, -255})
    {
        cache.clear();
        const bool tile = (size & 0xff) != 0;
        const oxGeom::Octree expected(sphere.getNumVertices(), sphere.getVerticesRaw(), bounds,
                                      tile, 16);
        const ox::Reference<oxGeom::Octree> octree = cache.getOctree(sphere, size);
        EXPECT_EQ(octree->getTileBounds(), tile) << size;
        EXPECT_EQ(octree->getNumLeaves(), expected.getNumLeaves()) << size;
    }
}

TEST(SimpleMeshCache, anyNoticeDropsEveryResultAndOldHoldersKeepTheirs)
{
    oxGeom::CompactMesh grid = fixtures::gridMesh(4, 4);
    const oxGeom::CompactMesh twin = fixtures::gridMesh(4, 4);
    oxGeom::SimpleMeshCache cache;
    const ox::Reference<oxGeom::MeshAdjTris> adjTris = cache.getAdjTris(grid);
    const ox::Reference<oxGeom::MeshAdjVertices> adjVertices = cache.getAdjVertices(grid);
    const ox::Reference<oxGeom::Octree> octree = cache.getOctree(grid, 16);
    const ox::Reference<oxGeom::OctreeTris> tris = cache.getOctreeTris(grid);
    const ox::Reference<oxGeom::OctreeLines> lines = cache.getOctreeLines(grid);
    const ox::Reference<oxGeom::MeshBoundaries> loops = cache.getBoundaries(grid);
    // Equal data, different mesh: its own entry.
    EXPECT_NE(cache.getAdjTris(twin).get(), adjTris.get());
    EXPECT_EQ(cache.getNumEntries(), 2);

    for (auto type : {oxGeom::MeshModification::Normals, oxGeom::MeshModification::Topology})
    {
        notifyChange(grid, type);
        EXPECT_EQ(cache.getNumEntries(), 1);
        EXPECT_NE(cache.getAdjTris(grid).get(), adjTris.get());
        EXPECT_NE(cache.getAdjVertices(grid).get(), adjVertices.get());
        EXPECT_NE(cache.getOctree(grid, 16).get(), octree.get());
        EXPECT_NE(cache.getOctreeTris(grid).get(), tris.get());
        EXPECT_NE(cache.getOctreeLines(grid).get(), lines.get());
        EXPECT_NE(cache.getBoundaries(grid).get(), loops.get());
        // Re-registering after a drop does not pile up listeners.
        EXPECT_EQ(listeners(grid), 2);
    }
    // The old results are still whole for whoever holds them.
    EXPECT_EQ(adjTris->numTris(0), 2);
    EXPECT_EQ(loops->size(), 1);
    EXPECT_EQ(octree->getNumPoints(), grid.getNumVertices());
    EXPECT_EQ(adjTris->getUseCount(), 1);
}

TEST(SimpleMeshCache, destroyedMeshesAndCachesLeaveNoDanglingCallbacks)
{
    oxGeom::SimpleMeshCache cache;
    {
        const oxGeom::CompactMesh temporary = fixtures::cube();
        cache.getBoundaries(temporary);
        EXPECT_EQ(cache.getNumEntries(), 1);
    }
    EXPECT_EQ(cache.getNumEntries(), 0);

    oxGeom::CompactMesh survivor = fixtures::cube();
    {
        auto shortLived = std::make_unique<oxGeom::SimpleMeshCache>();
        shortLived->getOctreeTris(survivor);
        EXPECT_EQ(listeners(survivor), 2);
    }
    // The mesh outlives the cache: nothing is connected any more, and a notice
    // now (run under AddressSanitizer in CI) touches no freed cache.
    EXPECT_EQ(listeners(survivor), 0);
    notifyChange(survivor, oxGeom::MeshModification::Topology);

    cache.getAdjTris(survivor);
    cache.clear();
    EXPECT_EQ(cache.getNumEntries(), 0);
    EXPECT_EQ(listeners(survivor), 0);
}
