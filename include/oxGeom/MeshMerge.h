#pragma once
// Welding placed meshes into one: the destination mesh and a list of placed
// source meshes become one mesh whose vertices closer than a tolerance (per axis)
// are shared.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshPlacement.h>
#include <oxUtil/Progress.h>

#include <ox/containers.h>

#include <memory>

namespace oxGeom
{
class MeshMergeImpl;

/// Merges placed source meshes into a destination mesh, welding vertices.
///
/// Inputs: `destination`, the mesh that receives the result (its own vertices
/// take part with the identity placement); `sources`, placed meshes (a null
/// mesh contributes nothing; the destination itself may appear); `tolerance`:
/// two placed vertices weld when they differ by at most this much on every axis
/// (a NaN or negative tolerance is taken as 0: only equal positions weld).
///
/// Output (by merge): the destination's positions are the welded vertices, in
/// the order they were first met (the destination's vertices in the interleaved
/// order described at merge, then each source's new ones); its triangles are
/// its own, renumbered, followed by every source's triangles in list order,
/// renumbered and with their corners in stored order (a mirroring placement
/// does not turn them). Triangles that collapse are kept. The destination's own
/// strips, fans, lines and line strips are renumbered with its vertices. Only
/// positions and triangles are merged: the destination's other vertex channels
/// keep their arrays, resized to the new vertex count, but their values no
/// longer belong to the renumbered vertices (recompute or drop them); sources'
/// channels, strips, fans and lines are ignored.
///
/// Placements: a matrix equivalent to the identity within
/// oxLinear::epsilonTolFlt leaves the stored coordinates untouched; any other
/// places each vertex as p * M summed in double and rounded to float.
///
/// Precondition: fewer than 2^29 vertices in all (the k-d tree's index range).
/// Threads: runs on the calling thread; the destination and the sources must
/// not change during merge. Cost: O(N log N) for N vertices in all, plus the
/// triangles; scratch memory about 32 bytes per vertex.
class MeshMerge
{
public:
    /// Records the meshes (not copied; they must outlive the merge object) and
    /// counts their vertices and triangles. Nothing is changed yet.
    MeshMerge(CompactMesh& destination, const ox::list<MeshPlacement>& sources, float tolerance);
    ~MeshMerge();
    MeshMerge(const MeshMerge&) = delete;
    MeshMerge& operator=(const MeshMerge&) = delete;

    /// Welds and merges, then announces a Topology modification (no remap) on
    /// the destination, flagged stripsAndFansModified, linesModified or
    /// lineStripsModified when the destination had those primitives.
    ///
    /// Vertices: every mesh in turn (destination first, then the sources in
    /// list order) is visited in 100 interleaved passes (pass p takes vertices
    /// p, p + 100, p + 200, ...); a placed vertex with no stored vertex within
    /// the tolerance box is stored, so the first vertex met in that order
    /// represents its neighbourhood and the early passes spread over the whole
    /// mesh. Then each mesh's vertices are mapped to the stored vertex found in
    /// their box (the smallest stored index there); a vertex that finds none
    /// (a NaN coordinate) maps to vertex 0, as does a triangle corner outside its
    /// mesh's vertex range.
    ///
    /// Progress: inserting weighs 3/5 and remapping 2/5 of the work, shared
    /// between the meshes by vertex count; merge reports through `progress` but
    /// does not stop when it is cancelled (a half-merged mesh would be worse).
    /// Diagnostics, on the geometry debug channel: "MeshMerge:  %d source
    /// meshes", one line per insert and remap pass of a mesh, "  mergeVertices:
    /// %f s" and "  mergeTriangles: %f s".
    ///
    /// The vertex and triangle counts are taken again here, so meshes changed
    /// between construction and merge are merged as they are now. Calling merge
    /// again merges the sources into the result once more.
    void merge(oxUtil::Progress& progress);

private:
    std::unique_ptr<MeshMergeImpl> m_impl;
};
}  // namespace oxGeom
