// OctreeClosestIt: best-first search over an octree. A binary min-heap of
// (squared box distance, node) yields leaves by increasing distance; a parent's
// box holds its children's, so the distances never decrease.
// Based on: Hjaltason and Samet, "Distance Browsing in Spatial Databases" (1999).

#include <oxGeom/OctreeIterators.h>

#include <cfloat>
#include <vector>

namespace oxGeom
{
namespace
{
struct HeapEntry
{
    double distance2;
    OctreeIterator node;
};

/// A min-heap with explicit tie rules: an entry rises only past parents with a
/// strictly larger distance, and sinks only below strictly smaller children
/// (the left one when both are equal), so equal distances keep the earlier entry on top.
class DistanceHeap
{
public:
    bool empty() const { return m_entries.empty(); }
    const HeapEntry& top() const { return m_entries.front(); }
    void clear() { m_entries.clear(); }

    void push(const HeapEntry& entry)
    {
        std::size_t hole = m_entries.size();
        m_entries.push_back(entry);
        while (hole > 0)
        {
            const std::size_t parent = (hole - 1) / 2;
            if (!(m_entries[parent].distance2 > entry.distance2))
                break;
            m_entries[hole] = m_entries[parent];
            hole = parent;
        }
        m_entries[hole] = entry;
    }

    void pop()
    {
        const HeapEntry last = m_entries.back();
        m_entries.pop_back();
        if (m_entries.empty())
            return;
        const std::size_t size = m_entries.size();
        std::size_t hole = 0;
        for (;;)
        {
            std::size_t child = 2 * hole + 1;
            if (child >= size)
                break;
            if (child + 1 < size && m_entries[child + 1].distance2 < m_entries[child].distance2)
                ++child;
            if (!(m_entries[child].distance2 < last.distance2))
                break;
            m_entries[hole] = m_entries[child];
            hole = child;
        }
        m_entries[hole] = last;
    }

private:
    std::vector<HeapEntry> m_entries;
};
}  // namespace

struct OctreeClosestIt::State
{
    double distance2(const BoundingBox& box) const { return box.distance2(pointFlt); }

    oxLinear::Point point;
    oxLinear::PointFlt pointFlt;
    DistanceHeap heap;
};

OctreeClosestIt::OctreeClosestIt() = default;

OctreeClosestIt::OctreeClosestIt(const Octree& octree, const oxLinear::Point& point)
{
    reset(octree, point);
}

OctreeClosestIt::~OctreeClosestIt() = default;

void OctreeClosestIt::reset(const Octree& octree, const oxLinear::Point& point)
{
    if (!m_state)
        m_state.reset(new State);
    m_state->point = point;
    m_state->pointFlt = oxLinear::PointFlt(point);
    m_state->heap.clear();
    const OctreeIterator root = octree.getRoot();
    if (!root.valid())
        return;
    m_state->heap.push(HeapEntry{m_state->distance2(root.getBox()), root});
    if (!root.isLeaf())
        next();
}

bool OctreeClosestIt::valid() const
{
    return m_state && !m_state->heap.empty();
}

OctreeIterator OctreeClosestIt::get() const
{
    return valid() ? m_state->heap.top().node : OctreeIterator();
}

double OctreeClosestIt::getDistance2() const
{
    return valid() ? m_state->heap.top().distance2 : DBL_MAX;
}

void OctreeClosestIt::next()
{
    if (!valid())
        return;
    DistanceHeap& heap = m_state->heap;
    do
    {
        const OctreeIterator node = heap.top().node;
        heap.pop();
        for (int slot = 0; slot < 8; ++slot)
        {
            OctreeIterator child = node;
            if (child.descend(slot))
                heap.push(HeapEntry{m_state->distance2(child.getBox()), child});
        }
    } while (!heap.empty() && !heap.top().node.isLeaf());
}
}  // namespace oxGeom
