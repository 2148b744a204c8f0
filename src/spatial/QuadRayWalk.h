#pragma once
// The packet walk's state and steps, inline so that QuadRayTracer runs the walk without a call
// per node or leaf. Private to the library; OctreeQuadRayIntersectIt wraps it in the iterator
// protocol.

#include <oxGeom/QuadRay.h>

#include "QuadLanes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace oxGeom
{
namespace quadwalk
{
/// The index of the highest set bit of a non-zero value below 256.
inline int highestBit(unsigned bits)
{
#if defined(__GNUC__) || defined(__clang__)
    return 31 - __builtin_clz(bits);
#else
    int k = 7;
    while ((bits >> k) == 0)
        --k;
    return k;
#endif
}

/// A node waiting on the stack and the packet version it was tested against.
struct PendingNode
{
    OctreeIterator node;
    std::uint32_t version;
};
}  // namespace quadwalk

struct OctreeQuadRayIntersectIt::State
{
    explicit State(const Octree& tree)
        : octree(tree),
          // At most 7 siblings wait per level below the root plus one node: 8 * (depth + 1)
          // entries never overflow.
          capacity(8 * (tree.getMaxDepth() + 1)),
          stack(new quadwalk::PendingNode[static_cast<std::size_t>(capacity)])
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
            quadwalk::PendingNode& top = stack[size - 1];
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
            const int firstChild = nodes[static_cast<std::size_t>(parent.getNodeIndex())];
            --size;
            const std::uint32_t version = packet->version();
            const int met = QuadRayKernels::childrenMet(*packet, parent.getBox().data());
            // Bit k of `pending` stands for child order[k]; they are pushed from the highest k
            // down, so order[0] is taken next. Walking the set bits instead of testing all eight
            // slots keeps the branches to the children actually pushed.
            unsigned pending = 0;
            for (int k = 0; k < 8; ++k)
                pending |= static_cast<unsigned>((met >> order[k]) & 1) << k;
            while (pending != 0)
            {
                const int k = quadwalk::highestBit(pending);
                pending &= ~(1u << k);
                if (occupied && !occupied[firstChild + order[k]])
                    continue;
                OctreeIterator child = parent;
                if (child.descend(order[k]))
                    stack[size++] = quadwalk::PendingNode{child, version};
            }
        }
    }

    /// Restarts the walk for `ray` from the root. With `occupiedNodes` (one flag per entry of
    /// the node array, detail::markOccupiedNodes) subtrees without listed triangles are never
    /// entered; without, every leaf the packet meets is visited.
    void start(QuadRay& ray, const std::uint8_t* occupiedNodes = nullptr)
    {
        packet = &ray;
        occupied = occupiedNodes;
        const oxLinear::VectorFlt& mean = ray.meanDirection();
        Octree::getNodeOrdering(oxLinear::Vector(mean[0], mean[1], mean[2]), order);
        size = 0;
        const OctreeIterator root = octree.getRoot();
        if (!root.valid() || (occupied && !occupied[root.getNodeIndex()]) || !passes(root))
            return;
        stack[size++] = quadwalk::PendingNode{root, ray.version()};
        descendToLeaf();
    }

    /// Leaves the current leaf for the next one (nothing once the walk is over).
    void next()
    {
        if (size == 0)
            return;
        --size;  // the top is the current leaf
        descendToLeaf();
    }

    bool valid() const { return size > 0; }
    /// The current leaf's number (valid() must hold).
    int leafNumber() const { return stack[size - 1].node.getLeafNumber(); }

    const Octree& octree;
    const std::vector<int>& nodes = octree.getNodes();
    const std::uint8_t* occupied = nullptr;
    int capacity;
    std::unique_ptr<quadwalk::PendingNode[]> stack;
    int size = 0;
    int order[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    QuadRay* packet = nullptr;
};

}  // namespace oxGeom
