#pragma once
// The depth-first walk shared by the query-driven octree iterators: a stack of
// fixed capacity, a child visiting order, and a node test supplied per query.

#include "oxGeom/Octree.h"
#include "oxLinear/Point.h"

#include <memory>

namespace oxGeom
{
/// Walks the leaves of an octree whose boxes, and whose ancestors' boxes, pass
/// a test, depth-first with the children of each node taken in the order set
/// by setOrder (order[0] first).
///
/// Every node on a path, the root included, is tested before it is pushed.
/// After start() or next() the top of the stack is the current leaf, or the
/// stack is empty and the walk is over.
///
/// The stack is allocated once, in the constructor, with room for
/// 8 * (getMaxDepth() + 1) entries: a walk pushing at most eight children per
/// level never holds more than 7 * depth + 1, so it never grows and a walk
/// never allocates.
///
/// `Test` is any callable `bool(const BoundingBox&)`.
/// Thread safety: one walk per thread; any number of walks may read one octree.
class OctreeQueryWalk
{
public:
    /// Binds the walk to `octree` (which must outlive it) and reserves the
    /// stack. The order starts as 0, 1, ..., 7. Cost O(depth).
    explicit OctreeQueryWalk(const Octree& octree);
    OctreeQueryWalk(const OctreeQueryWalk&) = delete;
    OctreeQueryWalk& operator=(const OctreeQueryWalk&) = delete;

    const Octree& getOctree() const { return *m_octree; }
    /// Stack room, fixed at construction.
    int getCapacity() const { return m_capacity; }

    /// Sets the child order to Octree::getNodeOrdering(direction).
    void setOrder(const oxLinear::Vector& direction);
    const int* getOrder() const { return m_order; }

    /// Restarts: empties the stack, pushes the root if it exists and passes,
    /// and descends to the first leaf. O(path length * 8) tests.
    template <class Test>
    void start(const Test& passes);
    /// Leaves the current leaf and descends to the next one. Does nothing once
    /// the walk is over.
    template <class Test>
    void next(const Test& passes);

    /// True while there is a current leaf.
    bool valid() const { return m_size > 0; }
    /// The current leaf; a default (invalid) OctreeIterator once the walk is
    /// over, never a read outside the stack.
    OctreeIterator get() const { return m_size > 0 ? m_stack[m_size - 1] : OctreeIterator(); }

private:
    template <class Test>
    void descendToLeaf(const Test& passes);

    const Octree* m_octree;
    std::unique_ptr<OctreeIterator[]> m_stack;
    int m_capacity;
    int m_size = 0;
    int m_order[8] = {0, 1, 2, 3, 4, 5, 6, 7};
};

template <class Test>
void OctreeQueryWalk::start(const Test& passes)
{
    m_size = 0;
    const OctreeIterator root = m_octree->getRoot();
    if (!root.valid() || !passes(root.getBox()))
        return;
    m_stack[m_size++] = root;
    descendToLeaf(passes);
}

template <class Test>
void OctreeQueryWalk::next(const Test& passes)
{
    if (m_size > 0 && m_stack[m_size - 1].isLeaf())
        --m_size;
    descendToLeaf(passes);
}

template <class Test>
void OctreeQueryWalk::descendToLeaf(const Test& passes)
{
    while (m_size > 0 && !m_stack[m_size - 1].isLeaf())
    {
        const OctreeIterator node = m_stack[--m_size];
        // Pushed in reverse, so order[0] is taken next.
        for (int k = 7; k >= 0; --k)
        {
            OctreeIterator child = node;
            if (child.descend(m_order[k]) && passes(child.getBox()))
                m_stack[m_size++] = child;
        }
    }
}
}  // namespace oxGeom
