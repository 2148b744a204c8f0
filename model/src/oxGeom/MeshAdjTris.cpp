// MeshAdjTris: the vertex -> triangle table. The fan copy optionally renumbers
// through a triangle table, which lets code that renumbered triangles keep
// reading an adjacency built before the renumbering without rebuilding it.

#include "oxGeom/MeshAdjTris.h"

namespace oxGeom
{
int MeshAdjTris::copyTriangles(int v, int* out, const int* triangleMap) const
{
    const int count = numTris(v);
    if (!out || count == 0)
        return 0;
    const int* tris = triIndices(v);
    for (int k = 0; k < count; ++k)
        out[k] = triangleMap ? triangleMap[tris[k]] : tris[k];
    return count;
}
}  // namespace oxGeom
