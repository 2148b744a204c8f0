// meshRemoveDuplicateTris: deletes what meshDuplicateTris found by selecting those
// triangles and their corners and handing the selection to MeshDeleteSelected,
// which keeps the survivors' channels and announces the renumbering.

#include <oxGeom/meshDuplicateTris.h>

#include <oxGeom/MeshDeleteSelected.h>
#include <oxGeom/MeshSelect.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

namespace oxGeom
{
void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris,
                             MeshDuplicateTrisResult const& result)
{
    if (!result)
        return;
    debugChannel().print("oxGeom::meshRemoveDuplicateTris\n");
    debugChannel().print("           vertices(%d) triangles(%d)\n", mesh.getNumVertices(),
                         mesh.getNumTriangles());
    oxOS::StopWatch watch;
    watch.start();

    BitVector& triangles = mesh.getSelectedTriangles();
    triangles.resize(mesh.getNumTriangles());
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    for (const ox::vector<int>* list :
         {&result.getDuplicates(), &result.getIndexDegenerates(), &result.getPositionDegenerates()})
        for (int t : *list)
            triangles.setBit(t);
    MeshSelect(mesh, adjTris).selectVerticesFromTriangles();
    // The count printed is the number of selected triangles, which includes any
    // that were selected before the call and so are deleted as well.
    debugChannel().print("  selected %d duplicate/degenerate tris: %f s\n",
                         mesh.getSelectedTriangles().countSetBits(), watch.clear());

    MeshDeleteSelected deletion(mesh);
    deletion();
}

void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris)
{
    MeshDuplicateTrisResult result;
    if (meshDuplicateTris(mesh, result))
        meshRemoveDuplicateTris(mesh, adjTris, result);
}
}  // namespace oxGeom
