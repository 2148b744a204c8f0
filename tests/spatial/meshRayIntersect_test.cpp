#include <oxGeom/meshRayIntersect.h>

#include <oxGeom/Ray.h>

#include "support/debugCapture.h"
#include "support/meshes.h"
#include "support/rayQueryScene.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using oxGeom::Frustum;
using oxLinear::Point;
using oxLinear::PointFlt;

namespace
{
/// A box-shaped view volume over [x0, x1] x [y0, y1] from z = zNear to z = zFar.
Frustum boxFrustum(double x0, double x1, double y0, double y1, double zNear, double zFar)
{
    const Point corners[8] = {{x0, y0, zNear}, {x1, y0, zNear}, {x1, y1, zNear}, {x0, y1, zNear},
                              {x0, y0, zFar},  {x1, y0, zFar},  {x1, y1, zFar},  {x0, y1, zFar}};
    return Frustum(corners);
}

/// Brute force: the nearest hit of `line` ahead of its origin, over every triangle.
PointFlt nearestHit(const oxGeom::CompactMesh& mesh, const oxLinear::Line& line)
{
    double best = 1e300, t, u, v;
    const PointFlt o(line.origin());
    const oxGeom::MeshVertex* p = mesh.getVertices();
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[i];
        if (oxGeom::intersectRayTriangle(line.direction().data(), o.data(), p[tri[0]].v,
                                         p[tri[1]].v, p[tri[2]].v, t, u, v) &&
            t > 0 && t < best)
            best = t;
    }
    return PointFlt(line.eval(best));
}
}  // namespace

TEST(meshRayIntersect, picksTheFrontOfASphereAndPrintsTheHit)
{
    const testsupport::RayQueryScene scene(fixtures::icosphere(3, 1.0f));
    for (const Frustum& frustum :
         {boxFrustum(-0.1, 0.1, -0.1, 0.1, 4, -4), boxFrustum(-0.1, 0.1, -0.1, 0.1, -4, 4),
          boxFrustum(0.2, 0.4, -0.3, -0.1, 4, -4)})
    {
        testsupport::DebugCapture capture;
        PointFlt hit, again;
        int triangle = -5;
        ASSERT_TRUE(
            oxGeom::meshRayIntersect(scene.mesh, scene.octree, scene.adj, frustum, hit, &triangle));
        char line[128];
        std::snprintf(line, sizeof line, "meshRayIntersect:  (%f,%f,%f) # s\n", double(hit[0]),
                      double(hit[1]), double(hit[2]));
        EXPECT_EQ(capture.text(), line);
        // The triangle is hit there; front to back, it is the nearest hit here.
        EXPECT_TRUE(oxGeom::meshRayTriIntersect(scene.mesh, triangle, frustum.getRay(), again));
        EXPECT_EQ(again, hit);
        EXPECT_EQ(hit, nearestHit(scene.mesh, frustum.getRay()));
    }
}

TEST(meshRayIntersect, missPrintsNoIntersectionAndLeavesTheOutputs)
{
    // Beside the octree's root box; inside it but beside the sphere; an empty mesh.
    const testsupport::RayQueryScene sphere(fixtures::icosphere(2, 1.0f));
    const testsupport::RayQueryScene empty(fixtures::emptyMesh());
    const struct
    {
        const testsupport::RayQueryScene& scene;
        Frustum frustum;
    } cases[] = {{sphere, boxFrustum(5, 6, 5, 6, 4, -4)},
                 {sphere, boxFrustum(0.9, 0.95, 0.9, 0.95, 4, -4)},
                 {empty, boxFrustum(-1, 1, -1, 1, 4, -4)}};
    for (const auto& c : cases)
    {
        testsupport::DebugCapture capture;
        PointFlt hit(7, 7, 7);
        int triangle = -5;
        EXPECT_FALSE(oxGeom::meshRayIntersect(c.scene.mesh, c.scene.octree, c.scene.adj, c.frustum,
                                              hit, &triangle));
        EXPECT_EQ(capture.text(), "meshRayIntersect:  no intersection # s\n");
        EXPECT_TRUE(hit == PointFlt(7, 7, 7) && triangle == -5);
    }
}

TEST(meshRayIntersect, triangleWithoutVertexInTheViewIsNotTried)
{
    //      (0, 15, 6)       A sphere of radius 5 and a large triangle above it
    //        /\             at z = 6. The line down the z axis crosses the
    //       /()\            triangle first, but its corners' leaves miss the
    // (-15,-15)--(15,-15)   thin view volume: the sphere's top is the answer.
    oxGeom::CompactMesh mesh = fixtures::icosphere(3, 5.0f);
    const int base = mesh.getNumVertices(), numTriangles = mesh.getNumTriangles();
    mesh.resizeVertexArray(base + 3);
    mesh.resizeTriangleArray(numTriangles + 1);
    mesh.getVertices()[base] = {{-15, -15, 6}};
    mesh.getVertices()[base + 1] = {{15, -15, 6}};
    mesh.getVertices()[base + 2] = {{0, 15, 6}};
    mesh.getTriangles()[numTriangles] = {{base, base + 1, base + 2}};
    const testsupport::RayQueryScene scene(std::move(mesh));
    const Frustum frustum = boxFrustum(-0.2, 0.3, -0.2, 0.3, 9, -9);
    PointFlt hit;
    int triangle = -1;
    ASSERT_TRUE(
        oxGeom::meshRayIntersect(scene.mesh, scene.octree, scene.adj, frustum, hit, &triangle));
    EXPECT_LT(triangle, numTriangles);
    EXPECT_NEAR(hit[2], 5.0, 0.05);
    EXPECT_EQ(nearestHit(scene.mesh, frustum.getRay()), PointFlt(0.05f, 0.05f, 6.0f));
}
