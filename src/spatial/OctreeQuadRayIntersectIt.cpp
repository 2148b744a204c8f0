// OctreeQuadRayIntersectIt: the octree leaves that at least one live ray of a four-ray packet
// meets, depth-first with children ordered along the packet's mean direction. Nodes are tested
// when pushed and again when popped if the packet changed meanwhile, so lanes that found a
// nearer hit or terminated stop pulling in the rest of the stack.

#include <oxGeom/QuadRay.h>

#include "QuadLanes.h"

#include <memory>

namespace oxGeom
{
namespace
{
/// A node waiting on the stack and the packet version it was tested against.
struct PendingNode
{
    OctreeIterator node;
    std::uint32_t version;
};
}  // namespace

struct OctreeQuadRayIntersectIt::State
{
    explicit State(const Octree& tree)
        : octree(tree),
          // At most 7 siblings wait per level below the root plus one node: 8 * (depth + 1)
          // entries never overflow.
          capacity(8 * (tree.getMaxDepth() + 1)),
          stack(new PendingNode[static_cast<std::size_t>(capacity)])
    {
    }

    bool passes(const OctreeIterator& node) const
    {
        return QuadRayKernels::boxLanes(*packet, node.getBox().data()) != 0;
    }

    /// Makes the top of the stack the next leaf some live lane still meets, or empties it.
    void descendToLeaf()
    {
        while (size > 0)
        {
            PendingNode& top = stack[size - 1];
            if (top.version != packet->version())
            {
                if (!passes(top.node))
                {
                    --size;
                    continue;
                }
                top.version = packet->version();
            }
            if (top.node.isLeaf())
                return;
            const OctreeIterator parent = top.node;
            --size;
            const std::uint32_t version = packet->version();
            // Pushed in reverse, so order[0] is taken next.
            for (int k = 7; k >= 0; --k)
            {
                OctreeIterator child = parent;
                if (child.descend(order[k]) && passes(child))
                    stack[size++] = PendingNode{child, version};
            }
        }
    }

    const Octree& octree;
    int capacity;
    std::unique_ptr<PendingNode[]> stack;
    int size = 0;
    int order[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    QuadRay* packet = nullptr;
};

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
    State& state = *m_state;
    if (clearHits)
        packet.clearHits();
    state.packet = &packet;
    const oxLinear::VectorFlt& mean = packet.meanDirection();
    Octree::getNodeOrdering(oxLinear::Vector(mean[0], mean[1], mean[2]), state.order);
    state.size = 0;
    const OctreeIterator root = state.octree.getRoot();
    if (!root.valid() || !state.passes(root))
        return;
    state.stack[state.size++] = PendingNode{root, packet.version()};
    state.descendToLeaf();
}

bool OctreeQuadRayIntersectIt::valid() const
{
    return m_state->size > 0;
}

OctreeIterator OctreeQuadRayIntersectIt::get() const
{
    const State& state = *m_state;
    return state.size > 0 ? state.stack[state.size - 1].node : OctreeIterator();
}

void OctreeQuadRayIntersectIt::next()
{
    State& state = *m_state;
    if (state.size == 0)
        return;
    --state.size;  // the top is the current leaf
    state.descendToLeaf();
}

QuadRay* OctreeQuadRayIntersectIt::packet() const
{
    return m_state->packet;
}
}  // namespace oxGeom
