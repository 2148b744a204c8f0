// meshClosestVertex2: nearest vertex by a best-first walk over the vertex octree, stopping at
// the first leaf whose box is no nearer than the best vertex; each vertex is measured once.

#include <oxGeom/meshClosestPoint.h>

#include <oxGeom/BitVector.h>
#include <oxGeom/OctreeIterators.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <cfloat>

namespace oxGeom
{
namespace
{
double vertexDistance2(const float* vertex, const oxLinear::Point& p)
{
    const double dx = vertex[0] - p[0];
    const double dy = vertex[1] - p[1];
    const double dz = vertex[2] - p[2];
    return dx * dx + dy * dy + dz * dz;
}
}  // namespace

double meshClosestVertex2(const CompactMesh& mesh, const Octree& octree, const oxLinear::Point& p)
{
    oxOS::StopWatch watch;
    watch.start();
    const int numVertices = mesh.getNumVertices();
    const float* vertices = mesh.getVerticesRaw();
    const int* pointIndices = octree.getPointIndices();
    const oxLinear::PointFlt pFlt(p);
    BitVector visited(numVertices);

    double best2 = DBL_MAX;
    for (OctreeClosestIt walk(octree, p); walk.valid(); walk.next())
    {
        const OctreeIterator leaf = walk.get();
        if (leaf.getBox().distance2(pFlt) >= best2)
            break;
        const int end = leaf.getPointEnd();
        for (int k = leaf.getPointBegin(); k < end; ++k)
        {
            const int v = pointIndices[k];
            if (static_cast<unsigned>(v) >= static_cast<unsigned>(numVertices) ||
                visited.isBitSet(v))
                continue;
            visited.setBit(v);
            const double d2 = vertexDistance2(vertices + 3 * static_cast<long long>(v), p);
            if (d2 < best2)
                best2 = d2;
        }
    }
    debugChannel().print("   meshClosestVertex: %f s\n", watch.stop());
    return best2;
}
}  // namespace oxGeom
