// Bounding box of an arrangement of placed meshes: each mesh's own box, carried
// into the arrangement's space by its placement (the box of the eight
// transformed corners), united in list order.

#include <oxGeom/meshBoundingBox.h>

#include <oxGeom/CompactMesh.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

namespace oxGeom
{
void arrangementBoundingBox(const ox::list<MeshPlacement>& placements, BoundingBox& box)
{
    oxOS::StopWatch watch;
    watch.start();
    box.setInvalid();
    for (const MeshPlacement& placement : placements)
    {
        BoundingBox meshBox;
        meshBoundingBox(*placement.mesh, meshBox);
        meshBox.transform(placement.matrix);
        box.extend(meshBox);
    }
    debugChannel().print("arrangementBoundingBox: %d meshes  %f s\n",
                         static_cast<int>(placements.size()), watch.clear());
}
}  // namespace oxGeom
