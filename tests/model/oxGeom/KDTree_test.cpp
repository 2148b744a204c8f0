// KDTree: box searches against a linear scan (smallest index inside the closed
// box) over random points with duplicates and points on the box faces, under
// shuffled, sorted and interleaved insertion; height bounds for orders that
// would make a plain k-d tree a list; NaN points and degenerate boxes.

#include <oxGeom/KDTree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::KDTree;

namespace
{
const float notANumber = std::numeric_limits<float>::quiet_NaN();

// The smallest inserted index whose point lies in the closed box, or -1.
int bruteForceSearch(const std::vector<float>& positions, const std::vector<int>& inserted,
                     const BoundingBox& box)
{
    int best = INT_MAX;
    for (int index : inserted)
    {
        const float* p = &positions[3 * index];
        bool inside = true;
        for (int a = 0; a < 3; ++a)
            inside = inside && box[a] <= p[a] && p[a] <= box[a + 3];
        if (inside)
            best = std::min(best, index);
    }
    return best == INT_MAX ? -1 : best;
}

BoundingBox makeBox(float x0, float y0, float z0, float x1, float y1, float z1)
{
    BoundingBox box;
    const float values[6] = {x0, y0, z0, x1, y1, z1};
    std::copy(values, values + 6, box.data());
    return box;
}

// Coordinates on a grid of step 0.25 in [0, 2]: many exact duplicates, and box
// corners drawn from the same grid put points exactly on box faces.
std::vector<float> gridPositions(int count, std::mt19937& random)
{
    std::uniform_int_distribution<int> step(0, 8);
    std::vector<float> positions(3 * static_cast<size_t>(count));
    for (float& x : positions)
        x = 0.25f * step(random);
    return positions;
}

BoundingBox gridBox(std::mt19937& random)
{
    std::uniform_int_distribution<int> step(0, 8);
    float values[6];
    for (int a = 0; a < 3; ++a)
    {
        const float u = 0.25f * step(random), v = 0.25f * step(random);
        values[a] = std::min(u, v);
        values[a + 3] = std::max(u, v);
    }
    return makeBox(values[0], values[1], values[2], values[3], values[4], values[5]);
}

// The insertion orders the tree must cope with.
std::vector<std::vector<int>> insertionOrders(const std::vector<float>& positions, int count)
{
    std::vector<int> shuffled(count);
    std::iota(shuffled.begin(), shuffled.end(), 0);
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(11));
    std::vector<int> sorted(count);
    std::iota(sorted.begin(), sorted.end(), 0);
    std::sort(sorted.begin(), sorted.end(),
              [&](int a, int b)
              {
                  return std::lexicographical_compare(&positions[3 * a], &positions[3 * a + 3],
                                                      &positions[3 * b], &positions[3 * b + 3]);
              });
    std::vector<int> interleaved;  // stride 100, as the merge inserts
    for (int pass = 0; pass < 100; ++pass)
        for (int i = pass; i < count; i += 100)
            interleaved.push_back(sorted[i]);
    return {shuffled, sorted, interleaved};
}
}  // namespace

TEST(KDTree, searchFindsSmallestIndexInClosedBox)
{
    std::mt19937 random(5);
    const int count = 3000;
    const std::vector<float> positions = gridPositions(count, random);
    for (const std::vector<int>& order : insertionOrders(positions, count))
    {
        KDTree tree(count / 2);  // grows past its reservation
        std::vector<int> inserted;
        for (int i = 0; i < count; ++i)
        {
            tree.insert(positions.data(), order[i]);
            inserted.push_back(order[i]);
            if (i % 500 == 0)  // partial trees answer too
            {
                const BoundingBox box = gridBox(random);
                ASSERT_EQ(tree.search(positions.data(), box),
                          bruteForceSearch(positions, inserted, box));
            }
        }
        EXPECT_EQ(tree.size(), count);
        for (int q = 0; q < 1500; ++q)
        {
            const BoundingBox box = gridBox(random);
            ASSERT_EQ(tree.search(positions.data(), box),
                      bruteForceSearch(positions, inserted, box))
                << q;
        }
        // Point boxes on stored points: the smallest index of the duplicates.
        for (int i = 0; i < count; i += 37)
        {
            const float* p = &positions[3 * i];
            const BoundingBox box = makeBox(p[0], p[1], p[2], p[0], p[1], p[2]);
            const int found = tree.search(positions.data(), box);
            ASSERT_EQ(found, bruteForceSearch(positions, inserted, box));
            ASSERT_LE(found, i);
        }
    }
}

TEST(KDTree, searchMatchesLinearScanOnContinuousPoints)
{
    std::mt19937 random(8);
    std::uniform_real_distribution<float> value(-10.0f, 10.0f);
    std::uniform_real_distribution<float> half(0.0f, 3.0f);
    const int count = 5000;
    std::vector<float> positions(3 * count);
    for (float& x : positions)
        x = value(random);
    KDTree tree(count);
    std::vector<int> inserted;
    for (int i = 0; i < count; i += 2)  // odd indices never stored
    {
        tree.insert(positions.data(), i);
        inserted.push_back(i);
    }
    int hits = 0;
    for (int q = 0; q < 2000; ++q)
    {
        const float c[3] = {value(random), value(random), value(random)};
        const float h[3] = {half(random), half(random), half(random)};
        const BoundingBox box =
            makeBox(c[0] - h[0], c[1] - h[1], c[2] - h[2], c[0] + h[0], c[1] + h[1], c[2] + h[2]);
        const int expected = bruteForceSearch(positions, inserted, box);
        ASSERT_EQ(tree.search(positions.data(), box), expected) << q;
        hits += expected >= 0;
    }
    EXPECT_GT(hits, 200);  // both outcomes are exercised
    EXPECT_LT(hits, 1800);
}

TEST(KDTree, heightStaysLogarithmicForOrderedInput)
{
    // A 200 x 200 flat grid inserted row by row is a list to a plain k-d tree;
    // the balance rule keeps the height within log_{1/0.7} n + 1.
    const int side = 200, count = side * side;
    std::vector<float> positions;
    for (int j = 0; j < side; ++j)
        for (int i = 0; i < side; ++i)
            positions.insert(positions.end(), {float(i), float(j), 0.0f});
    const int bound = static_cast<int>(std::log(double(count)) / std::log(1.0 / 0.7)) + 2;

    std::vector<int> rowMajor(count), interleaved;
    std::iota(rowMajor.begin(), rowMajor.end(), 0);
    for (int pass = 0; pass < 100; ++pass)
        for (int i = pass; i < count; i += 100)
            interleaved.push_back(i);
    for (const std::vector<int>& order : {rowMajor, interleaved})
    {
        KDTree tree(count);
        for (int index : order)
            tree.insert(positions.data(), index);
        EXPECT_LE(tree.height(), bound);
        EXPECT_GE(tree.height(), 16);  // at least log2(40000)
        // A unit box around an interior point holds its 3 x 3 neighbourhood.
        const BoundingBox box = makeBox(99, 99, 0, 101, 101, 0);
        EXPECT_EQ(tree.search(positions.data(), box), 99 * side + 99);
    }

    // One point stored a thousand times: still balanced, and the first index wins.
    std::vector<float> same(3000, 1.5f);
    KDTree tree;
    for (int i = 999; i >= 0; --i)
        tree.insert(same.data(), i);
    EXPECT_LE(tree.height(), static_cast<int>(std::log(1000.0) / std::log(1.0 / 0.7)) + 2);
    EXPECT_EQ(tree.search(same.data(), makeBox(1.5f, 1.5f, 1.5f, 1.5f, 1.5f, 1.5f)), 0);
}

TEST(KDTree, nanPointsAndDegenerateBoxesFindNothing)
{
    // Points 1 and 3 have a NaN coordinate: stored, never inside a box, and they
    // do not hide the ordinary points around them.
    // clang-format off
    const float n = notANumber;
    std::vector<float> positions = {
        0, 0, 0,  // 0
        n, 0, 0,  // 1
        1, 1, 1,  // 2
        0, n, 0,  // 3
        2, 2, 2,  // 4
        0.5f, 0.5f, 0.5f,  // 5
    };
    // clang-format on
    KDTree tree(2);
    for (int round = 0; round < 40; ++round)  // deep enough to trigger rebuilds
        for (int i = 0; i < 6; ++i)
            tree.insert(positions.data(), i);
    EXPECT_EQ(tree.size(), 240);
    const BoundingBox everything = makeBox(-5, -5, -5, 5, 5, 5);
    EXPECT_EQ(tree.search(positions.data(), everything), 0);
    EXPECT_EQ(tree.search(positions.data(), makeBox(0.5f, -5, -5, 5, 5, 5)), 2);
    EXPECT_EQ(tree.search(positions.data(), makeBox(-1, -1, -1, 0.25f, 0.25f, 0.25f)), 0);
    EXPECT_EQ(tree.search(positions.data(), makeBox(1.5f, 1.5f, 1.5f, 5, 5, 5)), 4);

    EXPECT_EQ(tree.search(positions.data(), makeBox(notANumber, -5, -5, 5, 5, 5)), -1);
    EXPECT_EQ(tree.search(positions.data(), makeBox(-5, -5, -5, 5, notANumber, 5)), -1);
    EXPECT_EQ(tree.search(positions.data(), makeBox(1, 0, 0, -1, 1, 1)), -1);  // inside out
    EXPECT_EQ(tree.search(positions.data(), BoundingBox()), -1);               // the empty box
    EXPECT_EQ(tree.search(nullptr, everything), -1);

    tree.insert(nullptr, 0);
    tree.insert(positions.data(), -1);
    EXPECT_EQ(tree.size(), 240);
    tree.clear();
    EXPECT_TRUE(tree.empty());
    EXPECT_EQ(tree.height(), 0);
    EXPECT_EQ(tree.search(positions.data(), everything), -1);
    KDTree negativeCapacity(-3);
    negativeCapacity.insert(positions.data(), 5);
    EXPECT_EQ(negativeCapacity.search(positions.data(), everything), 5);
}
