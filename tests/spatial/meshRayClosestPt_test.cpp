// meshRayClosestPt: the search runs from the line's start point, which for the line through p
// with the same direction is the line's origin; checked against brute force from that origin,
// for several p, and on an empty mesh.

#include <oxGeom/meshClosestPoint.h>

#include "support/closestPointOracle.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using oxGeom::MeshCoord;
using oxLinear::Line;
using oxLinear::Point;
using oxLinear::Vector;
using testsupport::ClosestPointScene;

TEST(meshRayClosestPt, searchesFromTheLineOriginWhateverThePoint)
{
    const ClosestPointScene scene(fixtures::icosphere(3, 1.0f));
    const double radius = oxGeom::meshLongestEdge(scene.mesh);
    const Line line(Point(0.4, 1.7, -0.3), Vector(0.2, -1.0, 0.5));
    const double truth = std::sqrt(testsupport::bruteNearest(scene.mesh, line.origin()).distance2);
    for (const Point& p : {Point(0, 0, 0), Point(3, -2, 5), line.eval(2.5)})
    {
        const MeshCoord c =
            oxGeom::meshRayClosestPt(scene.mesh, radius, scene.octree, scene.adj, line, p);
        ASSERT_TRUE(c.valid());
        EXPECT_NEAR(std::sqrt(testsupport::coordDistance2(scene.mesh, c, line.origin())), truth,
                    1e-6);
    }
}

TEST(meshRayClosestPt, emptyMeshGivesTheInvalidCoordinate)
{
    const ClosestPointScene scene(fixtures::emptyMesh());
    const MeshCoord c =
        oxGeom::meshRayClosestPt(scene.mesh, 1.0, scene.octree, scene.adj, Line(), Point(1, 2, 3));
    EXPECT_EQ(c.triangle, -1);
}
}  // namespace
