#include <oxGeom/meshRayIntersect.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

using oxGeom::meshRayTriIntersect;
using oxLinear::Line;
using oxLinear::Point;
using oxLinear::PointFlt;
using oxLinear::Vector;

TEST(meshRayTriIntersect, frontFacesCountBehindTheOriginBackFacesOnlyAhead)
{
    // fixtures::unitSquare(): triangles (0 1 2), (0 2 3) in z = 0, facing +z.
    // Lines through (0.75, 0.25), in triangle 0 only: pointing down they see
    // the front face, from above (t = 2) or from below (t = -2); pointing up
    // the back face, counted only from below.
    oxGeom::CompactMesh square = fixtures::unitSquare();
    const Vector down(0, 0, -1), up(0, 0, 1);
    const struct
    {
        int triangle;
        double z;
        Vector direction;
        bool hit;
    } cases[] = {{0, 2, down, true},  {0, -2, down, true}, {0, -2, up, true},   {0, 2, up, false},
                 {1, 2, down, false}, {2, 2, down, false}, {-1, 2, down, false}};
    for (const auto& c : cases)
    {
        PointFlt hit(-1, -1, -1);
        EXPECT_EQ(
            meshRayTriIntersect(square, c.triangle, Line(Point(0.75, 0.25, c.z), c.direction), hit),
            c.hit);
        EXPECT_EQ(hit, c.hit ? PointFlt(0.75f, 0.25f, 0.0f) : PointFlt(-1, -1, -1));
    }
    // A slanted line: the point is evaluated on the line in double and
    // rounded once; both forms agree.
    const Line slanted(Point(0.1, 0.1, 1), Vector(0.2, 0.1, -0.5));
    PointFlt hit;
    Point hitD;
    EXPECT_TRUE(meshRayTriIntersect(square, 0, slanted, hit) &&
                meshRayTriIntersect(square, 0, slanted, hitD));
    EXPECT_TRUE(hit == PointFlt(Point(0.5, 0.3, 0.0)) && hitD == Point(hit));
    // Corner indices out of range and a zero direction miss.
    EXPECT_FALSE(meshRayTriIntersect(square, 0, Line(Point(0.5, 0.1, 1), Vector()), hit));
    for (int bad : {4, -1})
    {
        square.getTriangles()[0][2] = bad;
        EXPECT_FALSE(meshRayTriIntersect(square, 0, Line(Point(0.75, 0.25, 2), down), hit));
    }
}
