// Change notices of a mesh. The notice names the mesh as the changed entity,
// so that a listener connected to many meshes' signals knows which one changed.

#include <oxGeom/MeshModification.h>
#include <oxGeom/PointMesh.h>

namespace oxGeom
{
MeshModification::MeshModification(const PointMesh* mesh, Type type, MeshRemap* remap)
    : oxRTB::EntityModification(mesh), m_mesh(mesh), m_type(type), m_remap(remap)
{
}
}  // namespace oxGeom
