// meshRayClosestPt: the search runs from the line's start point, which for the line through p
// with the same direction is the line's origin, whatever p is; an empty mesh finds nothing.

#include <oxGeom/meshClosestPoint.h>

#include "support/closestPointOracle.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

namespace
{
using oxLinear::Line;
using oxLinear::Point;
using testsupport::ClosestPointScene;

TEST(meshRayClosestPt, searchesFromTheLineOrigin)
{
    const ClosestPointScene scene(fixtures::icosphere(3, 1.0f));
    const double radius = oxGeom::meshLongestEdge(scene.mesh);
    const Line line(Point(0.4, 1.7, -0.3), oxLinear::Vector(0.2, -1.0, 0.5));
    const double truth = testsupport::bruteNearest(scene.mesh, line.origin());
    for (const Point& p : {Point(0, 0, 0), Point(3, -2, 5), line.eval(2.5)})
    {
        const oxGeom::MeshCoord c =
            oxGeom::meshRayClosestPt(scene.mesh, radius, scene.octree, scene.adj, line, p);
        EXPECT_NEAR(std::sqrt(testsupport::coordDistance2(scene.mesh, c, line.origin())), truth,
                    1e-6);
    }
    const ClosestPointScene empty(fixtures::emptyMesh());
    EXPECT_EQ(
        oxGeom::meshRayClosestPt(empty.mesh, 1.0, empty.octree, empty.adj, line, Point()).triangle,
        -1);
}
}  // namespace
