// OctreeLeafIterator: every leaf of an octree once, depth-first. Children are
// pushed in slot order 0..7, so slot 7 is taken first and leaf numbers (given
// in slot order by the build) come out descending.

#include <oxGeom/OctreeIterators.h>

namespace oxGeom
{
OctreeLeafIterator::OctreeLeafIterator(const Octree& octree)
{
    reset(octree);
}

void OctreeLeafIterator::reset(const Octree& octree)
{
    m_stack.clear();
    m_stack.reserve(static_cast<std::size_t>(8 * (octree.getMaxDepth() + 1)));
    const OctreeIterator root = octree.getRoot();
    if (!root.valid())
        return;
    m_stack.push_back(root);
    if (!root.isLeaf())
        next();
}

void OctreeLeafIterator::next()
{
    if (!m_stack.empty() && m_stack.back().isLeaf())
        m_stack.pop_back();
    while (!m_stack.empty() && !m_stack.back().isLeaf())
    {
        const OctreeIterator node = m_stack.back();
        m_stack.pop_back();
        for (int slot = 0; slot < 8; ++slot)
        {
            OctreeIterator child = node;
            if (child.descend(slot))
                m_stack.push_back(child);
        }
    }
}
}  // namespace oxGeom
