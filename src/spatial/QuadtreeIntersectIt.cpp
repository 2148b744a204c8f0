// QuadtreeIntersectIt: the quadtree leaves meeting a box on x and y, depth-first
// in slot order 0..3. The walk keeps the path from the root with the last child
// tried at each level, so it needs one entry per level and no sibling stack.

#include <oxGeom/OctreeIterators.h>

#include <vector>

namespace oxGeom
{
namespace
{
struct PathEntry
{
    QuadtreeIterator node;
    int lastChild;  // -1 before the first child is tried
};
}  // namespace

/// Kept across resets so that repeated queries reuse the path's storage; an
/// empty path means the iterator is not valid.
struct QuadtreeIntersectIt::State
{
    const BoundingBox* box = nullptr;
    std::vector<PathEntry> path;
};

QuadtreeIntersectIt::QuadtreeIntersectIt() = default;

QuadtreeIntersectIt::QuadtreeIntersectIt(const Quadtree& quadtree, const BoundingBox& box)
{
    reset(quadtree, box);
}

QuadtreeIntersectIt::~QuadtreeIntersectIt() = default;

void QuadtreeIntersectIt::reset(const Quadtree& quadtree, const BoundingBox& box)
{
    if (!m_state)
        m_state.reset(new State);
    m_state->box = &box;
    m_state->path.clear();
    m_state->path.reserve(static_cast<std::size_t>(quadtree.getMaxDepth() + 1));
    const QuadtreeIterator root = quadtree.getRoot();
    if (!root.valid() || !root.getBox().intersects2D(box))
        return;
    m_state->path.push_back(PathEntry{root, -1});
    if (!root.isLeaf())
        next();
}

bool QuadtreeIntersectIt::valid() const
{
    return m_state && !m_state->path.empty();
}

QuadtreeIterator QuadtreeIntersectIt::get() const
{
    return valid() ? m_state->path.back().node : QuadtreeIterator();
}

void QuadtreeIntersectIt::next()
{
    if (!m_state)
        return;
    std::vector<PathEntry>& path = m_state->path;
    while (!path.empty())
    {
        PathEntry& top = path.back();
        // A leaf has no children to try: leave it at once.
        if (top.node.isLeaf() || ++top.lastChild >= 4)
        {
            path.pop_back();
            continue;
        }
        QuadtreeIterator child = top.node;
        if (child.descend(top.lastChild) && child.getBox().intersects2D(*m_state->box))
        {
            path.push_back(PathEntry{child, -1});
            if (child.isLeaf())
                return;
        }
    }
}
}  // namespace oxGeom
