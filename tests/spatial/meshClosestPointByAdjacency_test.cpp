// meshClosestPoint over the vertex octree and the vertex -> triangle table: distances against
// brute force with and without vertex boxes; the maxDist2 bound; the search radius that reaches
// a triangle whose corners all lie far away; empty meshes and foreign tables.

#include <oxGeom/meshClosestPoint.h>

#include "support/closestPointOracle.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

namespace
{
using oxGeom::BoundingBox;
using oxGeom::MeshCoord;
using oxLinear::Point;
using testsupport::ClosestPointScene;

TEST(meshClosestPoint, agreesWithBruteForceWithAndWithoutVertexBoxes)
{
    for (int shape = 0; shape < 3; ++shape)
    {
        SCOPED_TRACE(shape);
        const ClosestPointScene scene(testsupport::checkedShape(shape));
        // Box v encloses every triangle adjacent to vertex v.
        std::vector<BoundingBox> boxes(size_t(scene.mesh.getNumVertices()));
        for (int t = 0; t < scene.mesh.getNumTriangles(); ++t)
            for (int c = 0; c < 3; ++c)
                for (int k = 0; k < 3; ++k)
                    boxes[size_t(scene.mesh.getTriangles()[t][c])].extend(
                        scene.mesh.getVertices()[scene.mesh.getTriangles()[t][k]].v);
        const double radius = oxGeom::meshLongestEdge(scene.mesh);
        for (const Point& p : testsupport::queryPointsEverywhere(scene.mesh, 60, 11u))
        {
            MeshCoord plain, boxed;
            const double d =
                oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, &plain);
            EXPECT_NEAR(d, testsupport::bruteNearest(scene.mesh, p),
                        1e-6 * scene.bounds.diagonalLength());
            EXPECT_EQ(std::sqrt(testsupport::coordDistance2(scene.mesh, plain, p)), d);
            EXPECT_EQ(oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, radius,
                                               DBL_MAX, boxes.data(), &boxed),
                      d);
            EXPECT_EQ(boxed.triangle, plain.triangle) << "vertex boxes only skip fans";
        }
    }
}

// Only candidates whose squared distance is strictly below maxDist2 count; otherwise the
// result is sqrt(maxDist2) and `out` is untouched. Negative and NaN bounds act as 0.
TEST(meshClosestPoint, maxDist2BoundsTheCandidates)
{
    const ClosestPointScene scene(fixtures::unitSquare());
    const Point p(0.25, 0.5, 3.0);
    for (double maxDist2 : {0.0, 9.0, -1.0, std::nan(""), 9.0001})
    {
        SCOPED_TRACE(maxDist2);
        MeshCoord out(7, 0.5, 0.5, 0.0);
        const double d = oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p,
                                                  std::sqrt(2.0), maxDist2, nullptr, &out);
        EXPECT_NEAR(d, maxDist2 > 0.0 ? 3.0 : 0.0, 1e-12);
        EXPECT_EQ(out.triangle == 7, !(maxDist2 > 9.0));
    }
}

// A large triangle lies under the query point, but its corners sit in far leaves; a small
// triangle above the point is met first, among a cluster of loose vertices that splits the
// cells round the point finely. Only the search radius carries the walk out to the large
// triangle's corners.
//
//   top view:                2 (0,8,0)
//                           /  \          small triangle (3 4 5) at z = 1.5 round (0, 1);
//                          / :: \         p = (0, 1, 0.5), 0.5 above the large triangle and
//                         /  :p: \        1 below the small one; "::" the 4 x 4 x 4 cluster
//                0 (-8,0,0) ---- 1 (8,0,0)    of loose vertices in [-1,1] x [0,2] x [0.2,1.2]
TEST(meshClosestPoint, searchRadiusReachesTrianglesWithFarCorners)
{
    std::vector<oxGeom::MeshVertex> vertices = {
        {-8, 0, 0}, {8, 0, 0}, {0, 8, 0}, {-0.1f, 0.9f, 1.5f}, {0.1f, 0.9f, 1.5f}, {0, 1.1f, 1.5f}};
    for (int i = 0; i < 64; ++i)
        vertices.push_back(
            {-1.0f + 2.0f * (i % 4) / 3.0f, 2.0f * (i / 4 % 4) / 3.0f, 0.2f + (i / 16) / 3.0f});
    const ClosestPointScene scene(testsupport::triangleMesh(vertices, {0, 1, 2, 3, 4, 5}));
    const Point p(0, 1, 0.5);
    MeshCoord coord;
    EXPECT_NEAR(oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, &coord), 0.5,
                1e-7);
    EXPECT_EQ(coord.triangle, 0);
    EXPECT_NEAR(oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, 0.0, DBL_MAX,
                                         nullptr, &coord),
                1.0, 1e-7)
        << "with no radius the walk stops at the small triangle's distance";
    EXPECT_EQ(coord.triangle, 1);
}

TEST(meshClosestPoint, emptyMeshAndForeignTable)
{
    const ClosestPointScene empty(fixtures::emptyMesh());
    MeshCoord out(4, 1.0, 0.0, 0.0);
    EXPECT_EQ(oxGeom::meshClosestPoint(empty.mesh, empty.octree, empty.adj, Point(1, 1, 1), &out),
              std::sqrt(DBL_MAX));
    EXPECT_EQ(out.triangle, 4);
    // A table from a bigger mesh names triangles this mesh lacks: they are skipped.
    const ClosestPointScene square(fixtures::unitSquare());
    const ClosestPointScene bigger(fixtures::gridMesh(1, 2));
    EXPECT_NEAR(
        oxGeom::meshClosestPoint(square.mesh, square.octree, bigger.adj, Point(0.5, 0.5, 1), &out),
        1.0, 1e-12);
    EXPECT_LT(out.triangle, 2);
}
}  // namespace
