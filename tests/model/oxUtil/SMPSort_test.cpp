// The two-way parallel index sort: pieces split at ceil(n / 2), both merge
// directions stable, and the driver equal to std::stable_sort for every thread
// count. Keys have many ties so that an unstable merge step shows.

#include "oxUtil/SMPSort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "support/debugCapture.h"

namespace
{
// Sizes around the split's odd/even cases and large enough for introsort.
const int sizes[] = {0, 1, 2, 3, 4, 5, 17, 100, 1001, 10007};

// n item indices in a shuffled order, and per item a key in [0, distinctKeys).
struct Items
{
    std::vector<int> keys;
    std::vector<int> order;
    Items(int n, int distinctKeys, std::uint32_t seed) : keys(n), order(n)
    {
        std::mt19937 random(seed);
        for (int& key : keys)
            key = static_cast<int>(random() % static_cast<std::uint32_t>(distinctKeys));
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), random);
    }
};

// Orders item indices by key only: equal keys are ties.
struct KeyLess
{
    const int* keys;
    bool operator()(int a, int b) const { return keys[a] < keys[b]; }
};

// Orders by key, then by index: a total order, so every correct sort agrees.
struct KeyIndexLess
{
    const int* keys;
    bool operator()(int a, int b) const { return keys[a] != keys[b] ? keys[a] < keys[b] : a < b; }
};

std::vector<int> stableSorted(std::vector<int> values, KeyLess less)
{
    std::stable_sort(values.begin(), values.end(), less);
    return values;
}

int firstPieceSize(int n)
{
    return (n + 1) / 2;
}
}  // namespace

TEST(SMPSort, driverMatchesStableSortForEveryThreadCount)
{
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        for (int n : sizes)
        {
            Items items(n, 7, 11u + n);
            const KeyLess byKey{items.keys.data()};
            const std::vector<int> expected = stableSorted(items.order, byKey);

            // A total order fixes the result completely.
            std::vector<int> sorted = items.order;
            oxUtil::smpSort(sorted.data(), sorted.data() + n, KeyIndexLess{items.keys.data()});
            std::vector<int> byIndexWithinKey = items.order;
            std::sort(byIndexWithinKey.begin(), byIndexWithinKey.end(),
                      KeyIndexLess{items.keys.data()});
            EXPECT_EQ(sorted, byIndexWithinKey) << threads << " threads, n = " << n;

            // With ties only the key sequence is fixed; the entries stay a permutation.
            std::vector<int> tied = items.order;
            oxUtil::smpSort(tied.data(), tied.data() + n, byKey);
            for (int k = 0; k < n; ++k)
                ASSERT_EQ(items.keys[tied[k]], items.keys[expected[k]])
                    << threads << " threads, n = " << n << ", k = " << k;
            std::sort(tied.begin(), tied.end());
            std::vector<int> identity(n);
            std::iota(identity.begin(), identity.end(), 0);
            EXPECT_EQ(tied, identity) << threads << " threads, n = " << n;
        }
    }
}

TEST(SMPSort, piecesSplitAtHalfRoundedUp)
{
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        for (int n : sizes)
        {
            Items items(n, 1000, 5u + n);
            std::vector<int> values = items.order;
            oxUtil::SMPSortPiecewise<KeyIndexLess> pieces(values.data(), values.data() + n,
                                                          KeyIndexLess{items.keys.data()});
            oxUtil::ThreadPool::get().run(pieces);

            // Each piece holds exactly its own entries, sorted.
            const int h = firstPieceSize(n);
            std::vector<int> expected = items.order;
            std::sort(expected.begin(), expected.begin() + h, KeyIndexLess{items.keys.data()});
            std::sort(expected.begin() + h, expected.end(), KeyIndexLess{items.keys.data()});
            EXPECT_EQ(values, expected) << threads << " threads, n = " << n;
        }
    }
}

// Two stably presorted pieces merged by both directions at once must give the
// stable order of the whole: a merge that prefers piece 1 on a tie (forwards)
// or piece 0 on a tie (backwards) reorders equal keys.
TEST(SMPSort, bothMergeDirectionsAreStable)
{
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        for (int n : sizes)
            for (int distinctKeys : {1, 3, 50})
            {
                Items items(n, distinctKeys, 23u + n);
                const KeyLess byKey{items.keys.data()};
                const int h = firstPieceSize(n);
                std::vector<int> values = items.order;
                std::stable_sort(values.begin(), values.begin() + h, byKey);
                std::stable_sort(values.begin() + h, values.end(), byKey);

                oxUtil::SMPSortMerge<KeyLess> merge(values.data(), values.data() + n, byKey);
                oxUtil::ThreadPool::get().run(merge);
                EXPECT_EQ(values, stableSorted(items.order, byKey))
                    << threads << " threads, n = " << n << ", keys " << distinctKeys;
            }
    }
}

// Run directly on a one-thread pool, thread 0 does the work of both threads.
TEST(SMPSort, oneThreadPoolRunsBothPiecesAndBothMerges)
{
    oxUtil::ThreadPool single(1);
    for (oxUtil::ThreadPool* pool : {&single, &oxUtil::ThreadPool::getSingleThreadedPool()})
        for (int n : sizes)
        {
            Items items(n, 4, 31u + n);
            const KeyIndexLess less{items.keys.data()};
            std::vector<int> values = items.order;
            oxUtil::SMPSortPiecewise<KeyIndexLess> pieces(values.data(), values.data() + n, less);
            pool->run(pieces);
            oxUtil::SMPSortMerge<KeyIndexLess> merge(values.data(), values.data() + n, less);
            pool->run(merge);

            std::vector<int> expected = items.order;
            std::sort(expected.begin(), expected.end(), less);
            EXPECT_EQ(values, expected) << "n = " << n;
        }
}
