// The per-mesh store of the mesh cache: an ordered map from a mesh to its six
// results, emptied for a mesh whenever that mesh announces a modification or its
// destruction. The store listens to each mesh's signals from the moment the mesh
// gets an entry until the entry is erased, so a mesh is connected at most once
// however often its entry is rebuilt.

#include <oxGeom/MeshCache.h>

#include <oxRTB/Signal.h>

#include <map>

namespace oxGeom
{
namespace
{
struct CacheEntry
{
    ox::Reference<MeshAdjTris> adjTris;
    ox::Reference<MeshAdjVertices> adjVertices;
    ox::Reference<Octree> octree;
    ox::Reference<OctreeTris> octreeTris;
    ox::Reference<OctreeLines> octreeLines;
    ox::Reference<MeshBoundaries> boundaries;
};
}  // namespace

class SimpleMeshCacheImpl : public oxRTB::SignalClient
{
public:
    // Destroying the client (the base) disconnects every signal, so no mesh
    // calls back into a destroyed cache.
    ~SimpleMeshCacheImpl() override = default;

    /// The entry of `mesh`, created (and the mesh's signals connected) if absent.
    CacheEntry& entry(const CompactMesh& mesh)
    {
        const oxRTB::Entity* entity = &mesh;
        auto found = m_entries.find(entity);
        if (found != m_entries.end())
            return found->second;
        connect(entity->destructionSignal(),
                oxRTB::makeFunctionArgMember(this, &SimpleMeshCacheImpl::onDestroyed));
        connect(entity->modificationSignal(),
                oxRTB::makeFunctionArgMember(this, &SimpleMeshCacheImpl::onModified));
        return m_entries[entity];
    }

    void clear()
    {
        disconnectAll();
        m_entries.clear();
    }

    int size() const { return static_cast<int>(m_entries.size()); }

private:
    void onDestroyed(oxRTB::Entity* entity) { forget(entity); }
    void onModified(oxRTB::EntityModification& modification) { forget(modification.getEntity()); }

    // Erases the entity's entry and stops listening to it; the next request
    // recomputes from the changed mesh and connects again.
    void forget(const oxRTB::Entity* entity)
    {
        auto found = m_entries.find(entity);
        if (found == m_entries.end())
            return;
        disconnect(entity->destructionSignal());
        disconnect(entity->modificationSignal());
        // Release the results only after the map no longer names them: a result's
        // destructor must never see a half-erased map.
        CacheEntry dropped = std::move(found->second);
        m_entries.erase(found);
    }

    std::map<const oxRTB::Entity*, CacheEntry> m_entries;
};

SimpleMeshCache::SimpleMeshCache() : m_impl(new SimpleMeshCacheImpl) {}

SimpleMeshCache::~SimpleMeshCache() = default;

void SimpleMeshCache::clear()
{
    m_impl->clear();
}

int SimpleMeshCache::getNumEntries() const
{
    return m_impl->size();
}

ox::Reference<MeshAdjTris> SimpleMeshCache::getAdjTrisImpl(const CompactMesh& mesh)
{
    return m_impl->entry(mesh).adjTris;
}
ox::Reference<MeshAdjVertices> SimpleMeshCache::getAdjVerticesImpl(const CompactMesh& mesh)
{
    return m_impl->entry(mesh).adjVertices;
}
ox::Reference<Octree> SimpleMeshCache::getOctreeImpl(const CompactMesh& mesh)
{
    return m_impl->entry(mesh).octree;
}
ox::Reference<OctreeTris> SimpleMeshCache::getOctreeTrisImpl(const CompactMesh& mesh)
{
    return m_impl->entry(mesh).octreeTris;
}
ox::Reference<OctreeLines> SimpleMeshCache::getOctreeLinesImpl(const CompactMesh& mesh)
{
    return m_impl->entry(mesh).octreeLines;
}
ox::Reference<MeshBoundaries> SimpleMeshCache::getBoundariesImpl(const CompactMesh& mesh)
{
    return m_impl->entry(mesh).boundaries;
}

void SimpleMeshCache::setAdjTrisImpl(const CompactMesh& mesh, ox::Reference<MeshAdjTris> result)
{
    m_impl->entry(mesh).adjTris = result;
}
void SimpleMeshCache::setAdjVerticesImpl(const CompactMesh& mesh,
                                         ox::Reference<MeshAdjVertices> result)
{
    m_impl->entry(mesh).adjVertices = result;
}
void SimpleMeshCache::setOctreeImpl(const CompactMesh& mesh, ox::Reference<Octree> result)
{
    m_impl->entry(mesh).octree = result;
}
void SimpleMeshCache::setOctreeTrisImpl(const CompactMesh& mesh, ox::Reference<OctreeTris> result)
{
    m_impl->entry(mesh).octreeTris = result;
}
void SimpleMeshCache::setOctreeLinesImpl(const CompactMesh& mesh, ox::Reference<OctreeLines> result)
{
    m_impl->entry(mesh).octreeLines = result;
}
void SimpleMeshCache::setBoundariesImpl(const CompactMesh& mesh,
                                        ox::Reference<MeshBoundaries> result)
{
    m_impl->entry(mesh).boundaries = result;
}
}  // namespace oxGeom
