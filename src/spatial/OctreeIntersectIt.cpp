// OctreeIntersectIt: the octree leaves meeting a view frustum, depth-first with
// children ordered along the view vector, so leaves arrive roughly front to back
// and a caller can stop at the first visible hit.

#include <oxGeom/OctreeIterators.h>

#include <oxGeom/OctreeQueryWalk.h>

namespace oxGeom
{
/// The walk and the query; the state doubles as the walk's node test.
struct OctreeIntersectIt::State
{
    explicit State(const Octree& octree) : walk(octree) {}

    bool operator()(const BoundingBox& node) const { return intersects(node, *frustum); }

    OctreeQueryWalk walk;
    const Frustum* frustum = nullptr;
};

OctreeIntersectIt::OctreeIntersectIt(const Octree& octree) : m_state(new State(octree)) {}

OctreeIntersectIt::OctreeIntersectIt(const Octree& octree, const Frustum& frustum)
    : OctreeIntersectIt(octree)
{
    reset(frustum);
}

OctreeIntersectIt::~OctreeIntersectIt() = default;

void OctreeIntersectIt::reset(const Frustum& frustum)
{
    m_state->frustum = &frustum;
    m_state->walk.setOrder(frustum.getVector());
    m_state->walk.start(*m_state);
}

bool OctreeIntersectIt::valid() const
{
    return m_state->walk.valid();
}

OctreeIterator OctreeIntersectIt::get() const
{
    return m_state->walk.get();
}

void OctreeIntersectIt::next()
{
    // Before the first reset the walk is empty and never calls the test.
    m_state->walk.next(*m_state);
}
}  // namespace oxGeom
