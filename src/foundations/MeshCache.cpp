// The getters of the mesh cache: one pattern for all six results. Ask the
// store; on a miss compute into a fresh reference-counted object, taking the
// inputs it depends on from the cache itself, and store it.

#include <oxGeom/MeshCache.h>

#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshComputeBoundary.h>

namespace oxGeom
{
namespace
{
// The leaf size and tiling flag the octree of the partitions is built with.
constexpr int partitionLeafSize = 16;
}  // namespace

MeshCache::~MeshCache() = default;

ox::Reference<MeshAdjTris> MeshCache::getAdjTris(const CompactMesh& mesh)
{
    ox::Reference<MeshAdjTris> result = getAdjTrisImpl(mesh);
    if (result)
        return result;
    result = new MeshAdjTris;
    meshAdjTris(mesh, *result);
    setAdjTrisImpl(mesh, result);
    return result;
}

ox::Reference<MeshAdjVertices> MeshCache::getAdjVertices(const CompactMesh& mesh)
{
    ox::Reference<MeshAdjVertices> result = getAdjVerticesImpl(mesh);
    if (result)
        return result;
    const ox::Reference<MeshAdjTris> adjTris = getAdjTris(mesh);
    result = new MeshAdjVertices;
    meshAdjVertices(mesh, *adjTris, *result);
    setAdjVerticesImpl(mesh, result);
    return result;
}

ox::Reference<Octree> MeshCache::getOctree(const CompactMesh& mesh, int size)
{
    ox::Reference<Octree> result = getOctreeImpl(mesh);
    if (result)
        return result;
    // A positive size is the leaf size of a tiling octree; otherwise the low
    // byte of `size` is the tiling flag and the leaf size is the usual 16.
    const bool tile = size > 0 ? true : (size & 0xff) != 0;
    const int leafSize = size > 0 ? size : partitionLeafSize;
    BoundingBox bounds;
    meshBoundingBox(mesh, bounds);
    result = new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, tile, leafSize);
    setOctreeImpl(mesh, result);
    return result;
}

ox::Reference<OctreeTris> MeshCache::getOctreeTris(const CompactMesh& mesh)
{
    ox::Reference<OctreeTris> result = getOctreeTrisImpl(mesh);
    if (result)
        return result;
    const ox::Reference<Octree> octree = getOctree(mesh, partitionLeafSize);
    result = new OctreeTris;
    computeOctreeTris(mesh, *octree, *result);
    setOctreeTrisImpl(mesh, result);
    return result;
}

ox::Reference<OctreeLines> MeshCache::getOctreeLines(const CompactMesh& mesh)
{
    ox::Reference<OctreeLines> result = getOctreeLinesImpl(mesh);
    if (result)
        return result;
    const ox::Reference<Octree> octree = getOctree(mesh, partitionLeafSize);
    result = new OctreeLines;
    meshOctreeLines(mesh, *octree, *result);
    setOctreeLinesImpl(mesh, result);
    return result;
}

ox::Reference<MeshBoundaries> MeshCache::getBoundaries(const CompactMesh& mesh)
{
    ox::Reference<MeshBoundaries> result = getBoundariesImpl(mesh);
    if (result)
        return result;
    const ox::Reference<MeshAdjTris> adjTris = getAdjTris(mesh);
    const ox::Reference<MeshAdjVertices> adjVertices = getAdjVertices(mesh);
    result = new MeshBoundaries;
    meshComputeBoundary(mesh, *adjTris, *adjVertices, *result);
    setBoundariesImpl(mesh, result);
    return result;
}
}  // namespace oxGeom
