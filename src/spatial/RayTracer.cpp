// RayTracer: single rays cast into a mesh by walking the octree leaves along the ray front to
// back and testing each listed triangle once (per-triangle visit stamps), either up to the first
// hit or through every leaf for the nearest one.
// Based on: Moeller and Trumbore 1997 (the triangle test, via Ray::intersects).

#include <oxGeom/RayTracer.h>

#include <cfloat>
#include <cmath>

namespace oxGeom
{
namespace
{
/// The walk would follow a zero or non-finite direction through arbitrary leaves (its slab
/// tests see NaN), and no triangle can be hit along it: such rays are answered at once.
bool isTraceable(const oxLinear::PointFlt& origin, const oxLinear::Vector& direction)
{
    bool nonZero = false;
    for (int axis = 0; axis < 3; ++axis)
    {
        if (!std::isfinite(origin[axis]) || !std::isfinite(direction[axis]))
            return false;
        nonZero = nonZero || direction[axis] != 0.0;
    }
    return nonZero;
}
}  // namespace

RayTracer::RayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh)
    : OctreeRayIntersectIt(octree),
      m_tris(tris),
      m_origin(0.0f, 0.0f, 0.0f),
      m_direction(0.0, 0.0, 0.0),
      m_ray(m_origin, m_direction),
      m_nearestDist(FLT_MAX)
{
    if (mesh != nullptr)
    {
        m_vertices = mesh->getVertices();
        m_triangles = mesh->getTriangles();
        m_numTriangles = mesh->getNumTriangles();
        m_numVertices = mesh->getNumVertices();
    }
    m_marks.reset(new std::uint32_t[static_cast<std::size_t>(m_numTriangles)]());
}

RayTracer::~RayTracer() = default;

bool RayTracer::intersect(const oxLinear::PointFlt& origin, const oxLinear::Vector& direction)
{
    m_nearestDist = FLT_MAX;
    m_hitTriangle = -1;
    m_hitU = 0.0;
    m_hitV = 0.0;
    if (m_numTriangles == 0 || !isTraceable(origin, direction))
    {
        advanceStamp();
        return false;
    }
    m_origin = origin;
    m_direction = direction;
    m_ray = Ray(m_origin, m_direction);
    bool hit = false;
    for (reset(m_ray); valid(); next())
    {
        if (!searchLeaf(get()))
            continue;
        hit = true;
        if (!m_findNearestHit)
            break;
    }
    advanceStamp();
    return hit;
}

bool RayTracer::searchLeaf(const OctreeIterator& leaf)
{
    const int number = leaf.getLeafNumber();
    const int count = m_tris.numTris(number);
    const int* list = m_tris.firstTri(number);
    const unsigned numVertices = static_cast<unsigned>(m_numVertices);
    bool hit = false;
    for (int k = 0; k < count; ++k)
    {
        const int index = list[k];
        if (static_cast<unsigned>(index) >= static_cast<unsigned>(m_numTriangles) ||
            m_marks[static_cast<std::size_t>(index)] == m_stamp)
            continue;
        m_marks[static_cast<std::size_t>(index)] = m_stamp;
        const MeshTriangle& triangle = m_triangles[index];
        if (static_cast<unsigned>(triangle[0]) >= numVertices ||
            static_cast<unsigned>(triangle[1]) >= numVertices ||
            static_cast<unsigned>(triangle[2]) >= numVertices)
            continue;
        // The ray keeps the nearest of its counted hits; intersects is true for every one.
        if (!m_ray.intersects(triangle, m_vertices))
            continue;
        if (!m_findNearestHit)
        {
            // First-hit mode answers "is anything there": no distance is recorded.
            m_hitTriangle = index;
            m_hitU = m_ray.triIntersectionBaryU();
            m_hitV = m_ray.triIntersectionBaryV();
            return true;
        }
        if (m_ray.triIntersectionRayParam() < m_nearestDist)
        {
            m_nearestDist = m_ray.triIntersectionRayParam();
            m_hitTriangle = index;
            m_hitU = m_ray.triIntersectionBaryU();
            m_hitV = m_ray.triIntersectionBaryV();
            hit = true;
        }
    }
    return hit;
}

void RayTracer::advanceStamp()
{
    // 4294967295 is never used as a stamp: on reaching it every mark is zeroed and counting
    // restarts at 1, so a mark left by an old query can never equal a new stamp.
    ++m_stamp;
    if (m_stamp == 4294967295u)
    {
        for (int t = 0; t < m_numTriangles; ++t)
            m_marks[static_cast<std::size_t>(t)] = 0;
        m_stamp = 1;
    }
}
}  // namespace oxGeom
