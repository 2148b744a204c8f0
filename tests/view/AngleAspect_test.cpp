#include <oxGeom/AngleAspect.h>
#include <oxGeom/EyeSpaceFrustum.h>
#include <oxLinear/Angle.h>
#include <oxLinear/Tolerance.h>

#include "support/debugCapture.h"

#include <gtest/gtest.h>

#include <cmath>

using oxGeom::AngleAspect;
using oxGeom::EyeSpaceFrustum;
using oxLinear::Point;
using oxLinear::ProjMatrix;
using oxLinear::toRadians;
using oxLinear::Tuple2;

TEST(AngleAspect, defaultLensRoundTripsThroughTheFrustum)
{
    const AngleAspect lens;
    EXPECT_TRUE(lens.getAspectRatio() == 1.0 && lens.getNearDist() == 1.0 &&
                lens.getFarDist() == 100.0);
    EyeSpaceFrustum frustum;
    frustum.setOrthographic(true);
    lens.getEyeSpaceFrustum(frustum);
    Tuple2 lb, rt;
    frustum.getFrame(lb, rt);
    const double top = std::tan(toRadians(27.5));  // 0.5206
    EXPECT_TRUE(equivalent(lb, Tuple2(-top, -top), 1e-15) &&
                equivalent(rt, Tuple2(top, top), 1e-15));
    EXPECT_FALSE(frustum.getOrthographic());
    AngleAspect back;
    back.setAngleOfViewRad(1.0);
    frustum.getAngleAspect(back);
    EXPECT_NEAR(back.getAngleOfViewRad(), toRadians(55.0), 1e-14);
    EXPECT_TRUE(back == lens);

    // A wide lens with another aspect and depth range survives the round trip too.
    AngleAspect wide;
    wide.setAngleOfViewRad(toRadians(90.0));
    wide.setAspectRatio(1.6);
    wide.setDepthRange(0.5, 40.0);
    EXPECT_NEAR(wide.getHeightAtDepth(3.0), 6.0, 1e-14);
    wide.getEyeSpaceFrustum(frustum);
    frustum.getAngleAspect(back);
    EXPECT_TRUE(back == wide && back.getNearDist() == 0.5 && back.getFarDist() == 40.0);
}

// The lens matrix maps the corners of its view volume onto the NDC cube, and
// the infinite-far form keeps the near plane at -1 with distant points just below +1.
TEST(AngleAspect, matrixMapsTheViewVolumeToTheUnitCube)
{
    AngleAspect lens;
    lens.setAspectRatio(2.0);
    lens.setDepthRange(0.25, 30.0);
    ProjMatrix finite, infinite;
    lens.getMatrix(finite, false);
    lens.getMatrix(infinite, true);
    for (const double depth : {0.25, 30.0})
    {
        const double h = lens.getHeightAtDepth(depth) / 2.0, w = lens.getWidthForHeight(h);
        for (const double sx : {-1.0, 1.0})
            for (const double sy : {-1.0, 1.0})
            {
                const Point p(sx * w, sy * h, -depth);
                const Point ndc = p * finite, ndcInf = p * infinite;
                EXPECT_TRUE(equivalent(ndc, Point(sx, sy, depth == 30.0 ? 1.0 : -1.0), 1e-12));
                // Only the depth of points beyond the near plane moves.
                const double zInf = depth == 0.25 ? -1.0 : ndcInf[2];
                EXPECT_TRUE(equivalent(ndcInf, Point(sx, sy, zInf), 1e-12));
            }
    }
    const double e = oxLinear::epsilonTolFlt;
    const double far = (Point(0, 0, -1e12) * infinite)[2];
    EXPECT_LT(far, 1.0 - e * 0.99);
    EXPECT_GT(far, 1.0 - e * 1.01);
    EXPECT_NEAR(oxGeom::getVerticalAngleRadians(finite), lens.getAngleOfViewRad(), 1e-15);
    EXPECT_EQ(oxGeom::getVerticalAngleRadians(ProjMatrix(0.0)), oxLinear::pi);  // m11 = 0
}

TEST(AngleAspect, equalityUsesDegreeTolOnTheAngle)
{
    const AngleAspect base;
    AngleAspect other;
    other.setAngleOfViewRad(base.getAngleOfViewRad() + toRadians(0.5 * oxLinear::degreeTol));
    EXPECT_TRUE(other == base);
    // Twice the tolerance, in radians, is still far below degreeTol read as radians.
    other.setAngleOfViewRad(base.getAngleOfViewRad() + toRadians(2.0 * oxLinear::degreeTol));
    EXPECT_FALSE(other == base);
    for (int field = 0; field < 3; ++field)
        for (const double offset : {0.5 * oxLinear::epsilonTol, 2.0 * oxLinear::epsilonTol})
        {
            AngleAspect lens;
            if (field == 0)
                lens.setAspectRatio(1.0 + offset);
            else if (field == 1)
                lens.setDepthRange(1.0 + offset, 100.0);
            else
                lens.setDepthRange(1.0, 100.0 + offset);
            EXPECT_EQ(lens == base, offset < oxLinear::epsilonTol) << field;
        }
}

TEST(AngleAspect, debugPrintWritesOnlyWhenEnabled)
{
    AngleAspect lens;
    lens.setAspectRatio(1.5);
    testsupport::DebugCapture capture;
    lens.debugPrint(oxGeom::debugChannel(), "cam");
    const char* values =
        "  aov 0.959931088597\n  asp 1.500000000000\n  nea 1.000000000000\n"
        "  far 100.000000000000\n";
    EXPECT_EQ(capture.text(), std::string("cam AngleAspect is\ncam lens is\n") + values);
    capture.clear();
    lens.debugPrint(oxGeom::debugChannel(), nullptr);
    EXPECT_EQ(capture.text(), std::string("unnamed AngleAspect is\nunnamed lens is\n") + values);
    capture.clear();
    oxGeom::debugChannel().disable();
    lens.debugPrint(oxGeom::debugChannel(), "cam");
    EXPECT_EQ(capture.text(), "");
}
