// meshArea: exact on hand-made meshes, equal to a brute-force sum on random
// meshes, independent of the thread count, and empty on every rejected input.

#include <oxGeom/meshArea.h>

#include <oxGeom/CompactMesh.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <list>

namespace
{
using oxGeom::MeshPlacement;

// Area of the placed triangles, each corner carried by the full matrix in long
// double: a different route from the library's edge vectors.
double bruteForceArea(const oxGeom::CompactMesh& mesh, const oxLinear::AffineMatrixFlt& m)
{
    const float* v = mesh.getVerticesRaw();
    const int* t = mesh.getTrianglesRaw();
    long double total = 0;
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        long double p[3][3];
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c)
            {
                const float* x = v + 3 * t[3 * i + k];
                p[k][c] = x[0] * (long double)m[0][c] + x[1] * (long double)m[1][c] +
                          x[2] * (long double)m[2][c] + m[3][c];
            }
        long double e1[3], e2[3];
        for (int c = 0; c < 3; ++c)
        {
            e1[c] = p[1][c] - p[0][c];
            e2[c] = p[2][c] - p[0][c];
        }
        const long double x = e1[1] * e2[2] - e1[2] * e2[1];
        const long double y = e1[2] * e2[0] - e1[0] * e2[2];
        const long double z = e1[0] * e2[1] - e1[1] * e2[0];
        total += std::sqrt(x * x + y * y + z * z) / 2;
    }
    return static_cast<double>(total);
}

MeshPlacement place(const oxGeom::CompactMesh& mesh)
{
    MeshPlacement placement;
    placement.mesh = &mesh;
    return placement;
}

oxLinear::AffineMatrixFlt scaledMatrix(float s, float tx)
{
    oxLinear::AffineMatrixFlt m(s);
    m[3][0] = tx;
    m[3][1] = -2 * tx;
    return m;
}
}  // namespace

TEST(meshArea, knownShapes)
{
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    const oxGeom::CompactMesh cube = fixtures::cube();
    const oxGeom::CompactMesh grid = fixtures::gridMesh(7, 3);
    EXPECT_EQ(oxGeom::meshArea(place(square), oxGeom::VertexChannel), 1.0f);
    EXPECT_EQ(oxGeom::meshArea(place(cube), oxGeom::VertexChannel), 6.0f);
    EXPECT_EQ(oxGeom::meshArea(place(grid), oxGeom::VertexChannel), 21.0f);
    EXPECT_EQ(oxGeom::meshArea(place(fixtures::emptyMesh()), oxGeom::VertexChannel), 0.0f);

    // A sphere's inscribed polyhedron approaches 4 pi r^2 from below.
    const oxGeom::CompactMesh sphere = fixtures::icosphere(5, 2.0f);
    const float area = oxGeom::meshArea(place(sphere), oxGeom::VertexChannel);
    EXPECT_LT(area, 16 * M_PI);
    EXPECT_GT(area, 16 * M_PI * 0.999);
}

TEST(meshArea, matchesBruteForceForEveryThreadCount)
{
    const oxGeom::CompactMesh mesh = fixtures::randomMesh(11, 500, 20011);
    const double expected = bruteForceArea(mesh, oxLinear::AffineMatrixFlt(1.0f));
    float first = 0;
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        const float area = oxGeom::meshArea(place(mesh), oxGeom::VertexChannel);
        EXPECT_NEAR(area, expected, expected * 1e-6) << threads << " threads";
        if (threads == 1)
            first = area;
        EXPECT_EQ(area, first) << threads << " threads";
    }
}

TEST(meshArea, fewerTrianglesThanThreads)
{
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    testsupport::PoolThreads pool(7);
    EXPECT_EQ(oxGeom::meshArea(place(square), oxGeom::VertexChannel), 1.0f);
}

TEST(meshArea, placementUsesOnlyTheLinearPart)
{
    const oxGeom::CompactMesh mesh = fixtures::randomMesh(3, 60, 300);
    const float plain = oxGeom::meshArea(place(mesh), oxGeom::VertexChannel);

    MeshPlacement moved = place(mesh);
    moved.matrix = scaledMatrix(1.0f, 40.0f);
    EXPECT_EQ(oxGeom::meshArea(moved, oxGeom::VertexChannel), plain);

    MeshPlacement scaled = place(mesh);
    scaled.matrix = scaledMatrix(3.0f, 5.0f);
    EXPECT_NEAR(oxGeom::meshArea(scaled, oxGeom::VertexChannel), 9 * plain, 9 * plain * 1e-6);

    // A general linear part (shear, rotation, mirror) against the brute force.
    const float values[12] = {0.8f, 0.3f, -0.1f, -0.2f, 1.7f, 0.4f, 0.5f, 0.1f, -1.2f, 7, 8, 9};
    MeshPlacement general = place(mesh);
    general.matrix = oxLinear::AffineMatrixFlt(values);
    const double expected = bruteForceArea(mesh, general.matrix);
    EXPECT_NEAR(oxGeom::meshArea(general, oxGeom::VertexChannel), expected, expected * 1e-6);
}

TEST(meshArea, parameterChannelsIgnoreTheMatrix)
{
    // The unit square's UVs span [0, 2] x [0, 0.5]: area 1. In its STs the second
    // triangle is folded over (wound clockwise): areas add as magnitudes.
    oxGeom::CompactMesh square = fixtures::unitSquare();
    oxGeom::MeshUV* uvs = square.allocUVArray();
    const float uvValues[4][2] = {{0, 0}, {2, 0}, {2, 0.5f}, {0, 0.5f}};
    for (int i = 0; i < 4; ++i)
        uvs[i] = {{uvValues[i][0], uvValues[i][1]}};
    oxGeom::MeshUV* sts = square.allocSTArray();
    const float stValues[4][2] = {{0, 0}, {1, 0}, {1, 1}, {2, 1}};
    for (int i = 0; i < 4; ++i)
        sts[i] = {{stValues[i][0], stValues[i][1]}};

    MeshPlacement placement = place(square);
    placement.matrix = scaledMatrix(10.0f, 3.0f);
    EXPECT_EQ(oxGeom::meshArea(placement, oxGeom::UVChannel), 1.0f);
    // (0 1 2): +0.5; (0 2 3): |(1 - 0)(1 - 0) - (1 - 0)(2 - 0)| / 2 = 0.5.
    EXPECT_EQ(oxGeom::meshArea(placement, oxGeom::STChannel), 1.0f);
}

TEST(meshArea, rejectedInputsGiveZero)
{
    const oxGeom::CompactMesh square = fixtures::unitSquare();  // no UVs, no STs
    EXPECT_EQ(oxGeom::meshArea(MeshPlacement(), oxGeom::VertexChannel), 0.0f);
    EXPECT_EQ(oxGeom::meshArea(place(square), oxGeom::UVChannel), 0.0f);
    EXPECT_EQ(oxGeom::meshArea(place(square), oxGeom::STChannel), 0.0f);
    EXPECT_EQ(oxGeom::meshArea(place(square), oxGeom::NormalChannel), 0.0f);
    EXPECT_EQ(oxGeom::meshArea(place(square), static_cast<oxGeom::MeshChannel>(7)), 0.0f);
    EXPECT_EQ(oxGeom::meshArea(place(square), static_cast<oxGeom::MeshChannel>(-1)), 0.0f);
}

TEST(meshArea, listKeepsPositionsAndSkipsNullMeshes)
{
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    const oxGeom::CompactMesh cube = fixtures::cube();
    MeshPlacement doubled = place(square);
    doubled.matrix = scaledMatrix(2.0f, 0.0f);
    const std::list<MeshPlacement> placements = {place(cube), MeshPlacement(), doubled};

    std::vector<float> areas = {99, 99, 99, 99, 99};
    EXPECT_EQ(oxGeom::meshArea(placements, oxGeom::VertexChannel, areas), 10.0f);
    EXPECT_EQ(areas, (std::vector<float>{6, 0, 4}));

    // A rejected channel clears the output instead of filling it with zeros.
    EXPECT_EQ(oxGeom::meshArea(placements, oxGeom::NormalChannel, areas), 0.0f);
    EXPECT_TRUE(areas.empty());
    // A missing 2-D channel is per placement: zeros at every position.
    EXPECT_EQ(oxGeom::meshArea(placements, oxGeom::UVChannel, areas), 0.0f);
    EXPECT_EQ(areas, (std::vector<float>{0, 0, 0}));

    EXPECT_EQ(oxGeom::meshArea(std::list<MeshPlacement>(), oxGeom::VertexChannel, areas), 0.0f);
    EXPECT_TRUE(areas.empty());
}
