// Affine matrices: the row-vector convention, products, inverses and normal
// matrices of random matrices, rotations (including the opposite-direction
// cases), frames, and the float and planar forms.

#include <oxLinear/AffineMatrix.h>

#include <gtest/gtest.h>

#include <cmath>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::isRotation;
using linearTest::near;

TEST(AffineMatrix, rowsAreAxisImagesAndTranslationMovesPointsOnly)
{
    EXPECT_EQ(AffineMatrix(), AffineMatrix(1.0));
    EXPECT_EQ(Point(1, 2, 3) * AffineMatrix(2.0), Point(2, 4, 6));
    // m[row][column]; translation in row 3 moves points but not vectors.
    const AffineMatrix m(Vector(0, 1, 0), Vector(-1, 0, 0), Vector(0, 0, 1), Vector(10, 20, 30));
    EXPECT_EQ(m[3][1], 20.0);
    EXPECT_EQ(Point(1, 0, 0) * m, Point(10, 21, 30));
    EXPECT_EQ(Vector(0, 1, 0) * m, Vector(-1, 0, 0));
    EXPECT_EQ(m.getTranslation(), Vector(10, 20, 30));
    EXPECT_EQ(m[9][-1], m[3][0]);  // clamped indices
    const double values[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(AffineMatrix(values)[2][1], 8.0);
}

TEST(AffineMatrix, productAppliesLeftFactorFirst)
{
    const AffineMatrix shift = AffineMatrix::makeTranslation(Vector(1, 0, 0));
    const AffineMatrix turn = AffineMatrix::makeRotation(Vector(0, 0, 1), pi / 2);
    // Shift then turn: (0,0,0) -> (1,0,0) -> (0,1,0). Turn then shift: (1,0,0).
    EXPECT_TRUE(near(Point(0, 0, 0) * (shift * turn), Point(0, 1, 0), 1e-15));
    EXPECT_TRUE(near(Point(0, 0, 0) * (turn * shift), Point(1, 0, 0), 1e-15));
    AffineMatrix composed = shift;
    composed.rotate(Vector(0, 0, 1), pi / 2);
    EXPECT_EQ(composed, shift * turn);

    linearTest::Random random(21);
    for (int i = 0; i < 10; ++i)
    {
        const AffineMatrix a = random.matrix(), b = random.matrix();
        const Point p = random.point(5.0);
        const Vector v = random.vector(5.0);
        EXPECT_TRUE(near(p * (a * b), (p * a) * b, 1e-11));
        EXPECT_TRUE(near(v * (a * b), (v * a) * b, 1e-11));
        EXPECT_NEAR((a * b).det3x3(), a.det3x3() * b.det3x3(), 1e-11);
    }
    EXPECT_LT(AffineMatrix::makeScale(Vector(-1, 1, 1)).det3x3(),
              0.0);  // a mirror
    EXPECT_EQ(det3x3(AffineMatrix::makeScale(2.0)), 8.0);
}

TEST(AffineMatrix, inverseAndNormalMatrixOfRandomMatricesAndSingularIsReported)
{
    linearTest::Random random(7);
    for (int i = 0; i < 20; ++i)
    {
        // Strongly non-uniform scale: a plain linear map would tilt normals.
        const AffineMatrix m = random.matrix() * AffineMatrix::makeScale(Vector(1, 5, 0.2));
        AffineMatrix inv, inPlace = m, nm;
        ASSERT_TRUE(m.inverse(inv));
        EXPECT_TRUE(near(m * inv, AffineMatrix(), 1e-12));
        EXPECT_TRUE(near(inv * m, AffineMatrix(), 1e-12));
        EXPECT_TRUE(inPlace.invert());
        EXPECT_EQ(inPlace, inv);
        ASSERT_TRUE(m.normalMatrix(nm));
        EXPECT_EQ(nm.getTranslation(), Vector());
        const Vector t0 = random.direction(), t1 = random.direction();
        const Vector nt = (cross(t0, t1) * nm).normalized();
        EXPECT_NEAR(dot(nt, (t0 * m).normalized()), 0.0, 1e-12);
        EXPECT_NEAR(dot(nt, (t1 * m).normalized()), 0.0, 1e-12);
    }
    const AffineMatrix flat(Vector(1, 0, 0), Vector(0, 1, 0), Vector(1, 1, 0), Vector(5, 5, 5));
    AffineMatrix out(3.0), nm(2.0), unchanged = flat;
    EXPECT_FALSE(flat.inverse(out));
    EXPECT_EQ(out, AffineMatrix());
    EXPECT_FALSE(flat.normalMatrix(nm));
    EXPECT_EQ(nm, AffineMatrix());
    EXPECT_FALSE(unchanged.invert());
    EXPECT_EQ(unchanged, flat);
    // A denormal determinant has no finite reciprocal.
    EXPECT_FALSE(AffineMatrix(1e-104).inverse(out));
}

TEST(AffineMatrix, rotationsMapFromOntoToIncludingOppositeAndFollowFreeRotate)
{
    linearTest::Random random(19);
    for (int i = 0; i < 30; ++i)
    {
        const Vector from = random.direction(), to = random.direction();
        const AffineMatrix r = AffineMatrix::makeRotation(from, to);
        EXPECT_TRUE(isRotation(r, 1e-14));
        EXPECT_TRUE(near(from.normalized() * r, to.normalized(), 1e-14));
        // The smallest rotation turns about from x to, which therefore stays put.
        const Vector axis = cross(from, to).normalized();
        EXPECT_TRUE(near(axis * r, axis, 1e-13));
        const double angle = random.scalar(pi);
        const AffineMatrix turn = AffineMatrix::makeRotation(from, angle);
        EXPECT_TRUE(isRotation(turn, 1e-14));
        EXPECT_TRUE(near(to * turn, rotate(to, from, angle), 1e-15));
    }
    const Vector cases[][2] = {
        {Vector(0, 0, 1), Vector(0, 0, 1)},      // identical
        {Vector(0, 0, 1), Vector(0, 0, -1)},     // opposite along an axis
        {Vector(1, 2, 3), Vector(-1, -2, -3)},   // opposite, general
        {Vector(1, 0, 0), Vector(-1, 1e-9, 0)},  // nearly opposite
        {Vector(1, 0, 0), Vector(-1, 2e-3, 0)},  // opposite within 2e-3 rad
        {Vector(0, 3, 0), Vector(1e-12, 1, 0)},  // nearly identical
    };
    for (const auto& c : cases)
    {
        const AffineMatrix r = AffineMatrix::makeRotation(c[0], c[1]);
        EXPECT_TRUE(isRotation(r, 1e-14));
        EXPECT_TRUE(near(c[0].normalized() * r, c[1].normalized(), 1e-14)) << c[1][1];
    }
    EXPECT_EQ(AffineMatrix::makeRotation(Vector(0, 0, 1), Vector(0, 0, 1)), AffineMatrix());
    EXPECT_EQ(AffineMatrix::makeRotation(Vector(), Vector(0, 0, 1)), AffineMatrix());
    EXPECT_EQ(AffineMatrix::makeRotation(Vector(), 1.0), AffineMatrix());

    // The member form composes after the current transform.
    const Vector n = Vector(0.3, -0.4, 0.2).normalized();
    AffineMatrix m = AffineMatrix::makeTranslation(Vector(1, 2, 3));
    m.rotate(n, Normal::z);
    EXPECT_TRUE(near(n * m, Vector(0, 0, 1), 1e-15));
    EXPECT_TRUE(
        near(Point(0, 0, 0) * m, Point(1, 2, 3) * AffineMatrix::makeRotation(n, Normal::z), 1e-15));
    m = AffineMatrix::makeScale(2.0);
    m.translate(Vector(1, 1, 1)).scale(Vector(1, 2, 3));
    EXPECT_EQ(Point(1, 1, 1) * m, Point(3, 6, 9));
}

TEST(AffineMatrix, setFrameIsOrthonormalAndMapsFrameToWorld)
{
    linearTest::Random random(29);
    for (int i = 0; i < 20; ++i)
    {
        const Point origin = random.point(10.0);
        const Vector xAxis = random.direction(), normal = random.direction();
        AffineMatrix frame;
        EXPECT_TRUE(frame.setFrame(origin, xAxis, normal));
        EXPECT_TRUE(isRotation(frame, 1e-14));
        EXPECT_EQ(Point(0, 0, 0) * frame, origin);
        EXPECT_TRUE(near(frame.getRow(2), normal.normalized(), 1e-15));
        // Row 0 lies in the plane spanned by xAxis and the normal, on xAxis's side.
        EXPECT_NEAR(det3x3(frame.getRow(0), xAxis, normal), 0.0, 1e-14);
        EXPECT_GT(dot(frame.getRow(0), xAxis), 0.0);
    }
    AffineMatrix frame;
    EXPECT_FALSE(frame.setFrame(Point(1, 2, 3), Vector(0, 0, 2), Vector(0, 0, 1)));
    EXPECT_TRUE(isRotation(frame, 1e-15));
    EXPECT_EQ(frame.getRow(2), Vector(0, 0, 1));
    EXPECT_FALSE(frame.setFrame(Point(), Vector(1, 0, 0), Vector()));
    EXPECT_TRUE(isRotation(frame, 1e-15));
    EXPECT_EQ(frame.getRow(0), Vector(1, 0, 0));
}

TEST(AffineMatrixFlt, twelvePackedFloatsFollowingTheDoubleForm)
{
    const AffineMatrixFlt identity;
    EXPECT_EQ(identity, AffineMatrixFlt(1.0f));
    EXPECT_EQ(AffineMatrix(identity), AffineMatrix());
    const float values[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(AffineMatrixFlt(values)[2][1], 8.0f);
    linearTest::Random random(31);
    const AffineMatrix a = random.matrix(), b = random.matrix();
    const AffineMatrixFlt fa(a), fb(b);
    EXPECT_TRUE(near(AffineMatrix(fa * fb), a * b, 1e-5));
    const Point p = random.point();
    EXPECT_TRUE(near(Point(PointFlt(p) * fa), p * a, 1e-5));
    EXPECT_TRUE(near(Vector(VectorFlt(Vector(p)) * fa), Vector(p) * a, 1e-5));
    AffineMatrixFlt inv, nm;
    AffineMatrix dinv, dnm;
    ASSERT_TRUE(fa.inverse(inv) && fa.normalMatrix(nm) && a.inverse(dinv) && a.normalMatrix(dnm));
    EXPECT_TRUE(near(inv, AffineMatrixFlt(dinv), 1e-5));
    EXPECT_TRUE(near(AffineMatrix(nm), dnm, 1e-5));
    EXPECT_FALSE(AffineMatrixFlt(0.0f).inverse(inv));
    EXPECT_LT(det3x3(AffineMatrixFlt(AffineMatrix::makeScale(Vector(1, 1, -2)))), 0.0);
}

TEST(AffineMatrix2, planarTransformsProductAndInverse)
{
    AffineMatrix2 m;
    EXPECT_EQ(Point2(3, 4) * m, Point2(3, 4));
    m[0][0] = 2.0;  // x scaled by 2
    m[1][1] = 3.0;  // y scaled by 3
    m[2][0] = 10.0;
    m[2][1] = -1.0;
    EXPECT_EQ(Point2(1, 1) * m, Point2(12, 2));
    EXPECT_EQ(Tuple2(1, 2) * m, Tuple2(2, 6));
    EXPECT_EQ(m.det2x2(), 6.0);

    AffineMatrix2 turn(0.0);
    turn[0][1] = 1.0;   // x -> y
    turn[1][0] = -1.0;  // y -> -x
    EXPECT_EQ(Point2(1, 1) * (m * turn), (Point2(1, 1) * m) * turn);
    AffineMatrix2 inv;
    ASSERT_TRUE((m * turn).inverse(inv));
    EXPECT_TRUE(equivalent((m * turn) * inv, AffineMatrix2(), 1e-15));
    EXPECT_FALSE(AffineMatrix2(0.0).inverse(inv));
    EXPECT_EQ(inv, AffineMatrix2());
}
