// meshClosestPoint over the vertex octree and the vertex -> triangle table: distances against
// brute force with and without vertex boxes on a sphere, a random soup and a grid; the
// maxDist2 bound; the search radius that reaches a triangle whose corners all lie far away;
// empty and degenerate meshes.

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
using oxGeom::CompactMesh;
using oxGeom::MeshCoord;
using oxLinear::Point;
using testsupport::ClosestPointScene;
using testsupport::QueryRegion;

CompactMesh triangleMesh(const std::vector<oxGeom::MeshVertex>& vertices,
                         const std::vector<int>& indices)
{
    CompactMesh mesh(int(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(int(indices.size() / 3), indices.data());
    return mesh;
}

// Box v encloses every triangle adjacent to vertex v.
std::vector<BoundingBox> vertexBoxes(const CompactMesh& mesh)
{
    std::vector<BoundingBox> boxes(size_t(mesh.getNumVertices()));
    const oxGeom::MeshVertex* v = mesh.getVertices();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k)
                boxes[size_t(tri[c])].extend(v[tri[k]].v);
    }
    return boxes;
}

TEST(meshClosestPoint, agreesWithBruteForceWithAndWithoutVertexBoxes)
{
    for (int shape = 0; shape < 3; ++shape)
    {
        SCOPED_TRACE(shape == 0 ? "icosphere" : shape == 1 ? "random soup" : "grid");
        const ClosestPointScene scene(shape == 0   ? fixtures::icosphere(3, 2.0f)
                                      : shape == 1 ? fixtures::randomMesh(5u, 300, 400)
                                                   : fixtures::gridMesh(20, 15));
        const std::vector<BoundingBox> boxes = vertexBoxes(scene.mesh);
        const double radius = oxGeom::meshLongestEdge(scene.mesh);
        const double tolerance = 1e-6 * scene.bounds.diagonalLength();
        for (QueryRegion region : {QueryRegion::inside, QueryRegion::near, QueryRegion::far})
        {
            int i = 0;
            for (const Point& p : testsupport::queryPoints(scene.mesh, region, 60, 11u))
            {
                SCOPED_TRACE(testing::Message() << testsupport::regionName(region) << " " << i++);
                const double truth = std::sqrt(testsupport::bruteNearest(scene.mesh, p).distance2);
                MeshCoord plain, boxed;
                const double d =
                    oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, &plain);
                EXPECT_NEAR(d, truth, tolerance);
                EXPECT_NEAR(std::sqrt(testsupport::coordDistance2(scene.mesh, plain, p)), d,
                            1e-12 * (1.0 + d));
                const double withBoxes = oxGeom::meshClosestPoint(
                    scene.mesh, scene.octree, scene.adj, p, radius, DBL_MAX, boxes.data(), &boxed);
                EXPECT_EQ(withBoxes, d) << "vertex boxes only skip fans, never change the answer";
                EXPECT_EQ(boxed.triangle, plain.triangle);
            }
        }
    }
}

// Only candidates whose squared distance is below maxDist2 count.
TEST(meshClosestPoint, maxDist2BoundsTheCandidates)
{
    const ClosestPointScene scene(fixtures::unitSquare());
    const double radius = oxGeom::meshLongestEdge(scene.mesh);
    const Point p(0.25, 0.5, 3.0);
    const MeshCoord sentinel(7, 0.5, 0.5, 0.0);
    for (double maxDist2 : {0.0, 9.0, -1.0, std::nan("")})
    {
        SCOPED_TRACE(maxDist2);
        MeshCoord out = sentinel;
        const double d = oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, radius,
                                                  maxDist2, nullptr, &out);
        EXPECT_EQ(d, maxDist2 > 0.0 ? 3.0 : 0.0) << "nothing strictly nearer: sqrt of the bound";
        EXPECT_EQ(out.triangle, 7);
    }
    MeshCoord out;
    EXPECT_NEAR(oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, radius, 9.0001,
                                         nullptr, &out),
                3.0, 1e-12);
    EXPECT_TRUE(out.valid());
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
    const ClosestPointScene scene(triangleMesh(vertices, {0, 1, 2, 3, 4, 5}));
    const Point p(0, 1, 0.5);
    MeshCoord coord;
    EXPECT_NEAR(oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, &coord), 0.5,
                1e-7);
    EXPECT_EQ(coord.triangle, 0);
    // With no radius the walk stops at the small triangle's distance, before any corner of the
    // large one: the radius is what makes the answer exact.
    EXPECT_NEAR(oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, p, 0.0, DBL_MAX,
                                         nullptr, &coord),
                1.0, 1e-7);
    EXPECT_EQ(coord.triangle, 1);
}

TEST(meshClosestPoint, emptyAndDegenerateMeshes)
{
    const MeshCoord sentinel(4, 1.0, 0.0, 0.0);
    {
        const ClosestPointScene scene(fixtures::emptyMesh());
        MeshCoord out = sentinel;
        EXPECT_EQ(
            oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, Point(1, 1, 1), &out),
            std::sqrt(DBL_MAX));
        EXPECT_EQ(out.triangle, 4);
    }
    {
        // Near (3, 0, 0) lie only the collinear and the repeated-index triangles; both are
        // skipped and a copy of the proper triangle answers.
        const ClosestPointScene scene(fixtures::degenerateMesh());
        MeshCoord out;
        EXPECT_NEAR(
            oxGeom::meshClosestPoint(scene.mesh, scene.octree, scene.adj, Point(3, 0, 0), &out),
            2.0, 1e-12);
        EXPECT_TRUE(out.triangle == 0 || out.triangle == 1);
    }
    {
        // A table from another mesh names triangles this mesh lacks: they are skipped.
        const ClosestPointScene scene(fixtures::unitSquare());
        const ClosestPointScene bigger(fixtures::gridMesh(1, 2));
        MeshCoord out;
        const double d = oxGeom::meshClosestPoint(scene.mesh, scene.octree, bigger.adj,
                                                  Point(0.5, 0.5, 1), &out);
        EXPECT_NEAR(d, 1.0, 1e-12);
        EXPECT_LT(out.triangle, 2);
    }
}
}  // namespace
