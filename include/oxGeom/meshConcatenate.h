#pragma once
// Concatenation of placed meshes into one mesh without welding, and the test of
// which placements mirror space (whose meshes need their winding turned).

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshPlacement.h>
#include <oxString/CString.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Builds in `destination` the concatenation of the placed meshes.
///
/// Inputs: `meshes`, placed meshes (null meshes are skipped, but keep their
/// position in `flipWinding`; the destination itself may be among them);
/// `attributeNames`: the vertex channels to carry, or null for the channels that
/// every mesh carries; `flipWinding`: per list position, true to turn that
/// mesh's triangles (use testDeterminants for the placements that mirror), or
/// null; entries past its end count as false.
///
/// Output: `destination` holds, mesh after mesh in list order, every mesh's
/// vertices and triangles (indices shifted by the vertices before it), and then
/// announces a Topology modification (no remap; stripsAndFansModified when
/// strips or fans were carried). Nothing of its previous content survives:
/// channels outside the carried set, lines, line strips, triangle normals and
/// selections are gone. Channels:
/// - positions are always carried, placed by each mesh's matrix (p * M, summed in
///   double) unless the matrix is equivalent to the identity within
///   oxLinear::epsilonTolFlt, in which case they are copied bit for bit;
/// - the channel named PointMesh::NormalsName is carried by the inverse
///   transpose of the matrix's linear part (not renormalised; a singular matrix
///   leaves the normals as copied);
/// - every other carried channel is copied unchanged. Its dimension and
///   storeable flag come from the first mesh that has it; a mesh without it, or
///   with another dimension, contributes zeros.
/// Triangles of a flipped mesh have corners 0 and 2 exchanged. Strips and fans
/// are carried only when every mesh has at least one strip or fan; they are
/// appended in list order with their indices shifted like the triangles. A
/// flipped mesh's fans keep their hub and list their rim in reverse; its strips
/// of odd length are reversed, and those of even length get their first index
/// doubled (one degenerate triangle) so that every triangle is turned.
///
/// Empty input: an empty list, or one of null meshes only, changes nothing and
/// announces nothing.
/// Threads: runs on the calling thread (large position arrays are transformed
/// on the thread pool by meshTransform); the meshes must not change meanwhile.
/// Cost: O(total vertices * channel floats + triangles + strip and fan points).
void meshConcatenate(CompactMesh& destination, const ox::list<MeshPlacement>& meshes,
                     const ox::set<oxString::CString>* attributeNames,
                     ox::vector<bool>* flipWinding);

/// Tells which placements mirror space.
/// Input: `placements` (the meshes are not read; null ones are fine).
/// Output: `mirrored` gets one entry per placement, in list order: true exactly
/// when the determinant of the matrix's linear part (computed in double) is
/// below 0. A singular matrix (determinant 0) and a matrix with a NaN give false.
/// Empty input: an empty list clears `mirrored`.
/// Threads: calling thread; safe concurrently on distinct outputs. Cost O(n).
void testDeterminants(const ox::list<MeshPlacement>& placements, ox::vector<bool>& mirrored);
}  // namespace oxGeom
