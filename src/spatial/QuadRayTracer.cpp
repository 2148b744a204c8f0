// QuadRayTracer: four-ray packets cast into a mesh by walking the octree leaves their live rays
// meet and testing each listed triangle once per packet (per-triangle visit stamps) with the
// four-lane test, until every lane has terminated or no leaf is left.
// Based on: Wald, Slusallek, Benthin and Wagner 2001 (ray packets); Moeller and Trumbore 1997.

#include <oxGeom/QuadRay.h>

#include "QuadLanes.h"
#include "QuadRayWalk.h"
#include "occupiedNodes.h"

#include <algorithm>
#include <functional>

namespace oxGeom
{
namespace
{
/// Entries per run of a leaf's list. Eight keeps the box overhead at a quarter of a triangle
/// test per entry while still letting packets pass over most of a leaf.
constexpr int runLength = 8;
}  // namespace

QuadRayTracer::QuadRayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh)
    : OctreeQuadRayIntersectIt(octree), m_tris(tris)
{
    if (mesh != nullptr)
    {
        m_vertices = mesh->getVertices();
        m_triangles = mesh->getTriangles();
        m_numTriangles = mesh->getNumTriangles();
        m_numVertices = mesh->getNumVertices();
    }
    m_marks.reset(new std::uint32_t[static_cast<std::size_t>(m_numTriangles)]());
    // The walk skips subtrees without listed triangles: a tiled octree fills the space around
    // a surface with empty cells, and rays that cross it (into a closed surface, over a terrain)
    // would otherwise visit them all.
    detail::markOccupiedNodes(octree, tris, m_occupied);
    const int leaves = tris.getNumLeaves();
    // Per leaf the index r of its first run, stored as -1 - r until the leaf's boxes are
    // written: one array, so a leaf costs one look-up before its boxes.
    m_firstRun.reset(new int[static_cast<std::size_t>(leaves)]);
    std::size_t runs = 0;
    for (int leaf = 0; leaf < leaves; ++leaf)
    {
        m_firstRun[static_cast<std::size_t>(leaf)] = -1 - static_cast<int>(runs);
        runs += static_cast<std::size_t>((tris.numTris(leaf) + runLength - 1) / runLength);
    }
    // Left unwritten until a leaf is first visited: a tracer that casts few packets touches
    // only the boxes it uses.
    m_runBoxes.reset(new float[6 * runs]);
}

QuadRayTracer::~QuadRayTracer() = default;

void QuadRayTracer::intersect(QuadRay& packet)
{
    if (m_numTriangles == 0)
    {
        advanceStamp();
        return;
    }
    const unsigned numTriangles = static_cast<unsigned>(m_numTriangles);
    const unsigned numVertices = static_cast<unsigned>(m_numVertices);
    const std::uint32_t stamp = m_stamp;
    std::uint32_t* marks = m_marks.get();
    // The walk runs inline here (QuadRayWalk.h); reset(packet, false) in effect.
    State& walk = walkState();
    walk.start(packet, m_occupied.data());
    bool finished = QuadRayKernels::allTerminated(packet);
    for (; walk.valid() && !finished; walk.next())
    {
        const int leaf = walk.leafNumber();
        const int* list = m_tris.firstTri(leaf);
        const int count = m_tris.numTris(leaf);
        const float* boxes = count > 0 ? runBoxes(leaf) : nullptr;
        for (int begin = 0; begin < count && !finished; begin += runLength, boxes += 6)
        {
            if (QuadRayKernels::boxLanes(packet, boxes) == 0)
                continue;
            const int end = std::min(count, begin + runLength);
            // Ask for the run's marks and triangles at once rather than one miss at a time.
            for (int k = begin; k < end; ++k)
            {
                const unsigned index = static_cast<unsigned>(list[k]);
                if (index < numTriangles)
                {
                    lanes::prefetch(marks + index);
                    lanes::prefetch(m_triangles + index);
                }
            }
            for (int k = begin; k < end; ++k)
            {
                const unsigned index = static_cast<unsigned>(list[k]);
                if (index >= numTriangles || marks[index] == stamp)
                    continue;
                marks[index] = stamp;
                const MeshTriangle& triangle = m_triangles[index];
                if (static_cast<unsigned>(triangle[0]) >= numVertices ||
                    static_cast<unsigned>(triangle[1]) >= numVertices ||
                    static_cast<unsigned>(triangle[2]) >= numVertices)
                    continue;
                // Lanes terminate only on a hit, so termination is checked after hits alone.
                if (QuadRayKernels::intersectTriangle(packet, triangle, m_vertices) &&
                    QuadRayKernels::allTerminated(packet))
                {
                    finished = true;
                    break;
                }
            }
        }
    }
    advanceStamp();
}

const float* QuadRayTracer::runBoxes(int leaf)
{
    const int firstRun = m_firstRun[leaf];
    if (firstRun >= 0)
        return m_runBoxes.get() + 6 * static_cast<std::size_t>(firstRun);
    float* boxes = m_runBoxes.get() + 6 * static_cast<std::size_t>(-1 - firstRun);
    const int* list = m_tris.firstTri(leaf);
    const int count = m_tris.numTris(leaf);
    const unsigned numVertices = static_cast<unsigned>(m_numVertices);
    for (int begin = 0; begin < count; begin += runLength)
    {
        BoundingBox box;
        for (int k = begin; k < std::min(count, begin + runLength); ++k)
        {
            const unsigned index = static_cast<unsigned>(list[k]);
            if (index >= static_cast<unsigned>(m_numTriangles))
                continue;
            for (int corner = 0; corner < 3; ++corner)
            {
                const unsigned v = static_cast<unsigned>(m_triangles[index][corner]);
                if (v < numVertices)
                    box.extend(m_vertices[v].v);
            }
        }
        // A run with nothing valid keeps the empty box. The kernel would read its inverted
        // slabs as a full box; that only means its entries are looked at (and skipped).
        std::copy(box.data(), box.data() + 6, boxes + 6 * (begin / runLength));
    }
    m_firstRun[leaf] = -1 - firstRun;
    return boxes;
}

int QuadRayTracer::triangleIndex(const QuadRay& packet, int lane) const
{
    const MeshTriangle* triangle = packet.triIntersectionTriangle(lane);
    // std::less orders pointers into different arrays too (the raw < does not promise to).
    const std::less<const MeshTriangle*> before;
    if (triangle == nullptr || m_triangles == nullptr || before(triangle, m_triangles) ||
        !before(triangle, m_triangles + m_numTriangles))
        return -1;
    return static_cast<int>(triangle - m_triangles);
}

void QuadRayTracer::advanceStamp()
{
    // As in RayTracer: 4294967295 is never a stamp; reaching it zeroes every mark and restarts
    // at 1, so no old mark can equal a new stamp.
    ++m_stamp;
    if (m_stamp == 4294967295u)
    {
        for (int t = 0; t < m_numTriangles; ++t)
            m_marks[static_cast<std::size_t>(t)] = 0;
        m_stamp = 1;
    }
}
}  // namespace oxGeom
