// Orders the triangles around a vertex into fans by following consistently wound neighbours
// across the edge from the vertex to the previous corner. A selection sort by swaps: valences
// are small, and the search keeps the input order wherever a fan breaks.

#include <oxGeom/meshAdjacency.h>

#include <utility>

namespace oxGeom
{
namespace
{
// First corner of `triangle` holding `vertex`, or -1.
int cornerOf(int vertex, const MeshTriangle& triangle)
{
    for (int k = 0; k < 3; ++k)
    {
        if (triangle[k] == vertex)
            return k;
    }
    return -1;
}

bool holdsDirectedEdge(const MeshTriangle& triangle, int from, int to)
{
    for (int k = 0; k < 3; ++k)
    {
        if (triangle[k] == from && triangle[(k + 1) % 3] == to)
            return true;
    }
    return false;
}

// Position in sorted[first, end) of the first triangle holding the directed edge
// (vertex -> previous), or end when there is none.
int findContinuation(const int* sorted, int first, int end, int vertex, int previous,
                     const MeshTriangle* triangles)
{
    for (int j = first; j < end; ++j)
    {
        if (holdsDirectedEdge(triangles[sorted[j]], vertex, previous))
            return j;
    }
    return end;
}
}  // namespace

void sortAdjTris(int vertex, int count, const int* tris, const MeshTriangle* triangles,
                 ox::vector<int>& sorted)
{
    sorted.clear();
    if (count <= 0 || !tris)
        return;
    sorted.assign(tris, tris + count);
    int* order = sorted.data();
    for (int i = 0; i + 1 < count; ++i)
    {
        const MeshTriangle& current = triangles[order[i]];
        const int k = cornerOf(vertex, current);
        if (k < 0)
            continue;
        const int previous = current[(k + 2) % 3];
        const int j = findContinuation(order, i + 1, count, vertex, previous, triangles);
        if (j < count && j != i + 1)
            std::swap(order[i + 1], order[j]);
    }
}
}  // namespace oxGeom
