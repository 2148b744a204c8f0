// KDTree: box searches against a linear scan (smallest index inside the closed
// box) over points with duplicates and points on the box faces, under shuffled,
// sorted and interleaved insertion; height bounds for orders that make a plain
// k-d tree a list; NaN points and degenerate boxes.

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
BoundingBox makeBox(float x0, float y0, float z0, float x1, float y1, float z1)
{
    BoundingBox box;
    const float values[6] = {x0, y0, z0, x1, y1, z1};
    std::copy(values, values + 6, box.data());
    return box;
}

int linearSearch(const std::vector<float>& positions, const std::vector<int>& stored,
                 const BoundingBox& box)
{
    int best = INT_MAX;
    for (int index : stored)
    {
        bool inside = true;
        for (int a = 0; a < 3; ++a)
            inside = inside && box[a] <= positions[3 * index + a] &&
                     positions[3 * index + a] <= box[a + 3];
        if (inside)
            best = std::min(best, index);
    }
    return best == INT_MAX ? -1 : best;
}

// `count` points and boxes drawn from `value`; a coarse grid of values gives
// duplicates and points on box faces.
template <class Distribution>
void checkAgainstLinearSearch(int count, Distribution value, std::mt19937& random)
{
    std::vector<float> positions(3 * count);
    for (float& x : positions)
        x = value(random);
    std::vector<int> shuffled(count), sorted(count), interleaved;
    std::iota(shuffled.begin(), shuffled.end(), 0);
    std::iota(sorted.begin(), sorted.end(), 0);
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    std::sort(sorted.begin(), sorted.end(),
              [&](int a, int b)
              {
                  return positions[3 * a] + 1e-3f * positions[3 * a + 1] <
                         positions[3 * b] + 1e-3f * positions[3 * b + 1];
              });
    for (int pass = 0; pass < 100; ++pass)  // stride 100, as the merge inserts
        for (int i = pass; i < count; i += 100)
            interleaved.push_back(sorted[i]);

    for (const std::vector<int>& order : {shuffled, sorted, interleaved})
    {
        KDTree tree(count / 2);  // grows past its reservation
        std::vector<int> stored;
        for (int i = 0; i < count; ++i)
        {
            tree.insert(positions.data(), order[i]);
            stored.push_back(order[i]);
            if (i % 97 != 0 && i != count - 1)
                continue;
            for (int q = 0; q < (i == count - 1 ? 800 : 3); ++q)
            {
                float corner[6];
                for (float& c : corner)
                    c = value(random);
                const BoundingBox box =
                    makeBox(std::min(corner[0], corner[3]), std::min(corner[1], corner[4]),
                            std::min(corner[2], corner[5]), std::max(corner[0], corner[3]),
                            std::max(corner[1], corner[4]), std::max(corner[2], corner[5]));
                ASSERT_EQ(tree.search(positions.data(), box), linearSearch(positions, stored, box));
            }
        }
        for (int i = 0; i < count; i += 37)  // a point box finds the first duplicate
        {
            const float* p = &positions[3 * i];
            const BoundingBox box = makeBox(p[0], p[1], p[2], p[0], p[1], p[2]);
            ASSERT_EQ(tree.search(positions.data(), box), linearSearch(positions, stored, box));
        }
    }
}
}  // namespace

TEST(KDTree, searchFindsSmallestIndexInClosedBox)
{
    std::mt19937 random(5);
    std::uniform_int_distribution<int> step(0, 8);
    checkAgainstLinearSearch(
        3000, [&](std::mt19937& r) { return 0.25f * step(r); }, random);
    std::uniform_real_distribution<float> value(-10.0f, 10.0f);
    checkAgainstLinearSearch(2000, value, random);
}

TEST(KDTree, heightStaysLogarithmicForOrderedInput)
{
    // A flat 200 x 200 grid inserted row by row is a list to a plain k-d tree.
    const int side = 200, count = side * side;
    std::vector<float> positions;
    for (int j = 0; j < side; ++j)
        for (int i = 0; i < side; ++i)
            positions.insert(positions.end(), {float(i), float(j), 0.0f});
    const auto bound = [](int n) { return int(std::log(double(n)) / std::log(1.0 / 0.7)) + 2; };
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
        EXPECT_LE(tree.height(), bound(count));
        EXPECT_EQ(tree.search(positions.data(), makeBox(99, 99, 0, 101, 101, 0)), 99 * side + 99);
    }

    // One point stored a thousand times: balanced too, and the smallest index
    // (inserted last) is the one found.
    const std::vector<float> same(3000, 1.5f);
    KDTree tree;
    for (int i = 999; i >= 0; --i)
        tree.insert(same.data(), i);
    EXPECT_LE(tree.height(), bound(1000));
    EXPECT_EQ(tree.search(same.data(), makeBox(1.5f, 1.5f, 1.5f, 1.5f, 1.5f, 1.5f)), 0);
}

TEST(KDTree, nanPointsAndDegenerateBoxesFindNothing)
{
    // Points 1 and 3 have a NaN coordinate: stored, never found, and they do not
    // hide the points around them.
    const float n = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> positions = {0, 0, 0, n, 0, 0, 1,    1,    1,
                                          0, n, 0, 2, 2, 2, 0.5f, 0.5f, 0.5f};
    KDTree tree(2);
    for (int round = 0; round < 40; ++round)  // deep enough to trigger rebuilds
        for (int i = 0; i < 6; ++i)
            tree.insert(positions.data(), i);
    const BoundingBox everything = makeBox(-5, -5, -5, 5, 5, 5);
    EXPECT_EQ(tree.search(positions.data(), everything), 0);
    EXPECT_EQ(tree.search(positions.data(), makeBox(0.5f, -5, -5, 5, 5, 5)), 2);
    EXPECT_EQ(tree.search(positions.data(), makeBox(1.5f, 1.5f, 1.5f, 5, 5, 5)), 4);

    EXPECT_EQ(tree.search(positions.data(), makeBox(-5, -5, -5, 5, n, 5)), -1);
    EXPECT_EQ(tree.search(positions.data(), makeBox(1, 0, 0, -1, 1, 1)), -1);  // inside out
    EXPECT_EQ(tree.search(positions.data(), BoundingBox()), -1);               // the empty box
    EXPECT_EQ(tree.search(nullptr, everything), -1);

    tree.insert(nullptr, 0);
    tree.insert(positions.data(), -1);
    tree.insert(positions.data(), 1 << 29);  // beyond the index range
    EXPECT_EQ(tree.size(), 240);
    tree.clear();
    EXPECT_EQ(tree.height(), 0);
    EXPECT_EQ(tree.search(positions.data(), everything), -1);
}
