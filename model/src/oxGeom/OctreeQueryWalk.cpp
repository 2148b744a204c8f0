// The shared depth-first octree walk: only the stack allocation and the child
// order live here; the walk itself is inline in the header so that each
// iterator's node test is inlined into it.

#include "oxGeom/OctreeQueryWalk.h"

namespace oxGeom
{
OctreeQueryWalk::OctreeQueryWalk(const Octree& octree)
    : m_octree(&octree), m_capacity(8 * (octree.getMaxDepth() + 1))
{
    m_stack.reset(new OctreeIterator[static_cast<std::size_t>(m_capacity)]);
}

void OctreeQueryWalk::setOrder(const oxLinear::Vector& direction)
{
    Octree::getNodeOrdering(direction, m_order);
}
}  // namespace oxGeom
