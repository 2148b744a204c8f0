#pragma once
// Shared by the octree partition tests: per-leaf lists against the clipping oracle over every
// leaf, an octree of eight unit cells, and statistics lines with their timings masked.

#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/Octree.h>

#include "support/boxOverlapOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>

namespace testsupport
{
/// Expects one strictly ascending set per leaf listing every item that overlaps the leaf and
/// none that is apart from it (`corners(i)`: item i's corners). Returns how many (leaf, item)
/// pairs the oracle decided.
template <class Corners>
int expectListsMatchOracle(const oxGeom::OctreeIterator& node, const oxGeom::ArrayOfSets& sets,
                           int numItems, Corners corners)
{
    int decided = 0;
    for (int slot = 0; slot < 8 && !node.isLeaf(); ++slot)
    {
        oxGeom::OctreeIterator child = node;
        if (child.descend(slot))
            decided += expectListsMatchOracle(child, sets, numItems, corners);
    }
    const int *set = sets.getSet(node.getLeafNumber()),
              size = sets.getSetSize(node.getLeafNumber());
    EXPECT_EQ(std::adjacent_find(set, set + size, std::greater_equal<int>()), set + size);
    for (int i = 0; i < numItems && node.isLeaf(); ++i)
    {
        const Overlap expected = classify(node.getBox(), corners(i), 1e-5);
        decided += expected != Overlap::near;
        EXPECT_TRUE(expected == Overlap::near ||
                    std::binary_search(set, set + size, i) == (expected == Overlap::overlapping))
            << "leaf " << node.getLeafNumber() << " item " << i;
    }
    return decided;
}

/// The octree over [0, 2]^3 split once into eight unit cells.
inline oxGeom::Octree eightCells()
{
    const float points[8][3] = {{0, 0, 0},          {2, 2, 2},          {0.5f, 0.5f, 0.5f},
                                {1.5f, 0.5f, 0.5f}, {0.5f, 1.5f, 0.5f}, {1.5f, 1.5f, 0.5f},
                                {0.5f, 0.5f, 1.5f}, {1.5f, 1.5f, 1.5f}};
    oxGeom::BoundingBox bounds;
    bounds.extend(points[0]), bounds.extend(points[1]);
    return oxGeom::Octree(8, &points[0][0], bounds, true, 7);
}

/// The leaf number of child `slot` of the root.
inline int leafOfSlot(const oxGeom::Octree& octree, int slot)
{
    oxGeom::OctreeIterator node = octree.getRoot();
    return node.descend(slot) ? node.getLeafNumber() : -1;
}

/// A statistics text with "in # seconds" and "# tri/sec", and NaN without its sign (0 / 0 is a
/// negative NaN on some processors).
inline std::string maskPartitionTimes(const std::string& text)
{
    std::string masked =
        std::regex_replace(text, std::regex("in [0-9]+\\.[0-9]{3} sec"), "in # sec");
    masked = std::regex_replace(masked, std::regex("[-0-9a-z.]+ tri/sec"), "# tri/sec");
    return std::regex_replace(masked, std::regex("-nan"), "nan");
}
}  // namespace testsupport
