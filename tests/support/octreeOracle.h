#pragma once
// Brute-force helpers for the octree and quadtree tests: every leaf collected
// by a plain recursive walk (independent of the library's iterators), seeded
// point sets, and box geometry in double precision.

#include <ox/Reference.h>
#include <oxGeom/Octree.h>
#include <oxGeom/Quadtree.h>

#include "support/meshes.h"

#include <cstdint>
#include <random>
#include <vector>

namespace testsupport
{
/// Every leaf of the tree reached from the root by descending into each
/// existing child, in slot order 0..7 depth-first.
inline void collectLeaves(oxGeom::OctreeIterator node, std::vector<oxGeom::OctreeIterator>& out)
{
    if (!node.valid())
        return;
    if (node.isLeaf())
    {
        out.push_back(node);
        return;
    }
    for (int slot = 0; slot < 8; ++slot)
    {
        oxGeom::OctreeIterator child = node;
        if (child.descend(slot))
            collectLeaves(child, out);
    }
}

inline std::vector<oxGeom::OctreeIterator> allLeaves(const oxGeom::Octree& octree)
{
    std::vector<oxGeom::OctreeIterator> leaves;
    collectLeaves(octree.getRoot(), leaves);
    return leaves;
}

inline void collectLeaves(oxGeom::QuadtreeIterator node, std::vector<oxGeom::QuadtreeIterator>& out)
{
    if (!node.valid())
        return;
    if (node.isLeaf())
    {
        out.push_back(node);
        return;
    }
    for (int slot = 0; slot < 4; ++slot)
    {
        oxGeom::QuadtreeIterator child = node;
        if (child.descend(slot))
            collectLeaves(child, out);
    }
}

inline std::vector<oxGeom::QuadtreeIterator> allLeaves(const oxGeom::Quadtree& quadtree)
{
    std::vector<oxGeom::QuadtreeIterator> leaves;
    collectLeaves(quadtree.getRoot(), leaves);
    return leaves;
}

/// Every leaf depth-first with each node's children taken in `order`
/// (order[0] first): the sequence a query walk must follow, before filtering.
inline void collectOrdered(oxGeom::OctreeIterator node, const int order[8],
                           std::vector<oxGeom::OctreeIterator>& out)
{
    if (!node.valid())
        return;
    if (node.isLeaf())
    {
        out.push_back(node);
        return;
    }
    for (int k = 0; k < 8; ++k)
    {
        oxGeom::OctreeIterator child = node;
        if (child.descend(order[k]))
            collectOrdered(child, order, out);
    }
}

/// The leaves, in the depth-first order given by the direction's node
/// ordering, whose own box passes `test`. Node tests that are monotone (a box
/// passing implies its parent passes) make this exactly what a query walk yields.
template <class Test>
std::vector<int> expectedWalk(const oxGeom::Octree& octree, const oxLinear::Vector& direction,
                              const Test& test)
{
    int order[8];
    oxGeom::Octree::getNodeOrdering(direction, order);
    std::vector<oxGeom::OctreeIterator> leaves;
    collectOrdered(octree.getRoot(), order, leaves);
    std::vector<int> numbers;
    for (const oxGeom::OctreeIterator& leaf : leaves)
        if (test(leaf.getBox()))
            numbers.push_back(leaf.getLeafNumber());
    return numbers;
}

/// Leaf numbers an iterator yields from its current position to its end.
template <class Iterator>
std::vector<int> yielded(Iterator& it)
{
    std::vector<int> numbers;
    for (; it.valid(); it.next())
        numbers.push_back(it.get().getLeafNumber());
    return numbers;
}

/// Leaf numbers of a list of leaves, in list order.
template <class Leaves>
std::vector<int> leafNumbers(const Leaves& leaves)
{
    std::vector<int> numbers;
    for (const auto& leaf : leaves)
        numbers.push_back(leaf.getLeafNumber());
    return numbers;
}

/// A uniform float in [low, high) from a fixed generator.
inline float uniform(std::mt19937& rng, float low, float high)
{
    return low + (high - low) * static_cast<float>(rng() >> 8) * (1.0f / 16777216.0f);
}

/// `count` packed points with `dims` coordinates each, uniform in [low, high).
inline std::vector<float> randomPoints(std::uint32_t seed, int count, int dims, float low = 0.0f,
                                       float high = 1.0f)
{
    std::mt19937 rng(seed);
    std::vector<float> points(static_cast<std::size_t>(count * dims));
    for (float& value : points)
        value = uniform(rng, low, high);
    return points;
}

/// The box of `count` packed 3-D points.
inline oxGeom::BoundingBox boxOf(const std::vector<float>& points)
{
    oxGeom::BoundingBox box;
    for (std::size_t i = 0; i + 2 < points.size(); i += 3)
        box.extend(&points[i]);
    return box;
}

/// Volume of a box in double (0 for an empty box).
inline double volume(const oxGeom::BoundingBox& box)
{
    if (!box.isValid())
        return 0.0;
    double v = 1.0;
    for (int axis = 0; axis < 3; ++axis)
        v *= static_cast<double>(box[axis + 3]) - box[axis];
    return v;
}

/// True when the point lies in the closed box.
inline bool inBox(const oxGeom::BoundingBox& box, const float* p)
{
    for (int axis = 0; axis < 3; ++axis)
        if (p[axis] < box[axis] || p[axis] > box[axis + 3])
            return false;
    return true;
}
/// An octree with a name for failure messages.
struct NamedOctree
{
    const char* name;
    ox::Reference<oxGeom::Octree> octree;
};

/// The octrees the iterator tests run on: random points with and without
/// tiling, a sphere's vertices, a flat grid, and a lone point (root is a leaf).
inline std::vector<NamedOctree> sampleOctrees()
{
    std::vector<NamedOctree> trees;
    const std::vector<float> random = randomPoints(7, 2000, 3, -1.0f, 3.0f);
    trees.push_back({"random", new oxGeom::Octree(2000, random.data(), boxOf(random), true, 8)});
    trees.push_back(
        {"random sparse", new oxGeom::Octree(2000, random.data(), boxOf(random), false, 8)});
    for (const auto& mesh : {fixtures::icosphere(3, 2.0f), fixtures::gridMesh(30, 20)})
    {
        const float* v = mesh.getVerticesRaw();
        const std::vector<float> points(v, v + 3 * mesh.getNumVertices());
        trees.push_back({mesh.getNumVertices() == 642 ? "icosphere" : "grid",
                         new oxGeom::Octree(mesh.getNumVertices(), v, boxOf(points), true, 16)});
    }
    const float lone[3] = {0.5f, 0.5f, 0.5f};
    trees.push_back(
        {"root leaf", new oxGeom::Octree(1, lone, oxGeom::BoundingBox(lone, 1.0f), true, 16)});
    return trees;
}
}  // namespace testsupport
