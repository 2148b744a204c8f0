#pragma once
// Growing and converting the selections of a mesh: lasso selection of vertices
// through a projection, triangles from vertices and back, growth over shared
// vertices, inversion; and the 2-D point-in-polygon test the lasso rests on.

#include <oxGeom/BitVector.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshElements.h>
#include <oxLinear/Point.h>
#include <oxLinear/ProjMatrix.h>

#include <ox/containers.h>

namespace oxGeom
{
/// Tests whether a 2-D point lies inside a closed polygon (even-odd rule).
///
/// Inputs: `point`, 2 floats (x, y); `polygon`, count + 1 points of 2 floats
/// each (2 * (count + 1) floats), the last repeating the first so that edge i
/// runs from point i to point i + 1; `count`, the number of distinct points.
/// Output: true when a ray from `point` towards +x crosses the polygon's edges
/// an odd number of times. Self-intersecting polygons follow the same rule, so
/// a region wound twice counts as outside.
/// Boundary: an edge counts as crossed when exactly one of its ends lies
/// strictly above the point's y (half-open in y), so a point on a shared
/// vertex or horizontal edge is counted once, and of two polygons tiling the
/// plane along an edge exactly one holds a point on that edge.
/// Empty or degenerate input: count < 3, a null `polygon` or a null `point`
/// gives false; NaN coordinates give false.
/// Thread safety: reentrant. Cost: O(count).
bool pointPolygonIntersect2D(const float* point, const float* polygon, int count);

/// Edits a triangle selection and a vertex selection of one mesh.
///
/// Holds references to the mesh, its vertex -> triangle table (meshAdjTris of
/// the same mesh) and the two selections, and the raw triangle and position
/// arrays taken at construction; it owns none of them.
///
/// Lazy sizing: every operation (and getSelectedVertices / getSelectedTriangles)
/// first resizes a selection whose size differs from the mesh's vertex or
/// triangle count; kept bits keep their value, new bits are clear.
///
/// Each operation except invertTriangleSelection prints an entry line and a
/// timing line with the selection's count of set bits to the geometry debug
/// channel.
///
/// Preconditions: the mesh, the table and the selections outlive the object,
/// and the mesh's triangle and vertex arrays are not reallocated while it is
/// used. Corner indices outside [0, vertex count) are never used to index an
/// array: such a corner counts as unselected and is not selected.
/// Thread safety: one thread at a time; none of the operations is threaded.
class MeshSelect
{
public:
    /// Edits the mesh's own selections (getSelectedTriangles of the mesh and
    /// getSelectedVertices of its PointMesh part).
    MeshSelect(CompactMesh& mesh, const MeshAdjTris& adjacency);
    /// Edits caller-owned selections of `mesh`, which is only read.
    MeshSelect(const CompactMesh& mesh, const MeshAdjTris& adjacency, BitVector& triangleSelection,
               BitVector& vertexSelection);

    MeshSelect(const MeshSelect&) = delete;
    MeshSelect& operator=(const MeshSelect&) = delete;

    /// The vertex selection, first resized to the vertex count if it differs.
    BitVector& getSelectedVertices();
    /// The triangle selection, first resized to the triangle count if it differs.
    BitVector& getSelectedTriangles();

    /// Lasso selection: adds every vertex whose projection lies inside
    /// `polygon`; never clears a bit.
    /// Inputs: `projection` (row-vector convention, converted to single
    /// precision first); `polygon`, k points of which x and y are used (z is
    /// ignored), closed from the last point back to the first.
    /// Each vertex (x, y, z) maps to (X / W, Y / W) with
    /// X = x M[0][0] + y M[1][0] + z M[2][0] + M[3][0], Y likewise with column 1
    /// and W with column 3; W is not tested (W = 0 gives an infinite or NaN
    /// point, which pointPolygonIntersect2D rejects).
    /// Empty input: a polygon of fewer than 3 points selects nothing.
    /// Diagnostics: "MeshSelect::selectVertices: vertices(%d) triangles(%d)" then
    /// "  selected vertices(%d): %f s".
    /// Cost: O(V k) for V vertices.
    void selectVertices(const oxLinear::ProjMatrix& projection,
                        const ox::vector<oxLinear::Point>& polygon);

    /// Clears the triangle selection, then selects each triangle with at least
    /// `minSelectedCorners` selected corners (a vertex named at two corners
    /// counts twice). minSelectedCorners <= 0 selects every triangle.
    /// Diagnostics: "MeshSelect::selectedTrianglesFromVertices()" then
    /// "  selected triangles(%d): %f s". Cost O(T).
    void selectTrianglesFromVertices(int minSelectedCorners);

    /// Clears the triangle selection, then selects each triangle with any
    /// selected corner.
    /// Diagnostics: "MeshSelect::selectAllTrianglesFromVertices()" then
    /// "  selected triangles(%d): %f s". Cost O(T).
    void selectAllTrianglesFromVertices();

    /// Clears the vertex selection, then selects the corners of every selected
    /// triangle, so the vertex selection becomes exactly those corners.
    /// Diagnostics: "MeshSelect::selectVerticesFromTriangles()" then
    /// "  selected vertices(%d): %f s". Cost O(V / 32 + T).
    void selectVerticesFromTriangles();

    /// Grows the triangle selection over shared vertices: with `oneRingOnly`
    /// by the triangles sharing a vertex with a selected triangle, otherwise to
    /// every triangle vertex-connected to the selection. Uses the adjacency
    /// table; entries naming no triangle of the mesh are skipped.
    /// Diagnostics: "MeshSelect::selectTrianglesRecursive()" then "   %f s".
    /// Cost: O(T + sum of the valences visited); a stack of T ints.
    void selectTrianglesRecursive(bool oneRingOnly);

    /// Flips every bit of the triangle selection. No diagnostics. Cost O(T / 32).
    void invertTriangleSelection();

private:
    /// Sets the bit of every triangle that the adjacency table lists at `vertex`.
    void selectTrisAdjacentToVert(int vertex, BitVector& triangles);

    const CompactMesh& m_mesh;
    const MeshAdjTris& m_adjacency;
    BitVector& m_triangleSelection;
    BitVector& m_vertexSelection;
    const MeshTriangle* m_triangles;
    const MeshVertex* m_vertices;
};
}  // namespace oxGeom
