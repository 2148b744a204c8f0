// The triangle across one edge of a triangle: scans the triangles around the edge's first
// vertex for one that also touches the second vertex. Adjacency lists are in ascending order,
// so on a non-manifold edge the lowest-index neighbour is found first.

#include <oxGeom/meshAdjacency.h>

namespace oxGeom
{
bool getSharedEdgeAdjacentTriangle(const int& tri, int edge, const MeshTriangle* triangles,
                                   const MeshAdjTris& adj, int& otherTri, int& otherCorner)
{
    otherCorner = -1;
    if (tri < 0 || edge < 0 || edge > 2 || !triangles)
        return false;
    const int a = triangles[tri][edge];
    const int b = triangles[tri][(edge + 1) % 3];
    const int* around = adj.triIndices(a);
    const int count = adj.numTris(a);
    for (int i = 0; i < count; ++i)
    {
        const int s = around[i];
        if (s == tri)
            continue;
        for (int c = 0; c < 3; ++c)
        {
            if (triangles[s][c] == b)
            {
                otherCorner = c;
                otherTri = s;
                return true;
            }
        }
    }
    return false;
}
}  // namespace oxGeom
