// DiagonalPreconditioner: reciprocals of the stored diagonal, unguarded infinities for a
// missing one, and vectors longer than the matrix.

#include <oxGeom/ConjugateGradient.h>

#include <gtest/gtest.h>

#include <cmath>

using oxGeom::NVector;

TEST(DiagonalPreconditioner, scalesByReciprocalDiagonal)
{
    oxGeom::SparseMatrix a(3);
    a.addToElement(0, 0, 4.0);
    a.addToElement(0, 1, 9.0);  // off-diagonal: ignored
    a.addToElement(2, 2, -0.5);
    const oxGeom::DiagonalPreconditioner jacobi(a);
    NVector r(4), z;
    r[0] = 2.0;
    r[1] = 1.0;
    r[2] = 3.0;
    r[3] = 8.0;
    jacobi.applyInverse(r, z);
    ASSERT_EQ(z.size(), 4);
    EXPECT_EQ(z[0], 0.5);
    EXPECT_TRUE(std::isinf(z[1]));  // row 1 has no diagonal entry
    EXPECT_EQ(z[2], -6.0);
    EXPECT_EQ(z[3], 0.0);  // past the matrix

    oxGeom::DiagonalPreconditioner copy(oxGeom::SparseMatrix(0));
    copy = jacobi;
    copy.applyInverse(r, r);
    EXPECT_EQ(r[2], -6.0);
    EXPECT_EQ(copy.getInverseDiagonal().size(), 3);
}
