#pragma once
// A subset of a mesh named by index lists: some of its vertices and some of its
// triangles. Extraction copies such a subset into another mesh; holders share one
// subset through ox::Reference.

#include <ox/Reference.h>
#include <ox/containers.h>

namespace oxGeom
{
/// A list of vertex indices and a list of triangle indices of one mesh.
///
/// The lists are copied at construction and kept in the order given; the
/// subset does not check them against any mesh (the functions that read a
/// subset check their own bounds). Reference-counted (ox::RefCounted), so an
/// ox::Reference<MeshSubset> may share it.
///
/// Thread safety: const members may be called from any number of threads.
class MeshSubset : public ox::RefCounted
{
public:
    /// The empty subset.
    MeshSubset() = default;
    /// Inputs: `numVertices` indices at `vertices`, `numTriangles` indices at
    /// `triangles`. A negative count, or a null array, gives an empty list.
    /// Cost O(numVertices + numTriangles).
    MeshSubset(int numVertices, const int* vertices, int numTriangles, const int* triangles);

    int getNumVertices() const { return static_cast<int>(m_vertices.size()); }
    /// The vertex indices, getNumVertices() of them; null when there are none.
    const int* getVertices() const { return m_vertices.empty() ? nullptr : m_vertices.data(); }

    int getNumTriangles() const { return static_cast<int>(m_triangles.size()); }
    /// The triangle indices, getNumTriangles() of them; null when there are none.
    const int* getTriangles() const { return m_triangles.empty() ? nullptr : m_triangles.data(); }

private:
    ox::vector<int> m_vertices;
    ox::vector<int> m_triangles;
};
}  // namespace oxGeom
