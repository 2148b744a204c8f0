#include <oxGeom/meshRayIntersect.h>

#include <oxGeom/Ray.h>

#include "support/debugCapture.h"
#include "support/meshes.h"
#include "support/rayQueryScene.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::Frustum;
using oxLinear::Point;
using oxLinear::PointFlt;

namespace
{
/// A box-shaped view volume: near face at z = zNear, far face at z = zFar,
/// both the rectangle [x0, x1] x [y0, y1]; the picking line runs from the
/// near face's centre towards the far face.
Frustum boxFrustum(double x0, double x1, double y0, double y1, double zNear, double zFar)
{
    const Point corners[8] = {{x0, y0, zNear}, {x1, y0, zNear}, {x1, y1, zNear}, {x0, y1, zNear},
                              {x0, y0, zFar},  {x1, y0, zFar},  {x1, y1, zFar},  {x0, y1, zFar}};
    return Frustum(corners);
}

std::string hitLine(const PointFlt& p)
{
    char text[128];
    std::snprintf(text, sizeof text, "meshRayIntersect:  (%f,%f,%f) # s\n", double(p[0]),
                  double(p[1]), double(p[2]));
    return text;
}

/// Brute force: the nearest hit of the picking line in front of its origin.
double nearestHitParam(const CompactMesh& mesh, const oxLinear::Line& line)
{
    double best = 1e300;
    const PointFlt origin(line.origin());
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        const oxGeom::MeshVertex* v = mesh.getVertices();
        double hitT, u, w;
        if (oxGeom::intersectRayTriangle(line.direction().data(), origin.data(), v[tri[0]].v,
                                         v[tri[1]].v, v[tri[2]].v, hitT, u, w) &&
            hitT > 0.0 && hitT < best)
            best = hitT;
    }
    return best;
}
}  // namespace

TEST(meshRayIntersect, picksTheFrontOfASphereAndPrintsTheHit)
{
    const testsupport::RayQueryScene scene(fixtures::icosphere(3, 1.0f));
    // Thin view volumes along each axis, looking at the sphere from outside,
    // plus an oblique one (near face centred on (0.3, -0.2, 4)).
    const std::vector<Frustum> views = {boxFrustum(-0.1, 0.1, -0.1, 0.1, 4, -4),
                                        boxFrustum(-0.1, 0.1, -0.1, 0.1, -4, 4),
                                        boxFrustum(0.2, 0.4, -0.3, -0.1, 4, -4)};
    for (const Frustum& frustum : views)
    {
        const oxLinear::Line line = frustum.getRay();
        testsupport::DebugCapture capture;
        PointFlt hit;
        int triangle = -5;
        ASSERT_TRUE(
            oxGeom::meshRayIntersect(scene.mesh, scene.octree, scene.adj, frustum, hit, &triangle));
        EXPECT_EQ(capture.text(), hitLine(hit));
        // The reported triangle is hit there, and here the front-to-back
        // order finds the nearest hit along the line.
        PointFlt again;
        ASSERT_TRUE(oxGeom::meshRayTriIntersect(scene.mesh, triangle, line, again));
        EXPECT_EQ(again, hit);
        const PointFlt nearest(line.eval(nearestHitParam(scene.mesh, line)));
        EXPECT_EQ(hit, nearest);
        EXPECT_NEAR(oxLinear::distance(Point(hit), Point()), 1.0, 0.01);
    }
}

TEST(meshRayIntersect, missPrintsNoIntersectionAndLeavesOutputs)
{
    const testsupport::RayQueryScene scene(fixtures::icosphere(2, 1.0f));
    PointFlt hit(7, 7, 7);
    int triangle = -5;
    {
        // Beside the sphere: the frustum misses the octree's root box.
        testsupport::DebugCapture capture;
        EXPECT_FALSE(oxGeom::meshRayIntersect(scene.mesh, scene.octree, scene.adj,
                                              boxFrustum(5, 6, 5, 6, 4, -4), hit, &triangle));
        EXPECT_EQ(capture.text(), "meshRayIntersect:  no intersection # s\n");
    }
    {
        // Inside the root box's corner region but beside the sphere itself.
        testsupport::DebugCapture capture;
        EXPECT_FALSE(oxGeom::meshRayIntersect(scene.mesh, scene.octree, scene.adj,
                                              boxFrustum(0.9, 0.95, 0.9, 0.95, 4, -4), hit,
                                              nullptr));
        EXPECT_EQ(capture.text(), "meshRayIntersect:  no intersection # s\n");
    }
    EXPECT_EQ(hit, PointFlt(7, 7, 7));
    EXPECT_EQ(triangle, -5);
    // An empty mesh (octree without nodes) finds nothing.
    const testsupport::RayQueryScene empty(fixtures::emptyMesh());
    testsupport::DebugCapture capture;
    EXPECT_FALSE(oxGeom::meshRayIntersect(empty.mesh, empty.octree, empty.adj,
                                          boxFrustum(-1, 1, -1, 1, 4, -4), hit, &triangle));
    EXPECT_EQ(capture.text(), "meshRayIntersect:  no intersection # s\n");
}

TEST(meshRayIntersect, triangleWithoutVertexInTheViewIsNotTried)
{
    // A sphere of radius 5 and above it (z = 6) one large triangle whose
    // corners lie far outside a thin view volume looking down the z axis:
    //
    //             (0, 15, 6)          the line crosses the large triangle
    //               /\                first (z = 6), but the leaves of its
    //              /  \               corners miss the view volume, so the
    //             / () \              first hit tried is the sphere's top.
    //   (-15,-15,6)----(15,-15,6)
    CompactMesh mesh = fixtures::icosphere(3, 5.0f);
    const int base = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    const oxGeom::MeshVertex far[3] = {{{-15, -15, 6}}, {{15, -15, 6}}, {{0, 15, 6}}};
    mesh.resizeVertexArray(base + 3);
    for (int k = 0; k < 3; ++k)
        mesh.getVertices()[base + k] = far[k];
    mesh.resizeTriangleArray(numTriangles + 1);
    mesh.getTriangles()[numTriangles] = oxGeom::MeshTriangle{{base, base + 1, base + 2}};
    const testsupport::RayQueryScene scene(std::move(mesh));

    const Frustum frustum = boxFrustum(-0.2, 0.3, -0.2, 0.3, 9, -9);
    const oxLinear::Line line = frustum.getRay();
    PointFlt hit;
    int triangle = -1;
    ASSERT_TRUE(
        oxGeom::meshRayIntersect(scene.mesh, scene.octree, scene.adj, frustum, hit, &triangle));
    EXPECT_LT(triangle, numTriangles);
    EXPECT_NEAR(hit[2], 5.0, 0.05);
    // The nearest hit along the line is the large triangle.
    EXPECT_EQ(PointFlt(line.eval(nearestHitParam(scene.mesh, line))), PointFlt(0.05f, 0.05f, 6.0f));
}
