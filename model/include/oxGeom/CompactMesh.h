#pragma once
// The indexed triangle mesh that every algorithm of the library works on:
// the vertex data of PointMesh plus the primitives that index it (triangles,
// triangle strips and fans, lines and line strips) and the triangle selection.

#include <oxGeom/ArrayAllocator.h>
#include <oxGeom/BitVector.h>
#include <oxGeom/MeshElements.h>
#include <oxGeom/PointMesh.h>

#include <cstddef>

namespace oxGeom
{
/// An indexed mesh. Primitive arrays hold vertex indices; the mesh does not
/// check them (algorithms that read indices check their own bounds where a bad
/// index could make them read outside an array).
///
/// Arrays and counts:
/// - triangles: getNumTriangles() MeshTriangle records; optional triangle
///   normals (one per triangle, null when absent); the triangle selection, one
///   bit per triangle, kept sized by resizeTriangleArray (kept bits survive,
///   new ones are clear).
/// - triangle strips and triangle fans: a lengths array (one vertex count per
///   strip or fan) and a flat points array of vertex indices, strip after strip.
/// - lines: getNumLines() MeshLine records.
/// - line strips: lengths, flat points, and a start table derived from the
///   lengths (see getLineStripStarts).
/// Resizing keeps the entries below the new size and zero-fills new ones. The
/// array pointers of an empty array may be null.
///
/// Copies are deep and start without listeners; assignment keeps the target's
/// listeners and array allocator. No operation here emits a modification:
/// the editing code calls modified() once it is done.
///
/// Thread safety: const members may be called from any number of threads,
/// except getLineStripStarts while the start table is stale (see there).
/// Writes need exclusive access.
class CompactMesh : public PointMesh
{
public:
    /// An empty mesh.
    CompactMesh();

    /// A mesh of `n` vertices (negative n gives 0) and no primitives.
    /// Inputs: `vertices` (n positions; null gives zero positions), `normals`,
    /// `uvs` (n each), `colours` (n each). A null normal, UV or colour array
    /// leaves that channel absent. Colours are stored in the ColoursName
    /// channel as 4 floats in [0, 1] (each byte divided by 255), so they travel
    /// with the other channels through copies and extractions.
    /// Cost O(n).
    CompactMesh(int n, const MeshVertex* vertices, const MeshNormal* normals, const MeshUV* uvs,
                const MeshColour* colours);

    /// Deep copy; allocates through the source's array allocator.
    CompactMesh(const CompactMesh& other);
    /// Deep copy into this mesh's array allocator; listeners stay; no signal.
    CompactMesh& operator=(const CompactMesh& other);
    /// Takes the data of `other`, which is left empty; listeners stay with
    /// `other` (the new mesh starts with none).
    CompactMesh(CompactMesh&& other);
    /// Exchanges the data with `other` (as swap): `other` is left with this
    /// mesh's former data. Listeners stay; no signal.
    CompactMesh& operator=(CompactMesh&& other) noexcept;
    ~CompactMesh() override;

    /// Exchanges all mesh data (vertex channels, primitives, selections, flags
    /// and array allocators) with `other` in O(number of arrays). Listeners stay
    /// with their object; no signal is emitted. Used to publish a result built
    /// in a scratch mesh in one step.
    void swap(CompactMesh& other) noexcept;

    // ---- triangles ----

    int getNumTriangles() const { return m_triangles.size(); }
    MeshTriangle* getTriangles() { return m_triangles.data(); }
    const MeshTriangle* getTriangles() const { return m_triangles.data(); }
    /// The same array as 3 * getNumTriangles() ints.
    int* getTrianglesRaw() { return reinterpret_cast<int*>(m_triangles.data()); }
    const int* getTrianglesRaw() const { return reinterpret_cast<const int*>(m_triangles.data()); }
    /// Sets the triangle count to `n` (negative gives 0); the triangle normals
    /// (when present) and the triangle selection follow. New triangles are
    /// (0, 0, 0), new normals zero, new selection bits clear.
    void resizeTriangleArray(int n);
    /// Sets the triangle count to `n` and copies 3n indices from `indices`
    /// (null gives zero triangles records). `indices` may point into this
    /// mesh's own triangles.
    void copyTriangles(int n, const int* indices);

    /// The triangle normals, or null when absent.
    MeshNormal* getTriangleNormals() { return m_triangleNormals.data(); }
    const MeshNormal* getTriangleNormals() const { return m_triangleNormals.data(); }
    float* getTriangleNormalsRaw() { return reinterpret_cast<float*>(m_triangleNormals.data()); }
    const float* getTriangleNormalsRaw() const
    {
        return reinterpret_cast<const float*>(m_triangleNormals.data());
    }
    /// Makes the triangle normals present (zero, one per triangle) and returns
    /// them; existing triangle normals are kept.
    MeshNormal* allocTriangleNormalArray();
    void deleteTriangleNormals() { m_triangleNormals.release(); }

    // ---- selection ----

    /// One bit per triangle.
    BitVector& getSelectedTriangles() { return m_selectedTriangles; }
    const BitVector& getSelectedTriangles() const { return m_selectedTriangles; }
    /// Clears every bit of both the vertex and the triangle selection (sizes
    /// are unchanged).
    void clearSelection();

    // ---- triangle strips and fans ----

    int getNumTriStrips() const { return m_triStripLengths.size(); }
    int getNumTriStripPoints() const { return m_triStripPoints.size(); }
    int* getTriStripLengths() { return m_triStripLengths.data(); }
    const int* getTriStripLengths() const { return m_triStripLengths.data(); }
    int* getTriStripPoints() { return m_triStripPoints.data(); }
    const int* getTriStripPoints() const { return m_triStripPoints.data(); }
    /// Sizes the strip lengths to `numStrips` and the flat points to
    /// `numPoints` (negative counts give 0). The caller fills both so that the
    /// lengths add up to the point count.
    void resizeTriStripArrays(int numStrips, int numPoints);

    int getNumTriFans() const { return m_triFanLengths.size(); }
    int getNumTriFanPoints() const { return m_triFanPoints.size(); }
    int* getTriFanLengths() { return m_triFanLengths.data(); }
    const int* getTriFanLengths() const { return m_triFanLengths.data(); }
    /// Each fan's points start with its hub.
    int* getTriFanPoints() { return m_triFanPoints.data(); }
    const int* getTriFanPoints() const { return m_triFanPoints.data(); }
    /// As resizeTriStripArrays, for fans.
    void resizeTriFanArrays(int numFans, int numPoints);

    // ---- lines ----

    int getNumLines() const { return m_lines.size(); }
    MeshLine* getLines() { return m_lines.data(); }
    const MeshLine* getLines() const { return m_lines.data(); }
    /// Sets the line count (negative gives 0); new lines are (0, 0).
    void resizeLineArray(int n);

    int getNumLineStrips() const { return m_lineStripLengths.size(); }
    int getNumLineStripPoints() const { return m_lineStripPoints.size(); }
    /// The lengths, writable. Handing them out marks the start table stale.
    int* getLineStripLengths();
    const int* getLineStripLengths() const { return m_lineStripLengths.data(); }
    int* getLineStripPoints() { return m_lineStripPoints.data(); }
    const int* getLineStripPoints() const { return m_lineStripPoints.data(); }
    /// Where each line strip starts in the flat points: getNumLineStrips() + 1
    /// entries; strip i is points [starts[i], starts[i + 1]). Entry 0 is 0 and
    /// each next entry adds the strip's length, with a negative length counted
    /// as 0 and every entry capped at getNumLineStripPoints(), so the ranges
    /// never leave the points array even when the lengths are inconsistent.
    /// The table is rebuilt from the lengths on the first call after they were
    /// handed out for writing (getLineStripLengths) or resized. That rebuild
    /// writes the table, so the first call after such a change must not run
    /// concurrently with another; later calls are plain reads.
    /// Cost O(numStrips) for a rebuild, else O(1).
    const int* getLineStripStarts() const;
    /// Sizes the strip lengths to `numStrips` and the flat points to
    /// `numPoints` (negative counts give 0); the start table follows.
    void resizeLineStripArrays(int numStrips, int numPoints);

    // ---- counts and storage ----

    /// The number of triangles the mesh describes: its triangles plus
    /// length - 2 for each strip and each fan of at least 3 points. Lines and
    /// line strips are not polygons. O(strips + fans).
    int getNumPolys() const;

    /// Bytes held by this mesh: the object and every array it owns.
    std::size_t getSizeInBytes() const override;

    /// As PointMesh::setArrayAllocator, for the primitive arrays as well.
    void setArrayAllocator(ox::Reference<ArrayAllocator> allocator) override;

private:
    void rebuildLineStripStarts() const;

    MeshArray<MeshTriangle> m_triangles;
    MeshArray<MeshNormal> m_triangleNormals;
    BitVector m_selectedTriangles;
    MeshArray<int> m_triStripLengths;
    MeshArray<int> m_triStripPoints;
    MeshArray<int> m_triFanLengths;
    MeshArray<int> m_triFanPoints;
    MeshArray<MeshLine> m_lines;
    MeshArray<int> m_lineStripLengths;
    MeshArray<int> m_lineStripPoints;
    mutable MeshArray<int> m_lineStripStarts;
    mutable bool m_lineStripStartsStale = true;
};

inline void swap(CompactMesh& a, CompactMesh& b) noexcept
{
    a.swap(b);
}
}  // namespace oxGeom
