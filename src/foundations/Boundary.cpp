// Directed-edge tests for the boundary walk. An edge a -> b of a triangle lies on the boundary
// when no triangle holds the reverse edge b -> a; the walk reads both directions from the
// vertex -> triangle table instead of building an edge map.

#include <oxGeom/meshComputeBoundary.h>

namespace oxGeom
{
namespace
{
bool isTriangleOf(const CompactMesh& mesh, int t)
{
    return static_cast<unsigned>(t) < static_cast<unsigned>(mesh.getNumTriangles());
}

const int* trianglePointer(const CompactMesh& mesh, int t)
{
    return mesh.getTrianglesRaw() + 3 * t;
}

// A vertex whose neighbour count differs from its triangle count cannot be surrounded by one
// closed fan (there a vertex has as many neighbours as triangles), so a boundary may pass it.
bool isBoundaryCandidate(int v, const MeshAdjTris& adj, const MeshAdjVertices& adjVertices)
{
    return adjVertices.numNeighbours(v) != adj.numTris(v);
}
}  // namespace

int Boundary::findEdge(int vertex, const int* triangle)
{
    for (int k = 0; k < 3; ++k)
    {
        if (triangle[k] == vertex)
            return triangle[(k + 1) % 3];
    }
    return -1;
}

bool Boundary::hasEdge(const CompactMesh& mesh, const MeshAdjTris& adj, int a, int b)
{
    const int* around = adj.triIndices(b);
    const int count = adj.numTris(b);
    for (int i = 0; i < count; ++i)
    {
        // Entries naming no triangle of the mesh come only from a stale table; skip them
        // rather than read past the triangle array.
        if (isTriangleOf(mesh, around[i]) && findEdge(b, trianglePointer(mesh, around[i])) == a)
            return true;
    }
    return false;
}

bool Boundary::walkBoundary(int vertex, int& next, const CompactMesh& mesh, const MeshAdjTris& adj,
                            const MeshAdjVertices& adjVertices)
{
    const int* around = adj.triIndices(vertex);
    const int count = adj.numTris(vertex);
    for (int i = 0; i < count; ++i)
    {
        if (!isTriangleOf(mesh, around[i]))
            continue;
        const int n = findEdge(vertex, trianglePointer(mesh, around[i]));
        next = n;
        if (isBoundaryCandidate(n, adj, adjVertices) && !hasEdge(mesh, adj, vertex, n))
            return true;
    }
    return false;
}
}  // namespace oxGeom
