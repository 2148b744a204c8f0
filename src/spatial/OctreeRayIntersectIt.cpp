// OctreeRayIntersectIt: the octree leaves a ray passes through, front to back:
// the slab test at every node (boxes behind the origin skipped, no far limit)
// and children ordered along the ray, so the first hit found is usually final.

#include <oxGeom/OctreeIterators.h>

#include <oxGeom/OctreeQueryWalk.h>

#include <cfloat>

namespace oxGeom
{
/// The walk and the query; the state doubles as the walk's node test.
struct OctreeRayIntersectIt::State
{
    explicit State(const Octree& octree) : walk(octree) {}

    bool operator()(const BoundingBox& node) const { return ray->intersects(node, 0.0f, FLT_MAX); }

    OctreeQueryWalk walk;
    const Ray* ray = nullptr;
};

OctreeRayIntersectIt::OctreeRayIntersectIt(const Octree& octree) : m_state(new State(octree)) {}

OctreeRayIntersectIt::OctreeRayIntersectIt(const Octree& octree, const Ray& ray)
    : OctreeRayIntersectIt(octree)
{
    reset(ray);
}

OctreeRayIntersectIt::~OctreeRayIntersectIt() = default;

void OctreeRayIntersectIt::reset(const Ray& ray)
{
    m_state->ray = &ray;
    m_state->walk.setOrder(ray.direction());
    m_state->walk.start(*m_state);
}

bool OctreeRayIntersectIt::valid() const
{
    return m_state->walk.valid();
}

OctreeIterator OctreeRayIntersectIt::get() const
{
    return m_state->walk.get();
}

void OctreeRayIntersectIt::next()
{
    // Before the first reset the walk is empty and never calls the test.
    m_state->walk.next(*m_state);
}
}  // namespace oxGeom
