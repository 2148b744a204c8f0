// meshRayIntersect: picking by the frustum's centre line. The vertex octree is
// walked front to back over the leaves meeting the frustum and the triangles
// round each leaf's vertices are tried once each, so the search ends early on
// the first hit without a triangle octree.

#include <oxGeom/meshRayIntersect.h>

#include <oxGeom/BitVector.h>
#include <oxGeom/OctreeIterators.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

namespace oxGeom
{
namespace
{
/// The walk's state: visit marks and the picking line.
class PickSearch
{
public:
    PickSearch(const CompactMesh& mesh, const MeshAdjTris& adj, const oxLinear::Line& line)
        : m_mesh(mesh),
          m_adj(adj),
          m_line(line),
          m_visitedVertices(mesh.getNumVertices()),
          m_visitedTriangles(mesh.getNumTriangles())
    {
    }

    /// Tries the unvisited triangles round the unvisited vertices of `leaf`.
    /// Returns the first triangle hit, or -1.
    int searchLeaf(const Octree& octree, const OctreeIterator& leaf, oxLinear::PointFlt& hit)
    {
        const int* pointIndices = octree.getPointIndices();
        const int numVertices = m_mesh.getNumVertices();
        for (int i = leaf.getPointBegin(); i < leaf.getPointEnd(); ++i)
        {
            const int vertex = pointIndices[i];
            if (static_cast<unsigned>(vertex) >= static_cast<unsigned>(numVertices) ||
                m_visitedVertices.isBitSet(vertex))
                continue;
            m_visitedVertices.setBit(vertex);
            const int found = searchVertex(vertex, hit);
            if (found >= 0)
                return found;
        }
        return -1;
    }

private:
    int searchVertex(int vertex, oxLinear::PointFlt& hit)
    {
        const int count = m_adj.numTris(vertex);
        const int* triangles = m_adj.triIndices(vertex);
        const int numTriangles = m_mesh.getNumTriangles();
        for (int k = 0; k < count; ++k)
        {
            const int triangle = triangles[k];
            // Out-of-range entries fail isBitSet's bound and meshRayTriIntersect's.
            if (static_cast<unsigned>(triangle) >= static_cast<unsigned>(numTriangles) ||
                m_visitedTriangles.isBitSet(triangle))
                continue;
            m_visitedTriangles.setBit(triangle);
            if (meshRayTriIntersect(m_mesh, triangle, m_line, hit))
                return triangle;
        }
        return -1;
    }

    const CompactMesh& m_mesh;
    const MeshAdjTris& m_adj;
    const oxLinear::Line& m_line;
    BitVector m_visitedVertices;
    BitVector m_visitedTriangles;
};
}  // namespace

bool meshRayIntersect(const CompactMesh& mesh, const Octree& octree, const MeshAdjTris& adj,
                      const Frustum& frustum, oxLinear::PointFlt& hit, int* triangle)
{
    oxOS::StopWatch watch;
    watch.start();
    const oxLinear::Line line = frustum.getRay();
    PickSearch search(mesh, adj, line);
    for (OctreeIntersectIt it(octree, frustum); it.valid(); it.next())
    {
        oxLinear::PointFlt found;
        const int hitTriangle = search.searchLeaf(octree, it.get(), found);
        if (hitTriangle < 0)
            continue;
        hit = found;
        if (triangle)
            *triangle = hitTriangle;
        const double seconds = watch.stop();
        debugChannel().print("meshRayIntersect:  (%f,%f,%f) %f s\n", double(found[0]),
                             double(found[1]), double(found[2]), seconds);
        return true;
    }
    debugChannel().print("meshRayIntersect:  no intersection %f s\n", watch.stop());
    return false;
}
}  // namespace oxGeom
