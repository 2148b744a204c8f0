#pragma once
// The partition of mesh items (triangles or lines) into octree leaves that computeOctreeTris and
// meshOctreeLines share; private to the library. Each pool thread walks its slice of the items
// with its own leaf walk and a one-leaf coherence cache, and the calling thread sorts the
// per-thread (leaf, item) pairs, in thread order, into per-leaf sets.

#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/BoundingBox.h>
#include <oxGeom/Octree.h>
#include <oxLinear/Point.h>
#include <oxUtil/ThreadedAlg.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace oxGeom
{
namespace detail
{
/// One listing: (leaf number, item index). Leaf numbers come from the octree, so they lie in
/// [0, number of leaves).
struct VoxelPair
{
    int leaf;
    int item;
};

/// The cache of the last visited leaf restarts at every multiple of this many items. A thread
/// whose slice starts inside a block first replays the block's earlier items (walking, not
/// listing) to recover the cache, so which items take the shortcut depends only on their own
/// block, never on the thread count. A replay costs at most one block per thread; a restart
/// costs one extra walk per block.
constexpr int coherenceBlockSize = 1024;

/// What the calling thread prints after the merge.
struct PartitionCounts
{
    int numPairs = 0;
    std::int64_t coherentHits = 0;
};

/// A count as the statistics lines divide it: rounded to float, then widened.
inline double printedCount(std::int64_t count)
{
    return static_cast<double>(static_cast<float>(count));
}

/// The box of the points (the first point, widened by the others) and whether every coordinate
/// is finite (x - x is 0 only for finite x).
inline bool boxOfFinitePoints(const float* const* points, int numPoints, float box[6])
{
    float zero = 0.0f;
    for (int k = 0; k < 3; ++k)
    {
        box[k] = box[k + 3] = points[0][k];
        zero += points[0][k] - points[0][k];
    }
    for (int p = 1; p < numPoints; ++p)
        for (int k = 0; k < 3; ++k)
        {
            const float x = points[p][k];
            box[k] = x < box[k] ? x : box[k];
            box[k + 3] = x > box[k + 3] ? x : box[k + 3];
            zero += x - x;
        }
    return zero == 0.0f;
}

/// The leaves of an octree whose boxes meet a query box, in exactly the order in which
/// OctreeBBoxIntersectIt yields them: depth-first, children taken in the order of
/// Octree::getNodeOrdering along +x, every node tested with the closed box test before it is
/// pushed. It is that walk specialised for the partition's inner loop:
/// - a node's box already meets the query, so a child's box meets it exactly when the query
///   reaches across the node's split values on the child's side: three comparisons per axis
///   decide all eight children;
/// - the walk keeps the path of nodes that held the previous query strictly inside, and starts
///   from the deepest of them that holds the new query strictly inside. No leaf outside such a
///   node can meet the query, and the walk from the root would reach it with nothing else on
///   its stack, so the leaves and their order are the same; for neighbouring items most of the
///   descent is skipped.
/// One walk per thread; it allocates only in its constructor.
class LeafWalk
{
public:
    explicit LeafWalk(const Octree& octree)
        : m_nodes(octree.getNodes().data()),
          m_root(octree.getRoot()),
          m_stack(static_cast<std::size_t>(8 * (octree.getMaxDepth() + 1))),
          m_path(static_cast<std::size_t>(octree.getMaxDepth() + 1))
    {
        Octree::getNodeOrdering(oxLinear::Vector(1.0, 0.0, 0.0), m_order);
        for (unsigned slots = 0; slots < 256; ++slots)
        {
            m_positionsOfSlots[slots] = 0;
            m_highestBit[slots] = 0;
            for (int k = 0; k < 8; ++k)
            {
                if (slots >> m_order[k] & 1)
                    m_positionsOfSlots[slots] |= static_cast<std::uint8_t>(1u << k);
                if (slots >> k & 1)
                    m_highestBit[slots] = static_cast<std::uint8_t>(k);
            }
        }
        m_path[0] = {m_root.getBox(), m_root.getNodeIndex()};
    }

    /// Calls visit(leaf number, leaf box) for each leaf whose box meets the closed box `query`.
    template <class Visit>
    void walk(const float query[6], Visit&& visit)
    {
        if (!m_root.valid())
            return;
        while (m_pathSize > 1 && !strictlyInside(query, m_path[m_pathSize - 1].box.m_box))
            --m_pathSize;
        if (m_pathSize == 1 && !boxesMeet(m_root.getBox().m_box, query))
            return;
        // Depth-first: the first child meeting the query is taken at once and the others wait
        // on the stack in reverse order, as if all had been pushed and the top popped.
        Entry* stack = m_stack.data();
        int size = 0;
        Entry node = m_path[m_pathSize - 1];
        bool onPath = true;  // no branch taken yet
        for (;;)
        {
            const int value = m_nodes[node.node];
            if (value < 0)
            {
                visit(-1 - value, node.box);
                if (size == 0)
                    return;
                node = stack[--size];
                continue;
            }
            onPath = onPath && size == 0 && strictlyInside(query, node.box.m_box);
            if (onPath && node.node != m_path[m_pathSize - 1].node)
                m_path[m_pathSize++] = node;
            if (descend(node, value, query, stack, size))
                continue;
            // Only in octrees that omit empty children can no child meet the query.
            if (size == 0)
                return;
            node = stack[--size];
        }
    }

private:
    struct Entry
    {
        BoundingBox box;
        int node;
    };

    static bool strictlyInside(const float query[6], const float box[6])
    {
        return box[0] < query[0] && box[1] < query[1] && box[2] < query[2] && query[3] < box[3] &&
               query[4] < box[4] && query[5] < box[5];
    }

    static bool boxesMeet(const float a[6], const float b[6])
    {
        return a[0] <= a[3] && a[1] <= a[4] && a[2] <= a[5] && b[0] <= b[3] && b[1] <= b[4] &&
               b[2] <= b[5] && a[0] <= b[3] && b[0] <= a[3] && a[1] <= b[4] && b[1] <= a[4] &&
               a[2] <= b[5] && b[2] <= a[5];
    }

    // Replaces `node` by its first child (in the walk's order) whose box meets the query, pushes
    // the other such children in reverse order and returns true; returns false when no child
    // meets the query.
    bool descend(Entry& node, int firstChild, const float query[6], Entry* stack, int& size) const
    {
        // Per axis, the lower and upper halves' bounds: child slot bit b of the axis picks
        // [low[b], high[b]].
        float low[3][2], high[3][2];
        unsigned slots = 0xFF;  // bit s: child slot s meets the query
        for (int axis = 0; axis < 3; ++axis)
        {
            const float split = Octree::splitValue(node.box.m_box[axis], node.box.m_box[axis + 3]);
            low[axis][0] = node.box.m_box[axis];
            low[axis][1] = high[axis][0] = split;
            high[axis][1] = node.box.m_box[axis + 3];
            const unsigned upperHalf = upperSlots[axis];
            slots &= (query[axis] <= split ? ~upperHalf : 0u) |
                     (query[axis + 3] >= split ? upperHalf : 0u);
        }
        // Visit positions k (order[k] is the slot), last first, so the first child ends in
        // `node` and the others on the stack in reverse order.
        unsigned positions = m_positionsOfSlots[slots & 0xFF];
        bool found = false;
        while (positions != 0)
        {
            const int k = m_highestBit[positions];
            positions &= ~(1u << k);
            const int slot = m_order[k];
            const int child = firstChild + slot;
            if (m_nodes[child] == Octree::absentNode)
                continue;
            if (found)
                stack[size++] = node;
            found = true;
            node.node = child;
            for (int axis = 0; axis < 3; ++axis)
            {
                const int upper = (slot >> axis) & 1;
                node.box.m_box[axis] = low[axis][upper];
                node.box.m_box[axis + 3] = high[axis][upper];
            }
        }
        return found;
    }

    // Child slots whose box is the upper half along each axis: slot bit 0 is x, 1 y, 2 z.
    static constexpr unsigned upperSlots[3] = {0xAA, 0xCC, 0xF0};

    const int* m_nodes;
    OctreeIterator m_root;
    std::vector<Entry> m_stack;
    std::vector<Entry> m_path;  // m_path[0] is the root
    int m_pathSize = 1;
    int m_order[8];
    std::uint8_t m_positionsOfSlots[256];  // slot mask -> mask of positions k in m_order
    std::uint8_t m_highestBit[256];        // byte -> index of its highest set bit
};

/// The threaded partition over `Items`, which provides
///     int count() const;
///     bool box(int i, float box[6]) const;  // false: item i is listed nowhere
///     bool overlaps(int i, const BoundingBox& leafBox) const;  // only after box(i) was true
/// Every thread reads only the octree and the items and writes only its own slot.
template <class Items>
class OctreePartitionAlg : public oxUtil::ThreadedAlg
{
public:
    OctreePartitionAlg(const Octree& octree, const Items& items)
        : m_octree(octree), m_items(items), m_numItems(items.count())
    {
    }

    void initialize(int numThreads) override
    {
        m_pairs.assign(static_cast<std::size_t>(numThreads), std::vector<VoxelPair>());
        m_coherentHits.assign(static_cast<std::size_t>(numThreads), 0);
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_numItems, begin, end);
        // Built locally and moved into the slot at the end, so that threads never write next
        // to each other's vector headers while appending.
        std::vector<VoxelPair> pairs;
        pairs.reserve(static_cast<std::size_t>(reserveHint() / numThreads));
        std::uint32_t hits = 0;
        if (begin < end)
        {
            Walker walker(*this);
            for (int i = begin - begin % coherenceBlockSize; i < begin; ++i)
                walker.visit(i, nullptr);
            for (int i = begin; i < end; ++i)
            {
                if (i % coherenceBlockSize == 0)
                    walker.forgetLeaf();
                hits += walker.visit(i, &pairs);
            }
        }
        m_pairs[static_cast<std::size_t>(threadIndex)].swap(pairs);
        m_coherentHits[static_cast<std::size_t>(threadIndex)] = hits;
    }

    /// After the run, on the calling thread: builds `numLeaves` sets from the slots' pairs in
    /// thread order, so each set lists its items in ascending order. This is the stable
    /// counting sort of ArrayOfSets::assignFromPairs run over the slots one after the other
    /// instead of over their concatenation: the same sets, without copying every pair once more.
    PartitionCounts collect(int numLeaves, ArrayOfSets& sets) const
    {
        PartitionCounts counts;
        std::size_t total = 0;
        for (const std::vector<VoxelPair>& slot : m_pairs)
            total += slot.size();
        for (std::uint32_t hits : m_coherentHits)
            counts.coherentHits += hits;
        counts.numPairs = static_cast<int>(total);

        // Every member is written by the scatter below, so only the offsets are zeroed.
        ArrayOfSets result(numLeaves, counts.numPairs, ArrayOfSets::Unfilled{});
        int* offsets = result.getOffsets();
        int* data = result.getData();
        std::fill(offsets, offsets + numLeaves + 1, 0);
        for (const std::vector<VoxelPair>& slot : m_pairs)
            for (const VoxelPair& pair : slot)
                ++offsets[pair.leaf + 1];
        for (int leaf = 0; leaf < numLeaves; ++leaf)
            offsets[leaf + 1] += offsets[leaf];
        std::vector<int> next(offsets, offsets + numLeaves);
        for (const std::vector<VoxelPair>& slot : m_pairs)
            for (const VoxelPair& pair : slot)
                data[next[static_cast<std::size_t>(pair.leaf)]++] = pair.item;
        sets.swap(result);
        return counts;
    }

private:
    /// Two listings per item are reserved up front, so that appending rarely reallocates.
    std::int64_t reserveHint() const { return 2 * static_cast<std::int64_t>(m_numItems); }

    /// One thread's walking state: its leaf walk and the cached leaf.
    class Walker
    {
    public:
        explicit Walker(const OctreePartitionAlg& alg) : m_items(alg.m_items), m_walk(alg.m_octree)
        {
        }

        void forgetLeaf()
        {
            m_cachedBox = BoundingBox();
            m_cachedLeaf = -1;
        }

        /// Lists item i in `pairs` (nothing when null: a replay) and returns 1 when it took
        /// the cached leaf, 0 when it walked or was skipped. The cache ends on the last leaf
        /// the walk visited, touched or not.
        int visit(int i, std::vector<VoxelPair>* pairs)
        {
            float box[6];
            if (!m_items.box(i, box))
                return 0;
            if (cachedLeafContains(box))
            {
                if (pairs)
                    pairs->push_back({m_cachedLeaf, i});
                return 1;
            }
            m_walk.walk(box,
                        [&](int leaf, const BoundingBox& leafBox)
                        {
                            if (pairs && m_items.overlaps(i, leafBox))
                                pairs->push_back({leaf, i});
                            // Copied after the test, when the walk's writes to the box have
                            // settled: copying it at once stalls on them.
                            m_cachedLeaf = leaf;
                            m_cachedBox = leafBox;
                        });
            return 0;
        }

    private:
        // Closed containment; the empty box of a forgotten cache contains nothing.
        bool cachedLeafContains(const float box[6]) const
        {
            const float* cached = m_cachedBox.m_box;
            return cached[0] <= box[0] && cached[1] <= box[1] && cached[2] <= box[2] &&
                   box[3] <= cached[3] && box[4] <= cached[4] && box[5] <= cached[5];
        }

        const Items& m_items;
        LeafWalk m_walk;
        BoundingBox m_cachedBox;
        int m_cachedLeaf = -1;
    };

    const Octree& m_octree;
    const Items& m_items;
    int m_numItems;
    std::vector<std::vector<VoxelPair>> m_pairs;
    std::vector<std::uint32_t> m_coherentHits;
};
}  // namespace detail
}  // namespace oxGeom
