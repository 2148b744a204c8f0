// Welding helpers of the trelm tool. meshCompact moves positions, explicit normals and UVs to
// the welded numbering; a file can carry more per-vertex data (colours, STs, extra PLY
// properties), which the tool carries through the vertex map itself rather than dropping.

#include "meshEdits.h"

#include <oxGeom/MeshAttributes.h>
#include <oxGeom/MeshMerge.h>
#include <oxGeom/PointMesh.h>
#include <oxGeom/Remap.h>
#include <oxGeom/meshCompact.h>

#include <ox/containers.h>

#include <string>
#include <vector>

namespace trelm::cli
{
namespace
{
struct SavedChannel
{
    oxString::CString name;
    int dimension;
    bool storeable;
    std::vector<float> values;
};

// The channels meshCompact leaves in their old order.
bool movedByCompact(const oxGeom::CompactMesh& mesh, const oxString::CString& name)
{
    if (name == oxGeom::PointMesh::VerticesName || name == oxGeom::PointMesh::UVsName)
        return true;
    return name == oxGeom::PointMesh::NormalsName && !mesh.getNormalsComputed();
}

std::vector<SavedChannel> saveUnmovedChannels(const oxGeom::CompactMesh& mesh)
{
    std::vector<SavedChannel> saved;
    for (int i = 0; i < mesh.getNumAttributes(); ++i)
    {
        const oxGeom::MeshAttributes* channel = mesh.getAttributes(i);
        if (channel == nullptr || movedByCompact(mesh, channel->getName()))
            continue;
        const float* values = channel->asFloat();
        const std::size_t count =
            std::size_t(channel->getNumElements()) * std::size_t(channel->getDimension());
        saved.push_back({channel->getName(), channel->getDimension(), channel->isStoreable(),
                         std::vector<float>(values, values + count)});
    }
    return saved;
}

void restoreRenumbered(oxGeom::CompactMesh& mesh, const std::vector<SavedChannel>& saved,
                       const oxGeom::Remap& vertexMap)
{
    const int newCount = mesh.getNumVertices();
    for (const SavedChannel& channel : saved)
    {
        oxGeom::MeshAttributes* target = mesh.getAttributes(channel.name);
        if (target == nullptr || target->getDimension() != channel.dimension)
            continue;
        float* values = target->asFloat();
        const int dimension = channel.dimension;
        const int oldCount = int(channel.values.size()) / dimension;
        for (int v = 0; v < oldCount; ++v)  // ascending, so the highest old index wins
        {
            const int to = vertexMap(v);
            if (to < 0 || to >= newCount)
                continue;
            for (int k = 0; k < dimension; ++k)
                values[std::size_t(to) * dimension + k] =
                    channel.values[std::size_t(v) * dimension + k];
        }
        target->invalidateRange();
    }
}
}  // namespace

int weldVertices(oxGeom::CompactMesh& mesh, oxUtil::Progress& progress)
{
    const int before = mesh.getNumVertices();
    const std::vector<SavedChannel> saved = saveUnmovedChannels(mesh);
    oxGeom::Remap vertexMap;
    oxGeom::meshCompact(mesh, progress, vertexMap);
    const int removed = before - mesh.getNumVertices();
    if (removed > 0)
        restoreRenumbered(mesh, saved, vertexMap);
    return removed;
}

int weldVerticesWithin(oxGeom::CompactMesh& mesh, float tolerance, oxUtil::Progress& progress)
{
    const int before = mesh.getNumVertices();
    dropVertexChannels(mesh);
    const ox::list<oxGeom::MeshPlacement> noSources;
    oxGeom::MeshMerge merge(mesh, noSources, tolerance);
    merge.merge(progress);
    return before - mesh.getNumVertices();
}

void dropVertexChannels(oxGeom::CompactMesh& mesh)
{
    std::vector<oxString::CString> names;
    for (int i = 1; i < mesh.getNumAttributes(); ++i)
        if (const oxGeom::MeshAttributes* channel = mesh.getAttributes(i))
            names.push_back(channel->getName());
    for (const oxString::CString& name : names)
        mesh.deleteAttributes(name);
}

oxGeom::CompactMesh weldedSurface(const oxGeom::CompactMesh& mesh, oxUtil::Progress& progress)
{
    oxGeom::CompactMesh surface(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr,
                                nullptr);
    surface.copyTriangles(mesh.getNumTriangles(), mesh.getTrianglesRaw());
    oxGeom::meshCompact(surface, progress);
    return surface;
}
}  // namespace trelm::cli
