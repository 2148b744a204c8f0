// OctreeSphereIntersectIt: the octree leaves meeting a ball, depth-first with
// children along +x; the box-ball test compares the box's distance from the
// centre with the radius, so one square root per node is the whole cost.

#include <oxGeom/OctreeIterators.h>

#include <oxGeom/OctreeQueryWalk.h>

namespace oxGeom
{
bool intersects(const BoundingBox& box, const Sphere& sphere)
{
    // BoundingBox::distance of an empty box is the largest float, which a huge
    // radius could still exceed: reject empty boxes first.
    return box.isValid() && box.distance(oxLinear::PointFlt(sphere.center)) <= sphere.radius;
}

/// The walk and the query; the state doubles as the walk's node test.
struct OctreeSphereIntersectIt::State
{
    explicit State(const Octree& octree) : walk(octree) {}

    bool operator()(const BoundingBox& node) const { return intersects(node, *sphere); }

    OctreeQueryWalk walk;
    const Sphere* sphere = nullptr;
};

OctreeSphereIntersectIt::OctreeSphereIntersectIt(const Octree& octree) : m_state(new State(octree))
{
}

OctreeSphereIntersectIt::OctreeSphereIntersectIt(const Octree& octree, const Sphere& sphere)
    : OctreeSphereIntersectIt(octree)
{
    reset(sphere);
}

OctreeSphereIntersectIt::~OctreeSphereIntersectIt() = default;

void OctreeSphereIntersectIt::reset(const Sphere& sphere)
{
    m_state->sphere = &sphere;
    m_state->walk.setOrder(oxLinear::Vector(1.0, 0.0, 0.0));
    m_state->walk.start(*m_state);
}

bool OctreeSphereIntersectIt::valid() const
{
    return m_state->walk.valid();
}

OctreeIterator OctreeSphereIntersectIt::get() const
{
    return m_state->walk.get();
}

void OctreeSphereIntersectIt::next()
{
    // Before the first reset the walk is empty and never calls the test.
    m_state->walk.next(*m_state);
}
}  // namespace oxGeom
