// meshClosestVertex2: the squared distance to the nearest vertex against brute force over all
// vertices (used or not), the diagnostic line, and an empty mesh.

#include <oxGeom/meshClosestPoint.h>

#include "support/closestPointOracle.h"
#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>

namespace
{
using oxLinear::Point;
using testsupport::ClosestPointScene;

double bruteNearestVertex2(const oxGeom::CompactMesh& mesh, const Point& p)
{
    double best2 = DBL_MAX;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const oxGeom::MeshVertex& x = mesh.getVertices()[v];
        best2 = std::min(best2, oxLinear::distance2(p, Point(x[0], x[1], x[2])));
    }
    return best2;
}

TEST(meshClosestVertex2, squaredDistanceAgreesWithBruteForce)
{
    // The soup has more vertices than its triangles use; unused vertices count too.
    for (int shape = 0; shape < 3; ++shape)
    {
        SCOPED_TRACE(shape);
        const ClosestPointScene scene(shape == 1 ? fixtures::randomMesh(9u, 500, 60)
                                                 : testsupport::checkedShape(shape));
        for (const Point& p : testsupport::queryPointsEverywhere(scene.mesh, 100, 3u))
        {
            const double truth = bruteNearestVertex2(scene.mesh, p);
            EXPECT_NEAR(oxGeom::meshClosestVertex2(scene.mesh, scene.octree, p), truth,
                        1e-6 * truth + 1e-12);
        }
    }
}

TEST(meshClosestVertex2, printsItsTimeAndHandlesNoVertices)
{
    const ClosestPointScene square(fixtures::unitSquare());
    const ClosestPointScene empty(fixtures::emptyMesh());
    testsupport::DebugCapture capture;
    EXPECT_EQ(oxGeom::meshClosestVertex2(square.mesh, square.octree, Point(1, 1, 2)), 4.0);
    EXPECT_EQ(capture.text(), "   meshClosestVertex: # s\n");
    EXPECT_EQ(oxGeom::meshClosestVertex2(empty.mesh, empty.octree, Point(1, 1, 2)), DBL_MAX);
    EXPECT_EQ(capture.text(), "   meshClosestVertex: # s\n   meshClosestVertex: # s\n");
}
}  // namespace
