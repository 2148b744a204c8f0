// meshBoundingBox: equal to a brute-force box for every thread count, with and
// without a selection, empty on empty input, with its exact timing line.

#include <oxGeom/meshBoundingBox.h>

#include <oxGeom/CompactMesh.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
const float big = 3.4028235e38f;

void expectEmpty(const oxGeom::BoundingBox& box)
{
    for (int k = 0; k < 3; ++k)
    {
        EXPECT_EQ(box[k], big);
        EXPECT_EQ(box[3 + k], -big);
    }
}

// The box of the vertices whose `keep(i)` holds, by the obvious loop.
template <class Keep>
oxGeom::BoundingBox bruteForceBox(const oxGeom::PointMesh& mesh, Keep keep)
{
    float box[6] = {big, big, big, -big, -big, -big};
    const float* v = mesh.getVerticesRaw();
    for (int i = 0; i < mesh.getNumVertices(); ++i)
        if (keep(i))
            for (int k = 0; k < 3; ++k)
            {
                box[k] = std::min(box[k], v[3 * i + k]);
                box[3 + k] = std::max(box[3 + k], v[3 * i + k]);
            }
    oxGeom::BoundingBox result;
    std::copy(box, box + 6, result.data());
    return result;
}
}  // namespace

TEST(meshBoundingBox, matchesBruteForceForEveryThreadCount)
{
    const oxGeom::CompactMesh mesh = fixtures::randomMesh(5, 10007, 10);
    oxGeom::BitVector selection(mesh.getNumVertices());
    for (int i = 0; i < mesh.getNumVertices(); i += 7)
        selection.setBit(i);
    const oxGeom::BoundingBox all = bruteForceBox(mesh, [](int) { return true; });
    const oxGeom::BoundingBox selected =
        bruteForceBox(mesh, [&](int i) { return selection.isBitSet(i) != 0; });
    ASSERT_NE(all, selected);

    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        oxGeom::BoundingBox box;
        oxGeom::meshBoundingBox(mesh, box);
        EXPECT_EQ(box, all) << threads << " threads";
        oxGeom::meshBoundingBox(mesh, &selection, box);
        EXPECT_EQ(box, selected) << threads << " threads";
    }
}

TEST(meshBoundingBox, fewerVerticesThanThreadsAndSingleVertex)
{
    testsupport::PoolThreads pool(7);
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(square, box);
    EXPECT_EQ(box, bruteForceBox(square, [](int) { return true; }));

    // One selected vertex: minimum and maximum both equal it.
    oxGeom::BitVector one(4);
    one.setBit(2);
    oxGeom::meshBoundingBox(square, &one, box);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(box[k], box[3 + k]);
    EXPECT_EQ(box[0], 1.0f);
    EXPECT_EQ(box[1], 1.0f);
}

TEST(meshBoundingBox, emptyInputsGiveTheEmptyBoxAndPrintTheFullCount)
{
    const oxGeom::CompactMesh cube = fixtures::cube();
    testsupport::DebugCapture capture;
    oxGeom::BoundingBox box;
    box.zero();
    oxGeom::BitVector none(cube.getNumVertices());
    oxGeom::meshBoundingBox(cube, &none, box);
    expectEmpty(box);
    EXPECT_EQ(capture.text(), "meshBoundingBox: 8 vertices  # s\n");

    capture.clear();
    box.zero();
    oxGeom::meshBoundingBox(fixtures::emptyMesh(), box);
    expectEmpty(box);
    EXPECT_EQ(capture.text(), "meshBoundingBox: 0 vertices  # s\n");

    double lo[3], hi[3];
    oxGeom::meshBoundingBox(fixtures::emptyMesh(), lo, hi);
    for (int k = 0; k < 3; ++k)
    {
        EXPECT_EQ(lo[k], double(big));
        EXPECT_EQ(hi[k], -double(big));
    }
}

TEST(meshBoundingBox, doubleCornersAndShortSelection)
{
    oxGeom::CompactMesh mesh = fixtures::randomMesh(9, 100, 0);
    double lo[3], hi[3];
    oxGeom::meshBoundingBox(mesh, lo, hi);
    const oxGeom::BoundingBox expected = bruteForceBox(mesh, [](int) { return true; });
    for (int k = 0; k < 3; ++k)
    {
        EXPECT_EQ(lo[k], double(expected[k]));
        EXPECT_EQ(hi[k], double(expected[3 + k]));
    }

    // A selection shorter than the vertex array: the vertices past its end
    // count as unselected instead of being read out of bounds.
    oxGeom::BitVector shortSelection(10);
    shortSelection.setAllBits();
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(mesh, &shortSelection, box);
    EXPECT_EQ(box, bruteForceBox(mesh, [](int i) { return i < 10; }));
}

TEST(meshBoundingBox, nanCoordinatesNeverEnterTheBox)
{
    oxGeom::CompactMesh square = fixtures::unitSquare();
    square.getVertices()[1][0] = std::numeric_limits<float>::quiet_NaN();
    square.getVertices()[3][2] = std::numeric_limits<float>::quiet_NaN();
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(square, box);
    EXPECT_EQ(box[0], 0.0f);
    EXPECT_EQ(box[3], 1.0f);
    EXPECT_EQ(box[2], 0.0f);
    EXPECT_EQ(box[5], 0.0f);
}
