// OctreeBBoxIntersectIt: the octree leaves meeting a box, found by the shared
// fixed-stack depth-first walk with the closed box-box test at every node.
// Children are taken along +x, so a box sweep meets leaves roughly left to right.

#include <oxGeom/OctreeIterators.h>

#include <oxGeom/OctreeQueryWalk.h>

namespace oxGeom
{
/// The walk and the query; the state doubles as the walk's node test.
struct OctreeBBoxIntersectIt::State
{
    explicit State(const Octree& octree) : walk(octree) {}

    bool operator()(const BoundingBox& node) const { return node.intersects(*box); }

    OctreeQueryWalk walk;
    const BoundingBox* box = nullptr;
};

OctreeBBoxIntersectIt::OctreeBBoxIntersectIt(const Octree& octree) : m_state(new State(octree)) {}

OctreeBBoxIntersectIt::OctreeBBoxIntersectIt(const Octree& octree, const BoundingBox& box)
    : OctreeBBoxIntersectIt(octree)
{
    reset(box);
}

OctreeBBoxIntersectIt::~OctreeBBoxIntersectIt() = default;

void OctreeBBoxIntersectIt::reset(const BoundingBox& box)
{
    m_state->box = &box;
    m_state->walk.setOrder(oxLinear::Vector(1.0, 0.0, 0.0));
    m_state->walk.start(*m_state);
}

bool OctreeBBoxIntersectIt::valid() const
{
    return m_state->walk.valid();
}

OctreeIterator OctreeBBoxIntersectIt::get() const
{
    return m_state->walk.get();
}

void OctreeBBoxIntersectIt::next()
{
    // Before the first reset the walk is empty and never calls the test.
    m_state->walk.next(*m_state);
}
}  // namespace oxGeom
