#include <oxGeom/Viewport.h>
#include <oxLinear/Tolerance.h>

#include <gtest/gtest.h>

#include <random>

using oxGeom::Viewport;
using oxLinear::AffineMatrix;
using oxLinear::Point;
using oxLinear::Point2;

TEST(Viewport, defaultMapsTheNdcSquareOntoTheUnitSquare)
{
    const Viewport v;
    AffineMatrix m;
    v.getViewTransform(m);
    EXPECT_EQ(Point(-1, -1, -1) * m, Point(0, 0, 0));
    EXPECT_EQ(Point(1, 1, 1) * m, Point(1, 1, 1));
    EXPECT_EQ(v.getAspectRatio(), 1.0);
}

// The three forms agree with the window formula and with their inverses; the
// viewport's own depth range never enters.
TEST(Viewport, threeFormsAgreeAndInvert)
{
    Viewport v;
    v.setOrigin(10, 20);
    v.setSize(640, 480);
    v.setDepthRange(0.2, 0.7);
    AffineMatrix a, ai;
    oxLinear::AffineMatrix2 a2, a2i;
    oxLinear::ProjMatrix p, pi;
    v.getViewTransform(a);
    v.getViewTransform(a2);
    v.getViewTransform(p);
    v.getInverseViewTransform(ai);
    v.getInverseViewTransform(a2i);
    v.getInverseViewTransform(pi);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> ndc(-1.0, 1.0);
    for (int i = 0; i < 50; ++i)
    {
        const Point q(ndc(rng), ndc(rng), ndc(rng));
        const Point window(10 + (q[0] + 1) * 320, 20 + (q[1] + 1) * 240, (q[2] + 1) / 2);
        EXPECT_TRUE(equivalent(q * a, window, 1e-12));
        EXPECT_TRUE(equivalent(q * p, window, 1e-12));
        EXPECT_TRUE(equivalent(Point2(q[0], q[1]) * a2, Point2(window[0], window[1]), 1e-12));
        EXPECT_TRUE(equivalent(window * ai, q, 1e-12));
        EXPECT_TRUE(equivalent(window * pi, q, 1e-12));
        EXPECT_TRUE(equivalent(Point2(window[0], window[1]) * a2i, Point2(q[0], q[1]), 1e-12));
    }
}

// After projection and the pick transform, the pick rectangle fills [-1, 1].
TEST(Viewport, pickTransformMagnifiesThePickRectangle)
{
    Viewport v;
    v.setOrigin(10, 20);
    v.setSize(640, 480);
    AffineMatrix toNdc, pick;
    v.getInverseViewTransform(toNdc);
    v.getPickTransform(oxLinear::Range2d(Point2(100, 200), Point2(110, 204)), pick);
    EXPECT_TRUE(equivalent(Point(100, 200, 0.5) * toNdc * pick, Point(-1, -1, 0), 1e-12));
    EXPECT_TRUE(equivalent(Point(110, 204, 1.0) * toNdc * pick, Point(1, 1, 1), 1e-12));

    // Zero width: x is only shifted to the pick column, y still magnified.
    v.getPickTransform(oxLinear::Range2d(Point2(100, 200), Point2(100, 204)), pick);
    EXPECT_EQ(pick[0][0], 640.0);
    EXPECT_TRUE(equivalent(Point(100, 204, 0) * toNdc * pick, Point(0, 1, -1), 1e-12));
    // An empty rectangle has size and midpoint 0: finite, scale 1 on both axes.
    v.getPickTransform(oxLinear::Range2d(), pick);
    EXPECT_TRUE(
        equivalent(Point(10, 20, 0) * toNdc * pick, Point(-640 + 660, -480 + 520, -1), 1e-9));
}

TEST(Viewport, equalityComparesAllSixValues)
{
    for (int field = 0; field < 6; ++field)
        for (const double offset : {0.5 * oxLinear::epsilonTol, 2.0 * oxLinear::epsilonTol})
        {
            double f[6] = {0, 0, 1, 1, 0, 1};
            f[field] += offset;
            Viewport v;
            v.setOrigin(f[0], f[1]);
            v.setSize(f[2], f[3]);
            v.setDepthRange(f[4], f[5]);
            EXPECT_EQ(v == Viewport(), offset < oxLinear::epsilonTol) << field;
        }
}
