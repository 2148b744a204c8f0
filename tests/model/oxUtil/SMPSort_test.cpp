// The two-way parallel index sort against std::sort / std::stable_sort for every
// thread count (a one-thread run does both threads' work): pieces split at
// ceil(n / 2), and both merge directions stable on keys with many ties.

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
// Sizes around the odd/even split and large enough for introsort.
const int sizes[] = {0, 1, 2, 3, 4, 5, 17, 1001, 10007};

// A shuffled array of the item indices 0 .. n-1, each item with a key in [0, distinct).
struct Items
{
    std::vector<int> keys, order;
    Items(int n, int distinct, std::uint32_t seed) : keys(n), order(n)
    {
        std::mt19937 random(seed);
        for (int& key : keys)
            key = static_cast<int>(random() % static_cast<std::uint32_t>(distinct));
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), random);
    }
};

// By key only: equal keys tie.
struct KeyLess
{
    const int* keys;
    bool operator()(int a, int b) const { return keys[a] < keys[b]; }
};

// By key, then index: a total order that every correct sort agrees on.
struct KeyIndexLess
{
    const int* keys;
    bool operator()(int a, int b) const { return keys[a] != keys[b] ? keys[a] < keys[b] : a < b; }
};
}  // namespace

TEST(SMPSort, driverMatchesSerialSortForEveryThreadCount)
{
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        for (int n : sizes)
        {
            const Items items(n, 7, 11u + n);
            const KeyIndexLess less{items.keys.data()};
            std::vector<int> sorted = items.order, expected = items.order;
            oxUtil::smpSort(sorted.data(), sorted.data() + n, less);
            std::sort(expected.begin(), expected.end(), less);
            EXPECT_EQ(sorted, expected) << threads << " threads, n = " << n;
        }
    }
}

TEST(SMPSort, piecesSplitAtHalfRoundedUpAndBothMergesAreStable)
{
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        for (int n : sizes)
        {
            const int half = (n + 1) / 2;
            const Items items(n, 3, 23u + n);

            // Each piece holds exactly its own entries, sorted.
            const KeyIndexLess total{items.keys.data()};
            std::vector<int> pieces = items.order, expected = items.order;
            oxUtil::SMPSortPiecewise<KeyIndexLess> sortPieces(pieces.data(), pieces.data() + n,
                                                              total);
            oxUtil::ThreadPool::get().run(sortPieces);
            std::sort(expected.begin(), expected.begin() + half, total);
            std::sort(expected.begin() + half, expected.end(), total);
            EXPECT_EQ(pieces, expected) << threads << " threads, n = " << n;

            // Stably presorted pieces merge into the stable order of the whole:
            // preferring piece 1 on a tie (forwards) or piece 0 (backwards) shows.
            const KeyLess byKey{items.keys.data()};
            std::vector<int> merged = items.order, stable = items.order;
            std::stable_sort(merged.begin(), merged.begin() + half, byKey);
            std::stable_sort(merged.begin() + half, merged.end(), byKey);
            oxUtil::SMPSortMerge<KeyLess> merge(merged.data(), merged.data() + n, byKey);
            oxUtil::ThreadPool::get().run(merge);
            std::stable_sort(stable.begin(), stable.end(), byKey);
            EXPECT_EQ(merged, stable) << threads << " threads, n = " << n;
        }
    }
}
