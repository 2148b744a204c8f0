#pragma once
// Derived data of meshes computed once and shared: triangle and vertex
// adjacency, boundary loops, the vertex octree and its per-leaf triangle and
// line lists. Results are reference counted, so a result handed out stays valid
// for its holder after the cache has dropped it.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeLines.h>
#include <oxGeom/OctreeTris.h>

#include <ox/Reference.h>

#include <memory>

namespace oxGeom
{
/// A cache of derived mesh data. Each getter returns the stored result for the mesh, or, on a
/// miss, computes it (fetching what it depends on through the cache itself, so dependencies
/// are cached too), stores it and returns it. Subclasses decide where results are kept by
/// implementing the protected get/set operations.
///
/// Inputs: a mesh, by const reference; the cache keys results by the mesh's address.
/// Output: a reference to the shared result (never null from the public getters).
/// Empty input: a mesh without triangles gives empty tables, no loops, an octree over its
/// vertices (a single empty leaf when it has none).
/// Threads: a cache is used from one thread at a time; the computations it triggers run on
/// the thread pool as their own functions document.
/// Cost: a hit is a map lookup; a miss costs the computation.
class MeshCache
{
public:
    virtual ~MeshCache();

    /// Triangles around each vertex (meshAdjTris).
    ox::Reference<MeshAdjTris> getAdjTris(const CompactMesh& mesh);
    /// Distinct neighbours of each vertex (meshAdjVertices, over getAdjTris).
    ox::Reference<MeshAdjVertices> getAdjVertices(const CompactMesh& mesh);
    /// The octree over the mesh's vertex positions, bounded by the mesh's bounding box. On a
    /// miss: size > 0 builds with leaf size `size` and leaves tiling the box; size <= 0 builds
    /// with leaf size 16 and the tiling flag equal to the low byte of `size` taken as a truth
    /// value (false for 0). On a hit the stored octree is returned whatever `size` asks: the
    /// first request decides until the entry is dropped.
    ox::Reference<Octree> getOctree(const CompactMesh& mesh, int size);
    /// Triangles per octree leaf (computeOctreeTris over getOctree(mesh, 16)).
    ox::Reference<OctreeTris> getOctreeTris(const CompactMesh& mesh);
    /// Lines per octree leaf (meshOctreeLines over getOctree(mesh, 16)).
    ox::Reference<OctreeLines> getOctreeLines(const CompactMesh& mesh);
    /// Boundary loops (meshComputeBoundary over getAdjTris and getAdjVertices).
    ox::Reference<MeshBoundaries> getBoundaries(const CompactMesh& mesh);

protected:
    /// The stored result for `mesh`, or a null reference.
    virtual ox::Reference<MeshAdjTris> getAdjTrisImpl(const CompactMesh& mesh) = 0;
    virtual ox::Reference<MeshAdjVertices> getAdjVerticesImpl(const CompactMesh& mesh) = 0;
    virtual ox::Reference<Octree> getOctreeImpl(const CompactMesh& mesh) = 0;
    virtual ox::Reference<OctreeTris> getOctreeTrisImpl(const CompactMesh& mesh) = 0;
    virtual ox::Reference<OctreeLines> getOctreeLinesImpl(const CompactMesh& mesh) = 0;
    virtual ox::Reference<MeshBoundaries> getBoundariesImpl(const CompactMesh& mesh) = 0;

    /// Stores `result` for `mesh`, releasing the previous one.
    virtual void setAdjTrisImpl(const CompactMesh& mesh, ox::Reference<MeshAdjTris> result) = 0;
    virtual void setAdjVerticesImpl(const CompactMesh& mesh,
                                    ox::Reference<MeshAdjVertices> result) = 0;
    virtual void setOctreeImpl(const CompactMesh& mesh, ox::Reference<Octree> result) = 0;
    virtual void setOctreeTrisImpl(const CompactMesh& mesh, ox::Reference<OctreeTris> result) = 0;
    virtual void setOctreeLinesImpl(const CompactMesh& mesh, ox::Reference<OctreeLines> result) = 0;
    virtual void setBoundariesImpl(const CompactMesh& mesh,
                                   ox::Reference<MeshBoundaries> result) = 0;
};

class SimpleMeshCacheImpl;

/// The cache that keeps every result per mesh and forgets all six results of a mesh as soon
/// as that mesh announces any modification (CompactMesh::modified) or is destroyed. There is
/// no finer invalidation: a change of normals drops the octree too.
///
/// The cache listens to the signals of every mesh it holds an entry for; destroying the cache
/// disconnects it, so meshes that outlive it never call back into it.
/// Threads: one thread at a time, like MeshCache; a mesh must not be modified or destroyed on
/// another thread while the cache is in use.
class SimpleMeshCache : public MeshCache
{
public:
    SimpleMeshCache();
    ~SimpleMeshCache() override;
    SimpleMeshCache(const SimpleMeshCache&) = delete;
    SimpleMeshCache& operator=(const SimpleMeshCache&) = delete;

    /// Drops every entry, releasing the cache's references.
    void clear();
    /// Number of meshes that have an entry (for diagnostics and tests).
    int getNumEntries() const;

protected:
    ox::Reference<MeshAdjTris> getAdjTrisImpl(const CompactMesh& mesh) override;
    ox::Reference<MeshAdjVertices> getAdjVerticesImpl(const CompactMesh& mesh) override;
    ox::Reference<Octree> getOctreeImpl(const CompactMesh& mesh) override;
    ox::Reference<OctreeTris> getOctreeTrisImpl(const CompactMesh& mesh) override;
    ox::Reference<OctreeLines> getOctreeLinesImpl(const CompactMesh& mesh) override;
    ox::Reference<MeshBoundaries> getBoundariesImpl(const CompactMesh& mesh) override;

    void setAdjTrisImpl(const CompactMesh& mesh, ox::Reference<MeshAdjTris> result) override;
    void setAdjVerticesImpl(const CompactMesh& mesh,
                            ox::Reference<MeshAdjVertices> result) override;
    void setOctreeImpl(const CompactMesh& mesh, ox::Reference<Octree> result) override;
    void setOctreeTrisImpl(const CompactMesh& mesh, ox::Reference<OctreeTris> result) override;
    void setOctreeLinesImpl(const CompactMesh& mesh, ox::Reference<OctreeLines> result) override;
    void setBoundariesImpl(const CompactMesh& mesh, ox::Reference<MeshBoundaries> result) override;

private:
    std::unique_ptr<SimpleMeshCacheImpl> m_impl;
};
}  // namespace oxGeom
