// meshDuplicateTris: the three lists against a brute-force O(T^2) comparison on
// random meshes with planted duplicates and degenerate triangles, for every thread
// count; the documented edge cases; getBadTriangles; the exact diagnostic line.

#include <oxGeom/meshDuplicateTris.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshDuplicateTrisResult;

namespace
{
struct Expected
{
    std::vector<int> duplicates, indexDegenerates, positionDegenerates;
};

std::array<int, 3> vertexSet(const oxGeom::MeshTriangle& t)
{
    std::array<int, 3> s = {t[0], t[1], t[2]};
    std::sort(s.begin(), s.end());
    return s;
}

// Every pair compared directly. A triangle is a duplicate when an earlier one
// has the same vertex set; the list runs in order of vertex set, then index.
Expected bruteForce(const CompactMesh& mesh)
{
    Expected e;
    const oxGeom::MeshTriangle* t = mesh.getTriangles();
    const oxGeom::MeshVertex* p = mesh.getVertices();
    std::vector<std::pair<std::array<int, 3>, int>> duplicates;
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        for (int j = 0; j < i; ++j)
            if (vertexSet(t[i]) == vertexSet(t[j]))
            {
                duplicates.push_back({vertexSet(t[i]), i});
                break;
            }
        const std::array<int, 3> s = vertexSet(t[i]);
        if (s[0] == s[1] || s[1] == s[2])
        {
            e.indexDegenerates.push_back(i);
            continue;
        }
        bool coincide = false;
        for (int a = 0; a < 3; ++a)
            for (int b = a + 1; b < 3; ++b)
                coincide |= p[t[i][a]][0] == p[t[i][b]][0] && p[t[i][a]][1] == p[t[i][b]][1] &&
                            p[t[i][a]][2] == p[t[i][b]][2];
        if (coincide)
            e.positionDegenerates.push_back(i);
    }
    std::sort(duplicates.begin(), duplicates.end());
    for (const auto& d : duplicates)
        e.duplicates.push_back(d.second);
    return e;
}

// A random soup over few vertices (so some duplicates arise by chance) with
// planted copies in shuffled corner order, index-degenerate triangles, and
// vertices placed exactly on others (one of them at -0 where the other has 0).
CompactMesh plantedMesh(std::uint32_t seed)
{
    std::mt19937 random(seed);
    CompactMesh soup = fixtures::randomMesh(seed, 40, 300);
    std::vector<float> positions(soup.getVerticesRaw(), soup.getVerticesRaw() + 3 * 40);
    std::vector<int> tris = testsupport::triangleList(soup);
    for (int k = 0; k < 60; ++k)
    {
        const int source = static_cast<int>(random() % 300);
        int corners[3] = {tris[3 * source], tris[3 * source + 1], tris[3 * source + 2]};
        std::shuffle(corners, corners + 3, random);
        tris.insert(tris.end(), corners, corners + 3);
    }
    for (int k = 0; k < 30; ++k)
    {
        const int a = static_cast<int>(random() % 40), b = static_cast<int>(random() % 40);
        const int kind = static_cast<int>(random() % 4);
        const std::vector<int> degenerate[] = {{a, a, b}, {a, b, b}, {b, a, b}, {a, a, a}};
        tris.insert(tris.end(), degenerate[kind].begin(), degenerate[kind].end());
    }
    // Vertices 40.. copy positions of vertices 0..9; vertex 0 is moved to x = 0
    // and its copy to x = -0.
    positions[0] = 0.0f;
    for (int v = 0; v < 10; ++v)
        positions.insert(positions.end(), positions.begin() + 3 * v, positions.begin() + 3 * v + 3);
    positions[3 * 40] = -0.0f;
    for (int k = 0; k < 20; ++k)
    {
        const int v = static_cast<int>(random() % 10);
        const int other = 10 + static_cast<int>(random() % 30);
        tris.insert(tris.end(), {v, other, 40 + v});
    }
    return testsupport::makeMesh(positions, tris);
}
}  // namespace

TEST(meshDuplicateTris, matchesBruteForceOnPlantedMeshesForEveryThreadCount)
{
    for (std::uint32_t seed : {1u, 2u, 3u})
    {
        const CompactMesh mesh = plantedMesh(seed);
        const Expected expected = bruteForce(mesh);
        ASSERT_GT(expected.duplicates.size(), 50u);
        ASSERT_GT(expected.indexDegenerates.size(), 20u);
        ASSERT_GT(expected.positionDegenerates.size(), 15u);
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            MeshDuplicateTrisResult result;
            result.getDuplicates().push_back(-3);  // stale content is replaced
            EXPECT_TRUE(oxGeom::meshDuplicateTris(mesh, result));
            EXPECT_EQ(result.getDuplicates(), expected.duplicates) << threads << " threads";
            EXPECT_EQ(result.getIndexDegenerates(), expected.indexDegenerates);
            EXPECT_EQ(result.getPositionDegenerates(), expected.positionDegenerates);
        }
    }
}

TEST(meshDuplicateTris, windingsCopiesAndDegenerateEdgeCases)
{
    // Vertices 4 and 7 share a position; 5 is at (-0, 0, 0) and 6 at (0, -0, 0);
    // 8 has a NaN coordinate like 9.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh mesh =
        testsupport::makeMesh({0,     0, 0, 1, 0,     0, 0, 1, 0, 1,   1, 0, 2,   2, 2,
                               -0.0f, 0, 0, 0, -0.0f, 0, 2, 2, 2, nan, 0, 0, nan, 0, 0},
                              {0, 1,  2, 2, 1, 0,           // 0, 1: same set, other winding
                               1, 2,  3, 3, 1, 2, 2, 3, 1,  // 2, 3, 4: three copies
                               4, 4,  7,    // 5: index-degenerate though 4 and 7 coincide
                               4, 7,  4,    // 6: its duplicate, also index-degenerate
                               4, 7,  1,    // 7: position-degenerate
                               5, 6,  1,    // 8: -0 equals 0
                               8, 9,  1,    // 9: NaN never equals
                               1, 99, 2});  // 10: a corner out of range
    testsupport::DebugCapture capture;
    MeshDuplicateTrisResult result;
    EXPECT_TRUE(oxGeom::meshDuplicateTris(mesh, result));
    EXPECT_EQ(result.getDuplicates(), (std::vector<int>{1, 3, 4, 6}));
    EXPECT_EQ(result.getIndexDegenerates(), (std::vector<int>{5, 6}));
    EXPECT_EQ(result.getPositionDegenerates(), (std::vector<int>{7, 8}));
    EXPECT_EQ(capture.text(), "meshDuplicateTris:  verts(10) tris(11) dup(4) degenerate(4) # s\n");

    // An empty mesh: nothing, and false.
    capture.clear();
    EXPECT_FALSE(oxGeom::meshDuplicateTris(CompactMesh(), result));
    EXPECT_FALSE(result);
    EXPECT_TRUE(result.getDuplicates().empty());
    EXPECT_EQ(capture.text(), "meshDuplicateTris:  verts(0) tris(0) dup(0) degenerate(0) # s\n");

    // A clean closed mesh.
    EXPECT_FALSE(oxGeom::meshDuplicateTris(fixtures::icosphere(1, 1.0f), result));
}

TEST(meshDuplicateTris, badTrianglesAreTheUnionOnceAscending)
{
    const CompactMesh mesh = fixtures::gridMesh(4, 4);  // 32 triangles
    oxGeom::MeshCharacteristics characteristics;
    MeshDuplicateTrisResult& result = characteristics.getDuplicateTrisResult();
    ox::vector<int> bad = {5};
    result.getBadTriangles(mesh, bad);
    EXPECT_TRUE(bad.empty());
    EXPECT_FALSE(result);

    result.getPositionDegenerates() = {31, 3};
    EXPECT_TRUE(result);
    result.getDuplicates() = {20, 3, 7, 40};
    result.getIndexDegenerates() = {7, 0, -1};
    result.getBadTriangles(mesh, bad);
    EXPECT_EQ(bad, (ox::vector<int>{0, 3, 7, 20, 31}));

    // Copies are independent values.
    const MeshDuplicateTrisResult copy = characteristics.getDuplicateTrisResult();
    result.getDuplicates().clear();
    EXPECT_EQ(copy.getDuplicates().size(), 4u);
}
