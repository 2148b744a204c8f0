// Per-leaf triangle lists of an octree. Triangles are walked in index order on the pool; runs of
// neighbouring triangles that fit in the leaf visited last skip the octree walk, which is what
// makes the partition cheap on meshes stored in a spatially coherent order.

#include <oxGeom/computeOctreeTris.h>

#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/ThreadPool.h>

#include "boxOverlapKernels.h"
#include "octreePartition.h"

namespace oxGeom
{
namespace
{
// The triangles of a mesh as partition items.
class TriangleItems
{
public:
    explicit TriangleItems(const CompactMesh& mesh)
        : m_vertices(mesh.getVertices()),
          m_triangles(mesh.getTriangles()),
          m_numTriangles(mesh.getNumTriangles()),
          m_numVertices(static_cast<unsigned>(mesh.getNumVertices()))
    {
    }

    int count() const { return m_numTriangles; }

    // A triangle with an index outside the vertex array or a coordinate that is not finite has
    // no box and is listed nowhere.
    bool box(int i, float box[6]) const
    {
        const MeshTriangle& t = m_triangles[i];
        if (static_cast<unsigned>(t[0]) >= m_numVertices ||
            static_cast<unsigned>(t[1]) >= m_numVertices ||
            static_cast<unsigned>(t[2]) >= m_numVertices)
            return false;
        const float* corners[3] = {m_vertices[t[0]].v, m_vertices[t[1]].v, m_vertices[t[2]].v};
        return detail::boxOfFinitePoints(corners, 3, box);
    }

    // Leaf boxes are valid and box(i) has found the corners finite: the kernel needs no checks.
    bool overlaps(int i, const BoundingBox& leafBox) const
    {
        const MeshTriangle& t = m_triangles[i];
        return detail::triangleMeetsBox(leafBox.m_box, m_vertices[t[0]].v, m_vertices[t[1]].v,
                                        m_vertices[t[2]].v);
    }

private:
    const MeshVertex* m_vertices;
    const MeshTriangle* m_triangles;
    int m_numTriangles;
    unsigned m_numVertices;
};

using TriPartitionAlg = detail::OctreePartitionAlg<TriangleItems>;

}  // namespace

void computeOctreeTris(const CompactMesh& mesh, const Octree& octree, OctreeTris& result)
{
    oxOS::StopWatch watch;
    watch.start();
    const int numLeaves = octree.getNumLeaves();
    if (numLeaves < 1)
        return;

    const TriangleItems triangles(mesh);
    TriPartitionAlg alg(octree, triangles);
    oxUtil::ThreadPool::get().run(alg);

    ArrayOfSets sets;
    const detail::PartitionCounts counts = alg.collect(numLeaves, sets);
    OctreeTris partition(sets);
    result.swap(partition);

    const double seconds = watch.stop();
    const int n = mesh.getNumTriangles();
    const double items = detail::printedCount(n);
    // No guard on n: an empty mesh prints not-a-number ratios, which says so plainly.
    debugChannel().print(
        "OctreeTris:  Partitioned %d triangles into %d voxels in %.3f seconds.\n"
        "             (%.2f coherence, %.2f voxels/tri, %.0f tri/sec)\n",
        n, numLeaves, seconds, detail::printedCount(counts.coherentHits) / items,
        detail::printedCount(counts.numPairs) / items, items / seconds);
}
}  // namespace oxGeom
