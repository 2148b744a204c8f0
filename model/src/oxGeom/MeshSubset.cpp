// MeshSubset: two copied index lists. A null array or a negative count reads as an
// empty list, so a subset built from a host's partial data never reads past it.

#include "oxGeom/MeshSubset.h"

namespace oxGeom
{
namespace
{
ox::vector<int> copyList(int count, const int* values)
{
    if (!values || count <= 0)
        return {};
    return ox::vector<int>(values, values + count);
}
}  // namespace

MeshSubset::MeshSubset(int numVertices, const int* vertices, int numTriangles, const int* triangles)
    : m_vertices(copyList(numVertices, vertices)), m_triangles(copyList(numTriangles, triangles))
{
}
}  // namespace oxGeom
