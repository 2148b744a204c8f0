#include <oxGeom/EyeSpaceFrustum.h>
#include <oxLinear/Tolerance.h>

#include "support/debugCapture.h"

#include <gtest/gtest.h>

using oxGeom::EyeSpaceFrustum;
using oxLinear::Point;
using oxLinear::ProjMatrix;
using oxLinear::Tuple2;

namespace
{
// An off-centre frame: l -0.3, r 0.7, b -0.2, t 0.5; depth 0.5 .. 20.
EyeSpaceFrustum offCentre(bool orthographic)
{
    EyeSpaceFrustum f;
    f.setFrame(Tuple2(-0.3, -0.2), Tuple2(0.7, 0.5));
    f.setDepthRange(0.5, 20.0, false);
    f.setOrthographic(orthographic);
    return f;
}

bool isSymmetric(const EyeSpaceFrustum& f)
{
    Tuple2 lb, rt;
    f.getFrame(lb, rt);
    return lb[0] == -rt[0] && lb[1] == -rt[1];
}
}  // namespace

TEST(EyeSpaceFrustum, inverseMatrixUndoesTheProjection)
{
    for (const bool ortho : {false, true})
    {
        const EyeSpaceFrustum f = offCentre(ortho);
        ProjMatrix m, inverse;
        f.getMatrix(m, false);
        f.getInverseMatrix(inverse);
        EXPECT_TRUE(equivalent(m * inverse, ProjMatrix(1.0), 1e-12)) << ortho;
        EXPECT_TRUE(equivalent(inverse * m, ProjMatrix(1.0), 1e-12)) << ortho;
        // The volume's corners, built here from the frame, land on the NDC cube.
        for (const double depth : {0.5, 20.0})
            for (const int corner : {0, 1, 2, 3})
            {
                const double x = corner & 1 ? 0.7 : -0.3, y = corner & 2 ? 0.5 : -0.2;
                const double s = ortho ? 1.0 : depth / 0.5;
                const Point ndc = Point(x * s, y * s, -depth) * m;
                const Point expected(corner & 1 ? 1 : -1, corner & 2 ? 1 : -1,
                                     depth == 20.0 ? 1 : -1);
                EXPECT_TRUE(equivalent(ndc, expected, 1e-12)) << ortho << corner << depth;
            }
        // infiniteFar changes only the depth elements of a perspective matrix.
        ProjMatrix infinite;
        f.getMatrix(infinite, true);
        EXPECT_EQ(infinite == m, ortho);
        EXPECT_EQ(infinite[2][0], m[2][0]);
        if (!ortho)
        {
            EXPECT_NEAR((Point(0.1, 0.1, -0.5) * infinite)[2], -1.0, 1e-12);
        }
    }
}

TEST(EyeSpaceFrustum, heightAndPlaneAtDepthFollowTheMode)
{
    EyeSpaceFrustum f = offCentre(false);
    EXPECT_NEAR(f.getAspectRatio(), 1.0 / 0.7, 1e-15);
    EXPECT_NEAR(f.getHeightAtDepth(2.0), 0.7 * 4.0, 1e-15);
    oxLinear::ParamPlane plane;
    f.getPlaneAtDepth(2.0, plane);
    EXPECT_EQ(plane.origin(), Point(0, 0, -2.0));
    EXPECT_NEAR(plane.halfHeight(), 1.4, 1e-15);
    EXPECT_NEAR(plane.halfWidth(), 2.0, 1e-15);
    EXPECT_EQ(plane.normal(), oxLinear::Vector(0, 0, 1));
    f.setOrthographic(true);
    EXPECT_EQ(f.getHeightAtDepth(2.0), f.getHeightAtDepth(50.0));
    EXPECT_NEAR(f.getHeightAtDepth(2.0), 0.7, 1e-15);
    f.getPlaneAtDepth(7.0, plane);
    EXPECT_NEAR(plane.halfWidth(), 0.5, 1e-15);
    EXPECT_EQ(plane.origin()[2], -7.0);
}

TEST(EyeSpaceFrustum, depthRangeKeepsTheAngleOnlyWhenAsked)
{
    EyeSpaceFrustum f = offCentre(false);
    oxGeom::AngleAspect before, after;
    f.getAngleAspect(before);
    EyeSpaceFrustum kept = f;
    kept.setDepthRange(2.0, 50.0, true);
    kept.getAngleAspect(after);
    EXPECT_TRUE(isSymmetric(kept));
    EXPECT_NEAR(after.getAngleOfViewRad(), before.getAngleOfViewRad(), 1e-14);
    EXPECT_NEAR(after.getAspectRatio(), before.getAspectRatio(), 1e-14);
    EXPECT_EQ(kept.getNearDist(), 2.0);
    EXPECT_EQ(kept.getFarDist(), 50.0);

    EyeSpaceFrustum moved = f;
    moved.setDepthRange(2.0, 50.0, false);
    EyeSpaceFrustum ortho = offCentre(true);
    ortho.setDepthRange(2.0, 50.0, true);  // no angle to keep: the box stays
    for (const EyeSpaceFrustum* g : {&moved, &ortho})
    {
        Tuple2 lb, rt;
        g->getFrame(lb, rt);
        EXPECT_EQ(lb, Tuple2(-0.3, -0.2));
        EXPECT_EQ(rt, Tuple2(0.7, 0.5));
        EXPECT_EQ(g->getNearDist(), 2.0);
    }
}

TEST(EyeSpaceFrustum, modeSwitchKeepsTheSizeAtDepthAndCentresTheFrame)
{
    EyeSpaceFrustum f = offCentre(false);
    const EyeSpaceFrustum unchanged = f;
    f.setOrthographic(false, 4.0);  // same mode: nothing happens
    EXPECT_TRUE(f == unchanged && !isSymmetric(f));

    f.setOrthographic(true, 4.0);
    EXPECT_TRUE(f.getOrthographic() && isSymmetric(f));
    EXPECT_NEAR(f.getHeightAtDepth(0.0), unchanged.getHeightAtDepth(4.0), 1e-14);
    EXPECT_NEAR(f.getAspectRatio(), unchanged.getAspectRatio(), 1e-14);

    f.setOrthographic(false, 4.0);
    EXPECT_TRUE(!f.getOrthographic() && isSymmetric(f));
    EXPECT_NEAR(f.getHeightAtDepth(4.0), unchanged.getHeightAtDepth(4.0), 1e-14);
    EXPECT_NEAR(f.getHeightAtDepth(0.5), 0.7, 1e-14);
    EXPECT_NEAR(f.getAspectRatio(), unchanged.getAspectRatio(), 1e-14);
    EXPECT_FALSE(f == unchanged);  // the offset is gone
}

TEST(EyeSpaceFrustum, equalityComparesModeAndSixValues)
{
    const EyeSpaceFrustum base = offCentre(false);
    EXPECT_FALSE(base == offCentre(true));
    for (int field = 0; field < 6; ++field)
        for (const double offset : {0.5 * oxLinear::epsilonTol, 2.0 * oxLinear::epsilonTol})
        {
            double v[6] = {-0.3, -0.2, 0.7, 0.5, 0.5, 20.0};
            v[field] += offset;
            EyeSpaceFrustum f;
            f.setFrame(Tuple2(v[0], v[1]), Tuple2(v[2], v[3]));
            f.setDepthRange(v[4], v[5], false);
            EXPECT_EQ(f == base, offset < oxLinear::epsilonTol) << field;
        }
}

TEST(EyeSpaceFrustum, debugPrintListsTheSixValues)
{
    const EyeSpaceFrustum f = offCentre(true);
    testsupport::DebugCapture capture;
    f.debugPrint(oxGeom::debugChannel(), nullptr);
    f.debugPrint(oxGeom::debugChannel(), "view");
    const std::string values =
        "  top 0.500000000000\n  bot -0.200000000000\n  lef -0.300000000000\n"
        "  rig 0.700000000000\n  nea 0.500000000000\n  far 20.000000000000\n";
    EXPECT_EQ(capture.text(), "unnamed frustum is\n" + values + "view frustum is\n" + values);
    oxGeom::debugChannel().disable();
    capture.clear();
    f.debugPrint(oxGeom::debugChannel(), "view");
    EXPECT_EQ(capture.text(), "");
}
