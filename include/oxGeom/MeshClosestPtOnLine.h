#pragma once
// Nearest points restricted to a line of mesh vertices: MeshSequence, an ordered run of vertex
// indices (open or closed), and MeshClosestPtOnLine, which snaps a query point to the nearest
// point of the mesh edges that join consecutive vertices of such a run.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshCoord.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>

#include <ox/Reference.h>
#include <ox/containers.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// An ordered sequence of vertex indices forming a line on a mesh, open or closed.
///
/// Consecutive vertices: entries i and i + 1 of the sequence; in a closed sequence of at least
/// three entries also the last and the first entry (a closed sequence of two entries has only
/// its one segment). Line segments are the pairs of consecutive vertices.
///
/// Vertex -> position map: for a mesh of V vertices, entry v is the position of vertex v in the
/// sequence, -1 when v is not on it. A vertex listed more than once keeps its first position,
/// and segmentIndex finds segments through that first occurrence only. Indices outside [0, V)
/// are left out of the map. The map is built on the first call of getPositions(V) and cached;
/// a call with another V rebuilds it.
///
/// Polymorphic: a subclass may serve the map from elsewhere by overriding getPositions (for
/// instance from a line structure that already keeps one).
/// Thread safety: const members other than getPositions are safe from any number of threads;
/// getPositions fills its cache on first use, so call it once before sharing the sequence.
/// Cost: getPositions O(V + size) when it (re)builds, O(1) after; others O(1).
class MeshSequence
{
public:
    /// The empty open sequence.
    MeshSequence() = default;
    /// The sequence `vertices` in that order; `closed` joins the last vertex back to the first.
    MeshSequence(ox::vector<int> vertices, bool closed);
    virtual ~MeshSequence() = default;

    /// Number of entries.
    int size() const { return static_cast<int>(m_vertices.size()); }
    /// Entry i (0 <= i < size()); -1 for an index out of range.
    int getVertex(int i) const;
    /// The entries.
    const ox::vector<int>& getVertices() const { return m_vertices; }
    /// Whether the last entry is joined to the first (see the class notes).
    bool isClosed() const { return m_closed; }
    /// Number of segments: size() - 1 for an open sequence (0 when empty), size() for a closed
    /// one of at least three entries.
    int numSegments() const;

    /// The vertex -> position map for a mesh of `numVertices` vertices (class notes); a negative
    /// count gives an empty map.
    virtual const ox::vector<int>& getPositions(int numVertices) const;

    /// The segment joining the vertices at positions `a` and `b` (either order): segment i runs
    /// from entry i to entry i + 1 (the closing segment of a closed sequence is size() - 1, from
    /// the last entry to the first). Returns -1 when the positions are not consecutive or one is
    /// negative or out of range.
    int segmentIndex(int a, int b) const;

private:
    ox::vector<int> m_vertices;
    bool m_closed = false;
    mutable ox::vector<int> m_positions;
    mutable int m_positionsFor = -1;
};

/// The nearest point to a query that lies on the edges of a MeshSequence.
///
/// Inputs (constructor): `mesh` (V vertices, T triangles), `adj`, its meshAdjTris table, and
/// `line`, a sequence of the mesh's vertices. All three are held by reference and must outlive
/// the object unchanged (the object works on the given mesh itself, not a copy). Construction
/// copies the line's position map (line.getPositions(V)), so later changes of the line's cache
/// do not reach a built object, and builds the object's own vertex Octree (leaf size 16, mesh
/// bounds, tiling) and its OctreeTris (computeOctreeTris), which it owns; the bounding box and
/// the partition print their usual diagnostic lines.
///
/// Thread safety: operator() only reads, so one object may serve several threads once built.
/// Cost: construction O(V * octree depth + T); see operator().
class MeshClosestPtOnLine
{
public:
    MeshClosestPtOnLine(const CompactMesh& mesh, const MeshAdjTris& adj, const MeshSequence& line);

    /// Snaps `p` to the line.
    ///
    /// Input: the query point `p`.
    /// Output: a MeshCoord on a triangle holding the nearest line segment found, weights 1 - t
    /// and t on the segment's two corners and 0 on the third, t in [0, 1] being where the
    /// nearest point lies along the segment (a nearest point beyond either end is clamped to
    /// that end). Equally near segments: the first met is kept.
    /// How: c = meshClosestPoint(mesh, octree, adj, p) is the unrestricted nearest point. The
    /// box spanned by p and c, grown on every side by half its diagonal, bounds the search:
    /// every triangle listed in an octree leaf meeting the box has its edges that join
    /// consecutive line vertices measured. When that grown box's diagonal is below
    /// oxLinear::epsilonTolFlt (p lies on the surface at c), p snaps instead to the last corner
    /// of c's triangle that lies on the line: the first triangle adjacent to that vertex, weight
    /// 1 on its corner there (weights 0, 0, 1 on triangle 0 if the vertex has no triangle).
    /// Empty or degenerate input: the invalid coordinate (triangle -1) when the mesh has no
    /// usable triangle, when no triangle listed in the leaves meeting the search box holds a
    /// line segment, or when p is on the surface and c's triangle has no corner on the line. The
    /// leaves may reach beyond the box, so a segment outside it can be returned; the nearest
    /// segment is certain to be found when its nearest point to p lies in the box.
    /// Thread safety: reads only.
    /// Cost: one meshClosestPoint (O(V + T) for its marks and longest edge) plus the leaves
    /// meeting the box.
    MeshCoord operator()(const oxLinear::Point& p) const;

private:
    const CompactMesh& m_mesh;
    const MeshAdjTris& m_adj;
    const MeshSequence& m_line;
    ox::vector<int> m_positions;
    ox::Reference<Octree> m_octree;
    ox::Reference<OctreeTris> m_tris;
};
}  // namespace oxGeom
