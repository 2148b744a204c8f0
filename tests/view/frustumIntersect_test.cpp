#include <oxGeom/EyeSpaceFrustum.h>
#include <oxGeom/frustumIntersect.h>
#include <oxLinear/Tolerance.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using oxGeom::Frustum;
using oxLinear::AffineMatrix;
using oxLinear::Point;
using oxLinear::PointFlt;
using oxLinear::ProjMatrix;
using oxLinear::Vector;

namespace
{
// An off-centre perspective view (near 0.5, far 6) placed in the world by a
// rotation and a shift; its corners are the NDC cube's through the inverse
// projection, near face first.
struct View
{
    ProjMatrix projection;
    AffineMatrix eyeToWorld, worldToEye;
    Frustum frustum;
};

View makeView()
{
    oxGeom::EyeSpaceFrustum eye;
    eye.setFrame(oxLinear::Tuple2(-0.3, -0.2), oxLinear::Tuple2(0.5, 0.4));
    eye.setDepthRange(0.5, 6.0, false);
    View view;
    eye.getMatrix(view.projection, false);
    ProjMatrix inverse;
    eye.getInverseMatrix(inverse);
    view.eyeToWorld = AffineMatrix::makeRotation(Vector(1, 2, 3), 0.7) *
                      AffineMatrix::makeTranslation(Vector(0.5, -1, 2));
    view.eyeToWorld.inverse(view.worldToEye);
    Point corners[8];
    const double square[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    for (int i = 0; i < 8; ++i)
        corners[i] =
            Point(square[i % 4][0], square[i % 4][1], i < 4 ? -1 : 1) * inverse * view.eyeToWorld;
    view.frustum = Frustum(corners);
    return view;
}

// Inside by clip coordinates, |x|, |y|, |z| <= w: the smallest slack of the
// six conditions relative to w (negative outside).
double clipSlack(const View& view, const Point& p)
{
    double c[4];
    view.projection.transformHomogeneous(p * view.worldToEye, c);
    if (c[3] <= 0.0)
        return -1.0;
    return std::min({c[3] - std::fabs(c[0]), c[3] - std::fabs(c[1]), c[3] - std::fabs(c[2])}) /
           c[3];
}

double maxPlaneDistance(const Frustum& f, const Point& p)
{
    double d = -INFINITY;
    for (int i = 0; i < 6; ++i)
        d = std::max(d, f.getPlane(i).signedDistance(p));
    return d;
}

PointFlt randomPoint(std::mt19937& rng, const View& view, double spread)
{
    std::uniform_real_distribution<double> u(-spread, spread);
    return PointFlt((Point(0, 0, -3) + Vector(u(rng), u(rng), u(rng))) * view.eyeToWorld);
}
}  // namespace

TEST(pointFrustumIntersect, matchesTheClipSpaceTest)
{
    const View view = makeView();
    std::mt19937 rng(11);
    int counts[2] = {0, 0};
    for (int i = 0; i < 4000; ++i)
    {
        const Point p(randomPoint(rng, view, 4.0));
        const double slack = clipSlack(view, p);
        if (std::fabs(slack) < 1e-9)
            continue;
        EXPECT_EQ(oxGeom::pointFrustumIntersect(p, view.frustum), slack > 0) << i;
        ++counts[slack > 0];
    }
    EXPECT_GT(counts[0], 400);
    EXPECT_GT(counts[1], 400);
    // A point on a face is inside; epsilonTol is the slack beyond it.
    for (int i = 0; i < 6; ++i)
    {
        const oxLinear::Plane& plane = view.frustum.getPlane(i);
        const Vector n = plane.normal();
        EXPECT_TRUE(oxGeom::pointFrustumIntersect(plane.point(), view.frustum)) << i;
        EXPECT_TRUE(oxGeom::pointFrustumIntersect(plane.point() + n * (0.5 * oxLinear::epsilonTol),
                                                  view.frustum));
        EXPECT_FALSE(oxGeom::pointFrustumIntersect(plane.point() + n * 1e-8, view.frustum)) << i;
    }
}

// Brute force: sample the segment densely and test each sample against the six
// planes. A dense sample that is inside forces a hit; a reported hit is the
// first end when an end is inside, otherwise a point of the segment on the
// volume's boundary.
TEST(lineFrustumIntersect, agreesWithSamplingTheSegment)
{
    const View view = makeView();
    const Frustum& f = view.frustum;
    std::mt19937 rng(5);
    int endInside = 0, crossing = 0, missed = 0, grazing = 0;
    for (int i = 0; i < 1500; ++i)
    {
        const PointFlt a = randomPoint(rng, view, 6.0), b = randomPoint(rng, view, 6.0);
        bool sampledHit = false;
        for (int k = 0; k <= 400 && !sampledHit; ++k)
            sampledHit = maxPlaneDistance(f, oxLinear::combine(1 - k / 400.0, Point(a), k / 400.0,
                                                               Point(b))) <= 0.0;
        PointFlt hit(-7, -7, -7);
        const bool result = oxGeom::lineFrustumIntersect(a, b, f, hit);
        EXPECT_EQ(oxGeom::lineFrustumIntersect(a, b, f), result);
        EXPECT_TRUE(result || !sampledHit) << i;
        if (!result)
        {
            EXPECT_EQ(hit, PointFlt(-7, -7, -7));
            ++missed;
            continue;
        }
        if (oxGeom::pointFrustumIntersect(Point(a), f) ||
            oxGeom::pointFrustumIntersect(Point(b), f))
        {
            EXPECT_EQ(hit, a) << i;
            ++endInside;
            continue;
        }
        const Vector ab = Point(b) - Point(a), ah = Point(hit) - Point(a);
        const double s = oxLinear::dot(ah, ab) / ab.length2();
        EXPECT_TRUE(s > -1e-6 && s < 1 + 1e-6) << i;
        EXPECT_LT((ah - ab * s).length(), 1e-5) << i;
        EXPECT_NEAR(maxPlaneDistance(f, Point(hit)), 0.0, 1e-5) << i;
        ++crossing;
        grazing += !sampledHit;
    }
    EXPECT_GT(endInside, 200);
    EXPECT_GT(crossing, 200);
    EXPECT_GT(missed, 200);
    EXPECT_LE(grazing, 5);  // crossings shorter than the sample spacing
}

TEST(lineFrustumIntersect, reportsTheFirstFaceInTableOrderNotTheNearest)
{
    const View view = makeView();
    const Frustum& f = view.frustum;
    // Along the view axis from beyond the far face to before the near face: the
    // far face is crossed first, but the near face's triangles come first.
    const PointFlt a(Point(0.05, 0.05, -8) * view.eyeToWorld);
    const PointFlt b(Point(0.05, 0.05, -0.1) * view.eyeToWorld);
    PointFlt hit;
    ASSERT_TRUE(oxGeom::lineFrustumIntersect(a, b, f, hit));
    EXPECT_NEAR((Point(hit) * view.worldToEye)[2], -0.5, 1e-5);
    ASSERT_TRUE(oxGeom::lineFrustumIntersect(b, a, f, hit));
    EXPECT_NEAR((Point(hit) * view.worldToEye)[2], -0.5, 1e-5);
    // Both ends beyond the far plane; a zero-length segment outside.
    const PointFlt c(Point(0.05, 0.05, -9) * view.eyeToWorld);
    EXPECT_FALSE(oxGeom::lineFrustumIntersect(a, c, f));
    EXPECT_FALSE(oxGeom::lineFrustumIntersect(a, a, f));
}

// The mesh's box, placed, against the frustum: a placed cube with a vertex
// inside must be reported; one whose placed box lies beyond a plane must not.
TEST(intersectBoxFrustum, placedCubeAgainstItsCorners)
{
    const View view = makeView();
    const oxGeom::CompactMesh cube = fixtures::cube();  // [0, 1]^3
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> angle(0.0, 3.0);
    int seen[2] = {0, 0};
    for (int i = 0; i < 500; ++i)
    {
        const AffineMatrix m =
            AffineMatrix::makeScale(0.4) *
            AffineMatrix::makeRotation(Vector(angle(rng), 1, angle(rng)), angle(rng)) *
            AffineMatrix::makeTranslation(Vector(Point(randomPoint(rng, view, 4.0))));
        const bool result = oxGeom::intersectBoxFrustum(m, cube, view.frustum);
        ++seen[result];
        oxLinear::Range3d placed;
        bool vertexInside = false;
        for (int v = 0; v < 8; ++v)
        {
            const Point p = Point(v & 1, v >> 1 & 1, v >> 2 & 1) * m;  // the fixture's corners
            placed.extend(p);
            vertexInside = vertexInside || oxGeom::pointFrustumIntersect(p, view.frustum);
        }
        EXPECT_TRUE(result || !vertexInside) << i;
        for (int plane = 0; plane < 6; ++plane)
        {
            double lowest = INFINITY;
            for (int c = 0; c < 8; ++c)
                lowest =
                    std::min(lowest, view.frustum.getPlane(plane).signedDistance(placed.corner(c)));
            EXPECT_FALSE(result && lowest > 1e-5) << i << ' ' << plane;
        }
    }
    EXPECT_GT(seen[0], 50);
    EXPECT_GT(seen[1], 50);
    EXPECT_FALSE(
        oxGeom::intersectBoxFrustum(AffineMatrix(1.0), fixtures::emptyMesh(), view.frustum));
}
