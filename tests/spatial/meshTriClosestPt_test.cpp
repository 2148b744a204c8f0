// meshTriClosestPt: the coordinate of MeshCoord::project on one triangle, and the invalid
// coordinate (triangle -1, zero weights) for a degenerate triangle, a negative index or a
// missing array.

#include <oxGeom/meshClosestPoint.h>

#include <gtest/gtest.h>

#include <vector>

namespace
{
using oxGeom::MeshCoord;
using oxLinear::Point;

//   2 (0,2,1)
//   | \          triangle 0 = (0 1 2); triangle 1 = (0 3 1) repeats vertex 0's position
//   0--1         0 (0,0,1), 1 (3,0,1), 3 = 0
TEST(meshTriClosestPt, projectsOrGivesTheInvalidCoordinate)
{
    const std::vector<float> vertices = {0, 0, 1, 3, 0, 1, 0, 2, 1, 0, 0, 1};
    const std::vector<int> triangles = {0, 1, 2, 0, 3, 1};
    const MeshCoord edge =
        oxGeom::meshTriClosestPt(vertices.data(), triangles.data(), 0, Point(1.5, -4, 7));
    EXPECT_EQ(edge.triangle, 0);
    EXPECT_DOUBLE_EQ(edge.weights[0], 0.5);
    EXPECT_DOUBLE_EQ(edge.weights[1], 0.5);
    EXPECT_EQ(edge.weights[2], 0.0);

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
