#pragma once
// Test helper for editing operations: records every change notice a mesh sends
// (type, flags, renumbering maps and changed channel names) so a test can check
// exactly what an edit announced.

#include <oxGeom/MeshModification.h>
#include <oxGeom/PointMesh.h>
#include <oxGeom/Remap.h>
#include <oxRTB/Signal.h>

#include <set>
#include <string>
#include <vector>

namespace testsupport
{
/// One notice as received, with copies of its maps (the notice's own maps are
/// gone once the edit returns).
struct RecordedModification
{
    int type = -1;
    unsigned flags = 0;
    bool hasRemap = false;
    bool hasVertexMap = false;
    bool hasTriangleMap = false;
    std::vector<int> vertexMap;
    std::vector<int> triangleMap;
    std::set<std::string> attributes;
};

/// Listens to one mesh's modification signal for its lifetime.
class ModificationLog : public oxRTB::SignalClient
{
public:
    explicit ModificationLog(const oxGeom::PointMesh& mesh)
    {
        connect(mesh.modificationSignal(),
                oxRTB::makeFunctionArgMember(this, &ModificationLog::record));
    }

    std::vector<RecordedModification> notices;

private:
    static std::vector<int> copyOf(const oxGeom::Remap* map)
    {
        std::vector<int> values;
        for (int i = 0; map && i < map->getDomainSize(); ++i)
            values.push_back((*map)(i));
        return values;
    }

    void record(oxRTB::EntityModification& change)
    {
        RecordedModification r;
        const auto* m = dynamic_cast<const oxGeom::MeshModification*>(&change);
        if (m)
        {
            r.type = m->getType();
            r.flags = m->getFlags();
            r.hasRemap = m->getRemap() != nullptr;
            if (r.hasRemap)
            {
                r.hasVertexMap = m->getRemap()->getVertexMap() != nullptr;
                r.hasTriangleMap = m->getRemap()->getTriangleMap() != nullptr;
                r.vertexMap = copyOf(m->getRemap()->getVertexMap());
                r.triangleMap = copyOf(m->getRemap()->getTriangleMap());
            }
            for (const auto& name : m->getModifiedVertexAttribs())
                r.attributes.insert(name.str());
        }
        notices.push_back(r);
    }
};
}  // namespace testsupport
