#pragma once
// Copying a part of a mesh into another mesh: listed (or selected) vertices with
// every vertex channel, and listed triangles renumbered to the copied vertices.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshSubset.h>

namespace oxGeom
{
/// Replaces the contents of `destination` with a subset of `source`.
///
/// Inputs: `source` (V vertices, T triangles); `subset`, vertex indices and
/// triangle indices of `source` (lists of any order).
/// Output, `destination` (its listeners stay; everything else is replaced):
/// - vertex i is the subset's i-th listed vertex, with the values of every
///   vertex channel of `source` (positions, normals, UVs, STs, colours and
///   named channels, each with the source's dimension and storeable flag);
///   channels the source lacks are removed;
/// - triangle i is the subset's i-th listed triangle with each corner
///   renumbered to the copied vertex, and the source's triangle normal when the
///   source has triangle normals;
/// - no strips, fans, lines or line strips, and empty selections sized to the
///   new counts; the normals-computed flag is the source's.
/// A notice of type Topology (no remap) marks every channel name of either
/// mesh, other than the positions, through vertexAttribsModified.
/// Incomplete or malformed subsets (a choice made here, so that no triangle
/// ever names a vertex that is not there):
/// - a corner of a listed triangle that the vertex list lacks is appended to
///   the copied vertices, in the order the triangles meet such corners;
/// - a listed triangle with a corner outside [0, V), or a triangle index
///   outside [0, T), is not copied;
/// - a listed vertex outside [0, V) is copied as zero in every channel;
/// - a vertex listed twice is copied twice; corners map to its last copy.
/// Empty input: an empty subset gives an empty mesh that still has the
/// source's channels.
/// Aliasing: `destination` may be `source`.
/// Diagnostics: "MeshExtract:  extracting %d(%d) vertices, %d(%d) triangles"
/// (copied and source vertex counts, copied and source triangle counts), then
/// "  copied triangles: %f s".
/// Thread safety: runs on the calling thread; `source` must not change meanwhile.
/// Cost: O(V + T + copied vertices * channel floats + copied triangles).
void meshExtract(CompactMesh& destination, const CompactMesh& source, const MeshSubset& subset);

/// Extracts the selection of `source`: the selected triangles in ascending
/// order, and as vertices the selected vertices together with every corner of
/// a selected triangle, in ascending order. A selected triangle whose corners
/// are not all selected therefore comes out complete, with those corners added.
/// Selection bits beyond the source's counts are ignored.
/// Otherwise as the subset form (same output, notice and diagnostics).
void meshExtract(CompactMesh& destination, const CompactMesh& source);
}  // namespace oxGeom
