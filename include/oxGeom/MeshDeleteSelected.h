#pragma once
// Deleting the selected part of a mesh: the selected triangles, and the selected
// vertices that no surviving primitive uses, with the old-to-new vertex map kept
// for the caller.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/Remap.h>

#include <ox/Reference.h>
#include <ox/containers.h>

namespace oxGeom
{
/// Deletes selected triangles and vertices of one mesh in place and remembers
/// how the surviving vertices were renumbered.
///
/// The object holds the mesh (not owned; it must outlive the object) and a
/// reference-counted vertex map, empty until a deletion that keeps some
/// triangles has run. Copies share the map.
/// Thread safety: one thread at a time, with exclusive access to the mesh.
class MeshDeleteSelected
{
public:
    explicit MeshDeleteSelected(CompactMesh& mesh);
    MeshDeleteSelected(const MeshDeleteSelected& other) = default;
    MeshDeleteSelected& operator=(const MeshDeleteSelected& other) = default;
    /// Releases this holder's reference to the vertex map.
    ~MeshDeleteSelected();

    /// Deletes the selected triangles, and the selected vertices that no
    /// surviving triangle, strip, fan, line or line strip uses.
    ///
    /// Inputs: the mesh's triangle selection (T bits) and vertex selection
    /// (V bits); bits beyond the mesh's counts are ignored and missing bits
    /// count as clear.
    /// Outputs, when some triangle is selected:
    /// - survivors keep their relative order, and every vertex channel
    ///   (positions, normals, UVs, STs, colours, named channels) and the
    ///   triangle normals stay attached to their elements;
    /// - indices of surviving triangles, strips, fans, lines and line strips
    ///   are renumbered to the new vertex numbering;
    /// - both selections are resized to 0 (nothing selected);
    /// - getVertexMap() is a new map of V entries, -1 for each deleted vertex;
    /// - one modification notice of type Topology carries the vertex and
    ///   triangle maps, with uvsValid when vertices were deleted.
    /// When every triangle is selected the mesh is emptied instead: vertices,
    /// triangles, strips, fans, lines and line strips all go, both selections
    /// are resized to 0, and one Topology notice without remap is sent; the
    /// vertex map stays as it was.
    /// Empty input: no selected triangle changes nothing and prints nothing,
    /// even when vertices are selected.
    /// Diagnostics: "meshDeleteSelected:  deleting all vertices(%d) and
    /// triangles(%d)" (the triangle count first, then the vertex count), or
    /// "meshDeleteSelected:  vertices %d(%d)  triangles %d(%d)" (selected and
    /// total vertices, selected and total triangles) followed by
    /// "  delete vertices: %f s" and "  delete triangles: %f s".
    /// Cost: O(V * channel floats + T + strip, fan and line points).
    void operator()();

    /// Deletes the listed triangles and the vertices only they use.
    /// Inputs: `adjacency`, the mesh's meshAdjTris table; `triangles`, indices
    /// (out-of-range ones are ignored).
    /// Sizes both selections to the mesh's counts, adds the listed triangles to
    /// the triangle selection (selected triangles stay selected), makes the
    /// vertex selection the corners of the selected triangles
    /// (MeshSelect::selectVerticesFromTriangles) and runs operator()().
    void operator()(const MeshAdjTris& adjacency, const ox::vector<int>& triangles);

    /// The old-to-new vertex map of the last deletion that kept some triangles
    /// (negative for deleted vertices); null before any.
    ox::Reference<Remap> getVertexMap();

private:
    CompactMesh* m_mesh;
    ox::Reference<Remap> m_vertexMap;
};
}  // namespace oxGeom
