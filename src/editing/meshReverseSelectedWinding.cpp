// meshReverseSelectedWinding: rewinds the selected triangles only. A vertex normal
// shared by several selected triangles must flip once, so a per-vertex bit records
// the normals already negated.

#include <oxGeom/meshReverseWinding.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <utility>

namespace oxGeom
{
namespace
{
void negateOnce(MeshNormal* normals, int vertex, BitVector& negated)
{
    if (!normals || vertex < 0 || vertex >= negated.size() || negated.isBitSet(vertex))
        return;
    negated.setBit(vertex);
    for (int k = 0; k < 3; ++k)
        normals[vertex][k] = -normals[vertex][k];
}
}  // namespace

void meshReverseSelectedWinding(CompactMesh& mesh)
{
    const int numTriangles = mesh.getNumTriangles();
    debugChannel().print("meshReverseSelectedWinding: %d triangles\n", numTriangles);
    oxOS::StopWatch watch;
    watch.start();

    BitVector negated(mesh.getNumVertices());
    MeshTriangle* triangles = mesh.getTriangles();
    MeshNormal* normals = mesh.getNormals();
    MeshNormal* triangleNormals = mesh.getTriangleNormals();
    const BitVector& selected = mesh.getSelectedTriangles();
    const int count = std::min(numTriangles, selected.size());
    for (int t = 0; t < count; ++t)
    {
        if (!selected.isBitSet(t))
            continue;
        std::swap(triangles[t][0], triangles[t][1]);
        for (int c = 0; c < 3; ++c)
            negateOnce(normals, triangles[t][c], negated);
        if (triangleNormals)
            for (int k = 0; k < 3; ++k)
                triangleNormals[t][k] = -triangleNormals[t][k];
    }

    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    modification.normalsModified();
    modification.triangleNormalsModified();
    modification.uvsValid();
    mesh.modified(modification);
    debugChannel().print("  mesh reverse selected winding: %f s\n", watch.clear());
}
}  // namespace oxGeom
