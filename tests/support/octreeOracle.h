#pragma once
// Brute-force helpers for the octree and quadtree tests: leaves collected by a
// plain recursive descent (independent of the library's iterators), the walk a
// query iterator must follow, seeded points and a set of sample octrees.

#include <ox/Reference.h>
#include <oxGeom/Octree.h>
#include <oxGeom/Quadtree.h>

#include "support/meshes.h"

#include <cstdint>
#include <random>
#include <vector>

namespace testsupport
{
/// Every leaf below `node`, depth-first, children of each node in `order`
/// (`slots` = 8 for octrees, 4 for quadtrees).
template <class Node>
void collectOrdered(Node node, const int* order, int slots, std::vector<Node>& out)
{
    if (node.isLeaf())
        out.push_back(node);
    for (int k = 0; k < slots && node.valid() && !node.isLeaf(); ++k)
    {
        Node child = node;
        if (child.descend(order[k]))
            collectOrdered(child, order, slots, out);
    }
}

/// All leaves in slot order 0..7 (0..3), the numbering order of the build.
inline std::vector<oxGeom::OctreeIterator> allLeaves(const oxGeom::Octree& octree)
{
    const int order[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<oxGeom::OctreeIterator> leaves;
    collectOrdered(octree.getRoot(), order, 8, leaves);
    return leaves;
}
inline std::vector<oxGeom::QuadtreeIterator> allLeaves(const oxGeom::Quadtree& quadtree)
{
    const int order[4] = {0, 1, 2, 3};
    std::vector<oxGeom::QuadtreeIterator> leaves;
    collectOrdered(quadtree.getRoot(), order, 4, leaves);
    return leaves;
}

/// The leaf numbers, depth-first in the node ordering of `direction`, of the
/// leaves whose own box passes `test`. For monotone tests (a box that passes
/// has a parent that passes) this is exactly what a query iterator yields.
template <class Test>
std::vector<int> expectedWalk(const oxGeom::Octree& octree, const oxLinear::Vector& direction,
                              const Test& test)
{
    int order[8];
    oxGeom::Octree::getNodeOrdering(direction, order);
    std::vector<oxGeom::OctreeIterator> leaves;
    collectOrdered(octree.getRoot(), order, 8, leaves);
    std::vector<int> numbers;
    for (const oxGeom::OctreeIterator& leaf : leaves)
        if (test(leaf.getBox()))
            numbers.push_back(leaf.getLeafNumber());
    return numbers;
}

/// Leaf numbers an iterator yields from where it stands to its end.
template <class Iterator>
std::vector<int> yielded(Iterator& it)
{
    std::vector<int> numbers;
    for (; it.valid(); it.next())
        numbers.push_back(it.get().getLeafNumber());
    return numbers;
}

/// A uniform float in [low, high) from a fixed generator, mapped by hand so
/// every platform draws the same numbers.
inline float uniform(std::mt19937& rng, float low, float high)
{
    return low + (high - low) * static_cast<float>(rng() >> 8) * (1.0f / 16777216.0f);
}

/// `count` packed points of `dims` coordinates, uniform in [low, high).
inline std::vector<float> randomPoints(std::uint32_t seed, int count, int dims, float low = 0.0f,
                                       float high = 1.0f)
{
    std::mt19937 rng(seed);
    std::vector<float> points(static_cast<std::size_t>(count * dims));
    for (float& value : points)
        value = uniform(rng, low, high);
    return points;
}

/// The box of packed 3-D points.
inline oxGeom::BoundingBox boxOf(const std::vector<float>& points)
{
    oxGeom::BoundingBox box;
    for (std::size_t i = 0; i + 2 < points.size(); i += 3)
        box.extend(&points[i]);
    return box;
}

/// A box from six doubles (min x, y, z, max x, y, z).
inline oxGeom::BoundingBox makeBox(double x0, double y0, double z0, double x1, double y1, double z1)
{
    const double values[6] = {x0, y0, z0, x1, y1, z1};
    return oxGeom::BoundingBox(values);
}

/// Octrees with a name for failure messages.
struct NamedOctree
{
    const char* name;
    ox::Reference<oxGeom::Octree> octree;
};

/// The octrees the iterator tests run on: random points with and without
/// tiling, a sphere's vertices, a flat grid, and a lone point (root is a leaf).
inline std::vector<NamedOctree> sampleOctrees()
{
    using oxGeom::Octree;
    const std::vector<float> random = randomPoints(7, 2000, 3, -1.0f, 3.0f);
    std::vector<NamedOctree> trees = {
        {"random", new Octree(2000, random.data(), boxOf(random), true, 8)},
        {"random sparse", new Octree(2000, random.data(), boxOf(random), false, 8)}};
    const char* names[2] = {"icosphere", "grid"};
    const oxGeom::CompactMesh meshes[2] = {fixtures::icosphere(3, 2.0f),
                                           fixtures::gridMesh(30, 20)};
    for (int m = 0; m < 2; ++m)
    {
        const float* v = meshes[m].getVerticesRaw();
        const std::vector<float> points(v, v + 3 * meshes[m].getNumVertices());
        trees.push_back(
            {names[m], new Octree(meshes[m].getNumVertices(), v, boxOf(points), true, 16)});
    }
    const float lone[3] = {0.5f, 0.5f, 0.5f};
    trees.push_back({"root leaf", new Octree(1, lone, oxGeom::BoundingBox(lone, 1.0f), true, 16)});
    return trees;
}
}  // namespace testsupport
