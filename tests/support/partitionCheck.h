#pragma once
// Checks shared by the octree partition tests: per-leaf lists against the clipping oracle over
// every leaf, an octree of eight unit cells, and the statistics lines with the timings masked.

#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/Octree.h>

#include "support/boxOverlapOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

namespace testsupport
{
/// Every leaf of the subtree at `node` with its box, found by descending into every slot.
inline void collectLeaves(const oxGeom::OctreeIterator& node,
                          std::vector<oxGeom::OctreeIterator>& leaves)
{
    if (node.isLeaf())
        leaves.push_back(node);
    for (int slot = 0; slot < 8 && !node.isLeaf(); ++slot)
    {
        oxGeom::OctreeIterator child = node;
        if (child.descend(slot))
            collectLeaves(child, leaves);
    }
}

/// Expects `sets` to hold one ascending set per leaf that lists every item overlapping the leaf
/// and none that is apart from it; contacts within `margin` of the leaf's faces may go either
/// way. `corners(i)` gives item i's corners as a vector of float triples. Returns
/// the number of (leaf, item) pairs that were decided, for the caller to check it is not small.
template <class Corners>
int expectListsMatchOracle(const oxGeom::Octree& octree, const oxGeom::ArrayOfSets& sets,
                           int numItems, Corners corners, double margin)
{
    std::vector<oxGeom::OctreeIterator> leaves;
    collectLeaves(octree.getRoot(), leaves);
    EXPECT_EQ(int(leaves.size()), octree.getNumLeaves());
    EXPECT_EQ(sets.getNumSets(), octree.getNumLeaves());
    int decided = 0;
    for (const oxGeom::OctreeIterator& leaf : leaves)
    {
        const int* set = sets.getSet(leaf.getLeafNumber());
        const int size = sets.getSetSize(leaf.getLeafNumber());
        EXPECT_EQ(std::adjacent_find(set, set + size, [](int a, int b) { return a >= b; }),
                  set + size)
            << "leaf " << leaf.getLeafNumber() << " is not strictly ascending";
        for (int i = 0; i < numItems; ++i)
        {
            const Overlap expected = classify(leaf.getBox(), corners(i), margin);
            if (expected == Overlap::near)
                continue;
            ++decided;
            EXPECT_EQ(std::binary_search(set, set + size, i), expected == Overlap::overlapping)
                << "leaf " << leaf.getLeafNumber() << " item " << i;
        }
    }
    return decided;
}

/// The octree over [0, 2]^3 split once into eight unit cells (built over the two corners and
/// six more points, one leaf holding at most 7 points).
inline oxGeom::Octree eightCells()
{
    const float points[8][3] = {{0, 0, 0},          {2, 2, 2},          {0.5f, 0.5f, 0.5f},
                                {1.5f, 0.5f, 0.5f}, {0.5f, 1.5f, 0.5f}, {1.5f, 1.5f, 0.5f},
                                {0.5f, 0.5f, 1.5f}, {1.5f, 1.5f, 1.5f}};
    oxGeom::BoundingBox bounds;
    for (const float* p : points)
        bounds.extend(p);
    return oxGeom::Octree(8, &points[0][0], bounds, true, 7);
}

/// The leaf number of child `slot` of the root.
inline int leafOfSlot(const oxGeom::Octree& octree, int slot)
{
    oxGeom::OctreeIterator node = octree.getRoot();
    return node.descend(slot) ? node.getLeafNumber() : -1;
}

/// A partition statistics text with its timings masked ("in # seconds", "# tri/sec") and the
/// sign of not-a-number dropped (0 / 0 gives a negative NaN on some processors).
inline std::string maskPartitionTimes(const std::string& text)
{
    std::string masked =
        std::regex_replace(text, std::regex("in [0-9]+\\.[0-9]{3} seconds"), "in # seconds");
    masked = std::regex_replace(masked, std::regex("[-0-9a-z.]+ tri/sec"), "# tri/sec");
    return std::regex_replace(masked, std::regex("-nan"), "nan");
}
}  // namespace testsupport
