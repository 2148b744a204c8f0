// meshTriClosestPt: the nearest point of one triangle in its face, edge and vertex regions,
// checked against a dense sampling of the triangle; degenerate triangles and bad indices.

#include <oxGeom/meshClosestPoint.h>

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace
{
using oxGeom::MeshCoord;
using oxLinear::Point;

//   2 (0,2,1)
//   | \
//   0--1        0 (0,0,1), 1 (3,0,1); a fourth vertex 3 = 0 makes (0 3 1) degenerate
const std::vector<float> vertices = {0, 0, 1, 3, 0, 1, 0, 2, 1, 0, 0, 1};
const std::vector<int> triangles = {0, 1, 2, 0, 3, 1};

Point evaluate(const MeshCoord& c)
{
    return c.evaluate(vertices.data(), triangles.data());
}

TEST(meshTriClosestPt, nearestPointOfEveryRegionBeatsSampling)
{
    // Corners a, b, c of triangle 0 and a fine grid of barycentric samples.
    std::vector<Point> samples;
    for (int i = 0; i <= 60; ++i)
        for (int j = 0; i + j <= 60; ++j)
            samples.push_back(evaluate(MeshCoord(0, 1 - (i + j) / 60.0, i / 60.0, j / 60.0)));
    std::mt19937 random(4);
    std::uniform_real_distribution<double> coordinate(-2.0, 5.0);
    for (int k = 0; k < 200; ++k)
    {
        const Point p(coordinate(random), coordinate(random), coordinate(random));
        const MeshCoord c = oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), 0, p);
        ASSERT_EQ(c.triangle, 0);
        EXPECT_NEAR(c.weights[0] + c.weights[1] + c.weights[2], 1.0, 1e-12);
        for (double w : c.weights)
            EXPECT_GE(w, 0.0);
        const double found = oxLinear::distance2(p, evaluate(c));
        for (const Point& s : samples)
            ASSERT_LE(found, oxLinear::distance2(p, s) + 1e-12) << "a sample is nearer";
    }
    // Exact answers in a vertex region, an edge region and the face.
    const MeshCoord corner =
        oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), 0, Point(-1, -1, 0));
    EXPECT_EQ(corner.weights[0], 1.0);
    const MeshCoord edge =
        oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), 0, Point(1.5, -4, 7));
    EXPECT_DOUBLE_EQ(edge.weights[1], 0.5);
    EXPECT_EQ(edge.weights[2], 0.0);
    const MeshCoord face =
        oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), 0, Point(1, 0.5, -3));
    EXPECT_NEAR(oxLinear::distance(evaluate(face), Point(1, 0.5, 1)), 0.0, 1e-12);
}

TEST(meshTriClosestPt, degenerateTriangleAndBadInputGiveTheInvalidCoordinate)
{
    const Point p(1, 1, 1);
    for (const MeshCoord& c : {oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), 1, p),
                               oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), -1, p),
                               oxGeom::meshTriClosestPt(nullptr, triangles.data(), 0, p),
                               oxGeom::meshTriClosestPt(vertices.data(), nullptr, 0, p)})
    {
        EXPECT_EQ(c.triangle, -1);
        EXPECT_EQ(c.weights[0] + c.weights[1] + c.weights[2], 0.0);
    }
}
}  // namespace
