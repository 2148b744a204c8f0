// Boundary loops: from each vertex not yet visited, follow boundary edges vertex to vertex
// until the walk meets a visited vertex. Every step marks a new vertex, so the walks together
// take at most one step per vertex and always end.

#include <oxGeom/meshComputeBoundary.h>

#include <oxGeom/BitVector.h>

#include <vector>

namespace oxGeom
{
namespace
{
struct BoundaryTables
{
    const CompactMesh& mesh;
    const MeshAdjTris& adj;
    const MeshAdjVertices& adjVertices;
};

// Walks from `start` (already marked visited), appending each next boundary vertex to `loop`
// and stopping after one that was visited before.
void walkLoop(int start, const BoundaryTables& tables, BitVector& visited, std::vector<int>& loop)
{
    const int numVertices = tables.mesh.getNumVertices();
    int next = -1;
    bool found = Boundary::walkBoundary(start, next, tables.mesh, tables.adj, tables.adjVertices);
    while (found)
    {
        // Only a table that does not belong to the mesh can lead outside its vertices; such a
        // vertex could never be marked, so end the walk before it.
        if (static_cast<unsigned>(next) >= static_cast<unsigned>(numVertices))
            return;
        loop.push_back(next);
        if (visited.isBitSet(next))
            return;
        visited.setBit(next);
        found = Boundary::walkBoundary(next, next, tables.mesh, tables.adj, tables.adjVertices);
    }
}
}  // namespace

void meshComputeBoundary(const CompactMesh& mesh, const MeshAdjTris& adj,
                         const MeshAdjVertices& adjVertices, MeshBoundaries& result)
{
    const int numVertices = mesh.getNumVertices();
    const BoundaryTables tables{mesh, adj, adjVertices};
    BitVector visited(numVertices);
    std::vector<int> lengths;
    std::vector<int> vertices;
    std::vector<int> loop;
    for (int v = 0; v < numVertices; ++v)
    {
        if (visited.isBitSet(v))
            continue;
        visited.setBit(v);
        loop.clear();
        walkLoop(v, tables, visited, loop);
        if (loop.empty())
            continue;
        lengths.push_back(static_cast<int>(loop.size()));
        vertices.insert(vertices.end(), loop.begin(), loop.end());
    }
    result.assign(lengths, vertices);
}
}  // namespace oxGeom
