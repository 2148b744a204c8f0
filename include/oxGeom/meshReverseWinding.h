#pragma once
// Reversing the winding (and so the facing) of all triangles of a mesh, of its
// selected triangles, or of the vertex-connected part around one triangle.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>

namespace oxGeom
{
/// Reverses the winding of every triangle, strip and fan of `mesh`.
///
/// Inputs: `mesh` (T triangles, S strips, F fans); `flipNormals`, whether to
/// negate the vertex normals.
/// Outputs, in place:
/// - each triangle (a, b, c) becomes (b, a, c);
/// - strips: when every strip of even length has exactly 4 points, each
///   4-point strip (a b c d) becomes (a c b d) and every other strip is
///   reversed end to end. Otherwise the strips are rebuilt: odd strips are
///   reversed, 4-point strips as above, and each even strip of 6 or more points
///   (p0 p1 ... pn-1) becomes two strips, (p2 p1 p0) and (p1 p2 ... pn-1), whose
///   triangles are those of the original, each wound the other way (an even
///   strip cannot be rewound by reordering its own points). Strips of fewer
///   than 3 points describe no triangle and are kept as they are;
/// - fans: the points after the hub are reversed (the hub stays first);
/// - vertex normals are negated when `flipNormals` is set and the mesh has
///   them; triangle normals, when present, are always negated.
/// One notice of type Topology (no remap) with normalsModified (flipNormals)
/// or normalsValid (otherwise), triangleNormalsModified, uvsValid and
/// stripsAndFansModified.
/// Applied twice, triangles, fans, normals and strips of odd length or of 4
/// points are restored exactly; rebuilt strips keep their triangles but not
/// their layout.
/// Empty or degenerate input: an empty mesh only sends the notice. Strip or
/// fan lengths that run past the points array (or are negative) end the walk
/// there: the rest is left as it is.
/// Diagnostics: "meshReverseWinding: %d triangles" (T), then
/// "  remapped triangle indices: %f s".
/// Thread safety: runs on the calling thread; exclusive access to `mesh`.
/// Cost: O(V + T + strip and fan points).
void meshReverseWinding(CompactMesh& mesh, bool flipNormals);

/// Reverses the whole vertex-connected part of `mesh` around `triangle`.
///
/// Inputs: `adjacency`, the meshAdjTris table of `mesh`; `triangle`, the seed.
/// Sizes the mesh's triangle selection to T and adds the seed to it (already
/// selected triangles stay selected), grows the selection to every triangle
/// vertex-connected to it (MeshSelect::selectTrianglesRecursive(false)) and
/// calls meshReverseSelectedWinding. Afterwards the reversed triangles are
/// the triangle selection.
/// Degenerate input: a seed outside [0, T) adds nothing; only the parts of an
/// existing selection are then reversed.
/// Diagnostics: those of MeshSelect::selectTrianglesRecursive and of
/// meshReverseSelectedWinding.
/// Thread safety and cost: as those two.
void meshReverseWinding(CompactMesh& mesh, const MeshAdjTris& adjacency, int triangle);

/// Reverses the winding of the selected triangles of `mesh`.
///
/// Inputs: `mesh` and its triangle selection (bits beyond T are ignored).
/// Outputs, in place, for each selected triangle: (a, b, c) becomes (b, a, c);
/// when the mesh has vertex normals, each of its corners' normals is negated,
/// a vertex shared by several selected triangles only once; when it has
/// triangle normals, the triangle's normal is negated. Strips and fans are
/// not changed.
/// One notice of type Topology (no remap) with normalsModified,
/// triangleNormalsModified and uvsValid.
/// Empty input: no selected triangle only sends the notice. Corners outside
/// [0, V) are swapped like the others but have no normal to negate.
/// Diagnostics: "meshReverseSelectedWinding: %d triangles" (T), then
/// "  mesh reverse selected winding: %f s".
/// Thread safety: runs on the calling thread; exclusive access to `mesh`.
/// Cost: O(V / 32 + T).
void meshReverseSelectedWinding(CompactMesh& mesh);
}  // namespace oxGeom
