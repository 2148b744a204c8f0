#pragma once
// Which octree nodes have a listed triangle somewhere below them, one byte per entry of the
// octree's node array. In a tiled octree most cells away from the surface are empty; walks
// that look only for triangles use the flags to never enter them. Private to the library.

#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>

#include <cstdint>
#include <vector>

namespace oxGeom
{
namespace detail
{
/// `flags` becomes one byte per entry of octree.getNodes(): 1 for a node with a listed triangle
/// in some leaf below it (or in itself, for a leaf), 0 otherwise (and for absent children).
/// O(nodes); recursion depth is the octree's depth, at most Octree::maxDepthLimit.
inline bool markOccupied(const std::vector<int>& nodes, int node, const OctreeTris& tris,
                         std::vector<std::uint8_t>& flags)
{
    const int value = nodes[static_cast<std::size_t>(node)];
    bool occupied = false;
    if (value < 0)
        occupied = tris.numTris(-1 - value) > 0;
    else
        for (int slot = 0; slot < 8; ++slot)
            if (nodes[static_cast<std::size_t>(value + slot)] != Octree::absentNode &&
                markOccupied(nodes, value + slot, tris, flags))
                occupied = true;
    flags[static_cast<std::size_t>(node)] = occupied ? 1 : 0;
    return occupied;
}

inline void markOccupiedNodes(const Octree& octree, const OctreeTris& tris,
                              std::vector<std::uint8_t>& flags)
{
    flags.assign(octree.getNodes().size(), 0);
    const OctreeIterator root = octree.getRoot();
    if (root.valid())
        markOccupied(octree.getNodes(), root.getNodeIndex(), tris, flags);
}
}  // namespace detail
}  // namespace oxGeom
