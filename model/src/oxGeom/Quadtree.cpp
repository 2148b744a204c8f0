// Quadtree construction: the planar twin of the octree build, a depth-first
// radix sort by quadrant. Each node counts its (x, y, index) records per child
// and scatters them into a second buffer; the buffers swap roles level by level,
// and leaves come out numbered depth-first with consecutive ranges.

#include "oxGeom/Quadtree.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace oxGeom
{
namespace
{
struct BuildPoint2
{
    float xy[2];
    int index;
};

float splitOf(float low, float high)
{
    return 0.5f * low + 0.5f * high;
}

/// Bit a set when the coordinate on axis a is at or above the split; NaN goes below.
inline int childSlot(const BuildPoint2& point, const float split[2])
{
    return (point.xy[0] >= split[0] ? 1 : 0) | (point.xy[1] >= split[1] ? 2 : 0);
}

bool allEqual(const BuildPoint2* points, int begin, int end)
{
    for (int i = begin + 1; i < end; ++i)
        if (points[i].xy[0] != points[begin].xy[0] || points[i].xy[1] != points[begin].xy[1])
            return false;
    return true;
}

bool canSplit(const BoundingBox& box)
{
    for (int axis = 0; axis < 2; ++axis)
    {
        const float split = splitOf(box[axis], box[axis + 3]);
        if (split > box[axis] && split < box[axis + 3])
            return true;
    }
    return false;
}

/// The x, y extent of `box` grown to a square about its centre, z set to 0.
/// The old sides are kept as bounds so rounding never cuts the original box.
BoundingBox squareOf(const BoundingBox& box)
{
    const float side = std::max(box[3] - box[0], box[4] - box[1]);
    BoundingBox square;
    square.zero();
    for (int axis = 0; axis < 2; ++axis)
    {
        const double centre = 0.5 * (static_cast<double>(box[axis]) + box[axis + 3]);
        const double half = 0.5 * static_cast<double>(side);
        square[axis] = std::min(box[axis], static_cast<float>(centre - half));
        square[axis + 3] = std::max(box[axis + 3], static_cast<float>(centre + half));
    }
    return square;
}

bool valid2D(const BoundingBox& box)
{
    return box[0] <= box[3] && box[1] <= box[4];
}
}  // namespace

class Quadtree::Builder
{
public:
    Builder(Quadtree& tree, BuildPoint2* points, BuildPoint2* scratch, bool tileBounds,
            int leafSize)
        : m_tree(tree),
          m_points(points),
          m_scratch(scratch),
          m_tileBounds(tileBounds),
          m_leafSize(leafSize)
    {
    }

    void build(int node, const BoundingBox& box, int begin, int end, int depth)
    {
        ++m_tree.m_numNodes;
        float split[2];
        int counts[4];
        if (!splits(box, begin, end, depth, split, counts))
        {
            makeLeaf(node, begin, end, depth);
            return;
        }
        scatter(begin, end, split, counts);
        std::swap(m_points, m_scratch);
        buildChildren(node, box, begin, depth, counts);
        std::swap(m_points, m_scratch);
    }

private:
    /// The subdivision rule, as for the octree: a leaf at most leafSize points,
    /// at maxDepthLimit, with an unsplittable box or only equal points; else
    /// the square is halved on both axes.
    bool splits(const BoundingBox& box, int begin, int end, int depth, float split[2],
                int counts[4]) const
    {
        const int count = end - begin;
        if (count <= m_leafSize || depth >= maxDepthLimit || !canSplit(box))
            return false;
        split[0] = splitOf(box[0], box[3]);
        split[1] = splitOf(box[1], box[4]);
        std::fill(counts, counts + 4, 0);
        for (int i = begin; i < end; ++i)
            ++counts[childSlot(m_points[i], split)];
        for (int slot = 0; slot < 4; ++slot)
            if (counts[slot] == count && allEqual(m_points, begin, end))
                return false;
        return true;
    }

    void scatter(int begin, int end, const float split[2], const int counts[4])
    {
        int next[4];
        for (int slot = 0, position = begin; slot < 4; position += counts[slot++])
            next[slot] = position;
        for (int i = begin; i < end; ++i)
            m_scratch[next[childSlot(m_points[i], split)]++] = m_points[i];
    }

    void buildChildren(int node, const BoundingBox& box, int begin, int depth, const int counts[4])
    {
        const int firstChild = static_cast<int>(m_tree.m_nodes.size());
        m_tree.m_nodes.resize(m_tree.m_nodes.size() + 4, absentNode);
        m_tree.m_nodes[static_cast<std::size_t>(node)] = firstChild;
        int childBegin = begin;
        for (int slot = 0; slot < 4; ++slot)
        {
            const int childEnd = childBegin + counts[slot];
            if (counts[slot] > 0 || m_tileBounds)
                build(firstChild + slot, childBox(box, slot), childBegin, childEnd, depth + 1);
            childBegin = childEnd;
        }
    }

    void makeLeaf(int node, int begin, int end, int depth)
    {
        const int leaf = static_cast<int>(m_tree.m_leafStart.size());
        m_tree.m_nodes[static_cast<std::size_t>(node)] = -1 - leaf;
        m_tree.m_leafStart.push_back(begin);
        for (int i = begin; i < end; ++i)
            m_tree.m_pointIndices[static_cast<std::size_t>(i)] = m_points[i].index;
        m_tree.m_maxDepth = std::max(m_tree.m_maxDepth, depth);
    }

    Quadtree& m_tree;
    BuildPoint2* m_points;   // the records of the node being built
    BuildPoint2* m_scratch;  // where its children's records go
    bool m_tileBounds;
    int m_leafSize;
};

Quadtree::Quadtree(int numPoints, const float* points, const BoundingBox& bounds, bool tileBounds,
                   int leafSize)
    : m_tileBounds(tileBounds)
{
    if (numPoints < 0 || points == nullptr)
        numPoints = 0;
    BoundingBox extent = bounds;
    if (!valid2D(extent))
    {
        extent.setInvalid();
        for (int i = 0; i < numPoints; ++i)
        {
            const float* p = points + 2 * static_cast<std::size_t>(i);
            const float xyz[3] = {p[0], p[1], 0.0f};
            extent.extend(xyz);
        }
    }
    if (!valid2D(extent))
        return;
    m_rootBox = squareOf(extent);

    std::vector<BuildPoint2> records(static_cast<std::size_t>(numPoints));
    for (int i = 0; i < numPoints; ++i)
    {
        const float* p = points + 2 * static_cast<std::size_t>(i);
        records[static_cast<std::size_t>(i)] = BuildPoint2{{p[0], p[1]}, i};
    }
    // Left uninitialised: the scatter writes every record before it is read.
    std::unique_ptr<BuildPoint2[]> scratch(new BuildPoint2[records.size()]);
    m_pointIndices.resize(static_cast<std::size_t>(numPoints));
    m_nodes.push_back(absentNode);
    Builder(*this, records.data(), scratch.get(), tileBounds, leafSize < 1 ? 1 : leafSize)
        .build(0, m_rootBox, 0, numPoints, 0);
    m_numLeaves = static_cast<int>(m_leafStart.size());
    m_leafStart.push_back(numPoints);
}

QuadtreeIterator Quadtree::getRoot() const
{
    return m_nodes.empty() ? QuadtreeIterator() : QuadtreeIterator(this, 0, m_rootBox);
}
}  // namespace oxGeom
