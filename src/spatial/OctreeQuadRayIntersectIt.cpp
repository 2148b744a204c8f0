// OctreeQuadRayIntersectIt: the octree leaves that at least one live ray of a four-ray packet
// meets, depth-first with children ordered along the packet's mean direction. Nodes are tested
// when pushed and again when popped if the packet changed meanwhile, so lanes that found a
// nearer hit or terminated stop pulling in the rest of the stack. The walk itself lives in
// QuadRayWalk.h, shared with QuadRayTracer.

#include <oxGeom/QuadRay.h>

#include "QuadRayWalk.h"

namespace oxGeom
{
OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(const Octree& octree)
    : m_state(new State(octree))
{
}

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(const Octree& octree, QuadRay& packet)
    : OctreeQuadRayIntersectIt(octree)
{
    reset(packet, false);
}

OctreeQuadRayIntersectIt::~OctreeQuadRayIntersectIt() = default;

void OctreeQuadRayIntersectIt::reset(QuadRay& packet, bool clearHits)
{
    if (clearHits)
        packet.clearHits();
    m_state->start(packet);
}

bool OctreeQuadRayIntersectIt::valid() const
{
    return m_state->valid();
}

OctreeIterator OctreeQuadRayIntersectIt::get() const
{
    const State& state = *m_state;
    return state.valid() ? state.stack[state.size - 1].node : OctreeIterator();
}

void OctreeQuadRayIntersectIt::next()
{
    m_state->next();
}
}  // namespace oxGeom
