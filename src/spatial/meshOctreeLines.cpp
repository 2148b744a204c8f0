// Per-leaf line lists of an octree: the triangle partition's walk and coherence cache applied to
// a mesh's line segments, with the segment-box overlap test deciding which visited leaves a
// segment touches.

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
// The line segments of a mesh as partition items.
class LineItems
{
public:
    explicit LineItems(const CompactMesh& mesh)
        : m_vertices(mesh.getVertices()),
          m_lines(mesh.getLines()),
          m_numLines(mesh.getNumLines()),
          m_numVertices(static_cast<unsigned>(mesh.getNumVertices()))
    {
    }

    int count() const { return m_numLines; }

    // The box spanned by the two end points; a line with an index outside the vertex array or a
    // coordinate that is not finite has none and is listed nowhere.
    bool box(int i, float box[6]) const
    {
        const MeshLine& line = m_lines[i];
        if (static_cast<unsigned>(line[0]) >= m_numVertices ||
            static_cast<unsigned>(line[1]) >= m_numVertices)
            return false;
        const float* ends[2] = {m_vertices[line[0]].v, m_vertices[line[1]].v};
        return detail::boxOfFinitePoints(ends, 2, box);
    }

    // Leaf boxes are valid and box(i) has found the corners finite: the kernel needs no checks.
    bool overlaps(int i, const BoundingBox& leafBox) const
    {
        const MeshLine& line = m_lines[i];
        return detail::segmentMeetsBox(leafBox.m_box, m_vertices[line[0]].v, m_vertices[line[1]].v);
    }

private:
    const MeshVertex* m_vertices;
    const MeshLine* m_lines;
    int m_numLines;
    unsigned m_numVertices;
};

using LinePartitionAlg = detail::OctreePartitionAlg<LineItems>;
}  // namespace

void meshOctreeLines(const CompactMesh& mesh, const Octree& octree, OctreeLines& result)
{
    oxOS::StopWatch watch;
    watch.start();
    const int numLeaves = octree.getNumLeaves();
    if (numLeaves < 1)
        return;

    const LineItems lines(mesh);
    LinePartitionAlg alg(octree, lines);
    oxUtil::ThreadPool::get().run(alg);

    ArrayOfSets sets;
    const detail::PartitionCounts counts = alg.collect(numLeaves, sets);
    OctreeLines partition(sets);
    result.swap(partition);

    const double seconds = watch.stop();
    const int n = mesh.getNumLines();
    const double items = detail::printedCount(n);
    // The rate keeps the word "tri/sec" that the triangle line uses, although it counts lines.
    debugChannel().print(
        "OctreeLines:  Partitioned %d lines into %d voxels in %.3f seconds.\n"
        "             (%.2f coherence, %.2f duplication, %.0f tri/sec)\n",
        n, numLeaves, seconds, detail::printedCount(counts.coherentHits) / items,
        detail::printedCount(counts.numPairs) / items, items / seconds);
}
}  // namespace oxGeom
