#pragma once
// The partition of mesh items (triangles or lines) into octree leaves that computeOctreeTris and
// meshOctreeLines share; private to the library. Each pool thread walks its slice of the items
// with its own box iterator and a one-leaf coherence cache, and the calling thread concatenates
// the per-thread (leaf, item) pairs in thread order and sorts them into per-leaf sets.

#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/BoundingBox.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeIterators.h>
#include <oxUtil/ThreadedAlg.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace oxGeom
{
namespace detail
{
/// One listing: (leaf number, item index), the pair layout ArrayOfSets::assignFromPairs reads.
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

/// The threaded partition over `Items`, which provides
///     int count() const;
///     bool box(int i, BoundingBox& box) const;  // false: item i is listed nowhere
///     bool overlaps(int i, const BoundingBox& leafBox) const;
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

    /// After the run, on the calling thread: concatenates the slots in thread order (so the
    /// pairs come by ascending item) and builds `numLeaves` sets from them.
    PartitionCounts collect(int numLeaves, ArrayOfSets& sets) const
    {
        PartitionCounts counts;
        std::size_t total = 0;
        for (const std::vector<VoxelPair>& slot : m_pairs)
            total += slot.size();
        std::vector<int> flat;
        flat.reserve(2 * total);
        for (const std::vector<VoxelPair>& slot : m_pairs)
            for (const VoxelPair& pair : slot)
            {
                flat.push_back(pair.leaf);
                flat.push_back(pair.item);
            }
        for (std::uint32_t hits : m_coherentHits)
            counts.coherentHits += hits;
        counts.numPairs = static_cast<int>(total);
        sets.assignFromPairs(numLeaves, counts.numPairs, flat.data());
        return counts;
    }

private:
    /// Two listings per item are reserved up front, so that appending rarely reallocates.
    std::int64_t reserveHint() const { return 2 * static_cast<std::int64_t>(m_numItems); }

    /// One thread's walking state: its box iterator, the item's box (which the iterator reads
    /// by pointer) and the cached leaf.
    class Walker
    {
    public:
        explicit Walker(const OctreePartitionAlg& alg) : m_alg(alg), m_walk(alg.m_octree) {}

        void forgetLeaf() { m_cached = OctreeIterator(); }

        /// Lists item i in `pairs` (nothing when null: a replay) and returns 1 when it took
        /// the cached leaf, 0 when it walked or was skipped. The cache ends on the last leaf
        /// the walk visited, touched or not.
        int visit(int i, std::vector<VoxelPair>* pairs)
        {
            if (!m_alg.m_items.box(i, m_box))
                return 0;
            if (m_cached.getBox().contains(m_box))
            {
                if (pairs)
                    pairs->push_back({m_cached.getLeafNumber(), i});
                return 1;
            }
            for (m_walk.reset(m_box); m_walk.valid(); m_walk.next())
            {
                m_cached = m_walk.get();
                if (pairs && m_alg.m_items.overlaps(i, m_cached.getBox()))
                    pairs->push_back({m_cached.getLeafNumber(), i});
            }
            return 0;
        }

    private:
        const OctreePartitionAlg& m_alg;
        OctreeBBoxIntersectIt m_walk;
        OctreeIterator m_cached;
        BoundingBox m_box;
    };

    const Octree& m_octree;
    const Items& m_items;
    int m_numItems;
    std::vector<std::vector<VoxelPair>> m_pairs;
    std::vector<std::uint32_t> m_coherentHits;
};
}  // namespace detail
}  // namespace oxGeom
