#include <oxGeom/meshRayIntersect.h>

#include <oxGeom/Ray.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

using oxGeom::meshRayTriIntersect;
using oxLinear::Line;
using oxLinear::Point;
using oxLinear::PointFlt;
using oxLinear::Vector;

// fixtures::unitSquare(): triangles (0 1 2) and (0 2 3) in z = 0, facing +z.
TEST(meshRayTriIntersect, frontFacesCountBehindTheOriginBackFacesOnlyAhead)
{
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    // From above, pointing down at the front face: t = 2.
    PointFlt hit(-1, -1, -1);
    EXPECT_TRUE(meshRayTriIntersect(square, 0, Line(Point(0.75, 0.25, 2), Vector(0, 0, -1)), hit));
    EXPECT_EQ(hit, PointFlt(0.75f, 0.25f, 0.0f));
    // Below the square, still pointing down: the front face lies behind the
    // origin (t = -2) and counts; the point is evaluated on the line.
    hit = PointFlt(-1, -1, -1);
    EXPECT_TRUE(meshRayTriIntersect(square, 0, Line(Point(0.75, 0.25, -2), Vector(0, 0, -1)), hit));
    EXPECT_EQ(hit, PointFlt(0.75f, 0.25f, 0.0f));
    // Pointing up, the ray sees the back face: hit ahead of the origin only.
    EXPECT_TRUE(meshRayTriIntersect(square, 0, Line(Point(0.75, 0.25, -2), Vector(0, 0, 1)), hit));
    hit = PointFlt(-1, -1, -1);
    EXPECT_FALSE(meshRayTriIntersect(square, 0, Line(Point(0.75, 0.25, 2), Vector(0, 0, 1)), hit));
    EXPECT_EQ(hit, PointFlt(-1, -1, -1));  // untouched on a miss
    // The point lies in triangle 0 only (below the diagonal).
    EXPECT_FALSE(meshRayTriIntersect(square, 1, Line(Point(0.75, 0.25, 2), Vector(0, 0, -1)), hit));
    // The direction's length scales t, not the point; the hit is evaluated in
    // double on the line and rounded once.
    Point hitD;
    const Line slanted(Point(0.1, 0.1, 1), Vector(0.2, 0.1, -0.5));
    EXPECT_TRUE(meshRayTriIntersect(square, 0, slanted, hitD));
    EXPECT_EQ(hitD, Point(PointFlt(Point(0.5, 0.3, 0.0))));
    EXPECT_TRUE(meshRayTriIntersect(square, 0, slanted, hit));
    EXPECT_EQ(Point(hit), hitD);  // both forms give the same point
}

TEST(meshRayTriIntersect, outOfRangeIndicesAndDegenerateLinesMiss)
{
    oxGeom::CompactMesh square = fixtures::unitSquare();
    const Line down(Point(0.25, 0.75, 1), Vector(0, 0, -1));
    PointFlt hit;
    EXPECT_FALSE(meshRayTriIntersect(square, -1, down, hit));
    EXPECT_FALSE(meshRayTriIntersect(square, 2, down, hit));
    EXPECT_FALSE(meshRayTriIntersect(square, 0, Line(Point(0.25, 0.1, 1), Vector(0, 0, 0)), hit));
    EXPECT_TRUE(meshRayTriIntersect(square, 1, down, hit));
    square.getTriangles()[1][2] = 4;  // one past the last vertex
    EXPECT_FALSE(meshRayTriIntersect(square, 1, down, hit));
    square.getTriangles()[1][2] = -1;
    EXPECT_FALSE(meshRayTriIntersect(square, 1, down, hit));
    EXPECT_FALSE(meshRayTriIntersect(fixtures::emptyMesh(), 0, down, hit));
}
