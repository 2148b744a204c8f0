// SparseMatrix: entry bookkeeping, products and transposes against dense arithmetic, the
// Cholesky and structure tests, and the exact text forms.

#include <oxGeom/SparseMatrix.h>

#include "parameterization/sparseOracles.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

using oxGeom::NVector;
using oxGeom::SparseMatrix;

TEST(SparseMatrix, addToElementAccumulatesAndStoresExplicitZeros)
{
    SparseMatrix a(3);
    a.addToElement(0, 2, 1.5);
    a.addToElement(0, 1, 0.0);  // explicit zero
    a.addToElement(0, 2, 2.0);  // accumulates into the first entry
    a.addToElement(3, 0, 9.0);  // outside: ignored
    a.addToElement(0, -1, 9.0);
    EXPECT_EQ(a.nnz(), 2);
    ASSERT_EQ(a.row(0).size(), 2u);
    EXPECT_EQ(a.row(0)[0].column, 2);
    EXPECT_EQ(a.row(0)[0].value, 3.5);
    EXPECT_TRUE(a.row(7).empty());

    double value = -4.0;
    EXPECT_TRUE(a.getElement(0, 1, value));
    EXPECT_EQ(value, 0.0);
    value = -4.0;
    EXPECT_FALSE(a.getElement(1, 1, value));
    EXPECT_FALSE(a.getElement(5, 1, value));
    EXPECT_EQ(value, -4.0);

    SparseMatrix copy;
    copy = a;
    a.setToZero(1);
    EXPECT_EQ(a.nnz(), 0);
    EXPECT_EQ(copy.size(), 3);
    EXPECT_EQ(copy.getElement(0, 2), 3.5);
    EXPECT_EQ(SparseMatrix(-2).size(), 0);
}

TEST(SparseMatrix, productsAndTransposeMatchDenseArithmetic)
{
    const int n = 17;
    SparseMatrix a;
    oracle::randomLaplacian(n, 0.3, 5, a);
    a.addToElement(3, 11, 0.75);  // unsymmetric, so that the transpose is checked
    const oracle::Dense d = oracle::dense(a);
    NVector u(n), v(n), av, bMinus(n), shortV(2), shortProduct;
    for (int i = 0; i < n; ++i)
    {
        u[i] = std::sin(i + 1.0);
        v[i] = std::cos(3.0 * i);
    }
    NVector alias = v;
    shortV[0] = 1.0;
    shortV[1] = 2.0;
    a.getMatrixTimesVector(v, av);  // resizes av
    a.getVectorMinusMatrixTimesVector(u, v, bMinus);
    a.getMatrixTimesVector(alias, alias);
    a.getMatrixTimesVector(shortV, shortProduct);  // reads zeros past the end of shortV
    double uav = 0;
    for (int i = 0; i < n; ++i)
    {
        double sum = 0;
        for (int j = 0; j < n; ++j)
            sum += d[i][j] * v[j];
        EXPECT_NEAR(av[i], sum, 1e-12);
        EXPECT_EQ(alias[i], av[i]);
        EXPECT_EQ(bMinus[i], u[i] - av[i]);
        EXPECT_NEAR(shortProduct[i], d[i][0] + 2.0 * d[i][1], 1e-15);
        uav += u[i] * av[i];
    }
    EXPECT_NEAR(a.vectorDotMatrixTimesVector(u, v), uav, 1e-12);

    SparseMatrix t, upper(n);
    a.transpose(t);
    a.getUpperTriangular(upper);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
        {
            EXPECT_EQ(t.getElement(i, j), d[j][i]);
            EXPECT_EQ(upper.getElement(i, j), j >= i ? d[i][j] : 0.0);
        }
    a.transpose(a);
    EXPECT_EQ(a.getElement(11, 3), d[3][11]);
    EXPECT_EQ(a.nnz(), t.nnz());
}

TEST(SparseMatrix, choleskyAndStructureTests)
{
    SparseMatrix a, l;
    oracle::randomLaplacian(12, 0.5, 9, a);
    ASSERT_TRUE(a.choleskyFactorization(l));
    const oracle::Dense d = oracle::dense(a);
    for (int i = 0; i < 12; ++i)
        for (int j = 0; j < 12; ++j)
        {
            double llt = 0;
            for (int k = 0; k < 12; ++k)
                llt += l.getElement(i, k) * l.getElement(j, k);
            EXPECT_NEAR(llt, d[i][j], 1e-12);
            EXPECT_TRUE(j <= i || l.getElement(i, j) == 0.0);
        }
    // Singular plus a small negative diagonal: the last pivot is negative.
    oracle::randomLaplacian(6, 0.0, 2, a);
    a.addToElement(5, 5, -1e-3);
    EXPECT_FALSE(a.isPositiveDefinite());
    EXPECT_TRUE(SparseMatrix(0).isPositiveDefinite());

    SparseMatrix s(2);
    s.addToElement(1, 0, 0.999e-6);
    EXPECT_TRUE(s.isSymmetric());
    s.setToZero(2);
    s.addToElement(1, 0, 1e-6);  // exactly 1e-6 from the absent (0, 1)
    EXPECT_FALSE(s.isSymmetric());
    EXPECT_TRUE(SparseMatrix(0).isSymmetric());

    // Rows (2 -1 0), (-1 2 -1), (0 -1 1): row sums 1, 0, 0.
    SparseMatrix m(3);
    for (int i = 0; i < 3; ++i)
    {
        m.addToElement(i, i, i < 2 ? 2.0 : 1.0);
        m.addToElement(i, i - 1, -1.0);  // (0, -1) and (2, 3) are ignored
        m.addToElement(i, i + 1, -1.0);
    }
    EXPECT_TRUE(m.isMMatrix());
    m.addToElement(2, 2, -0.5);  // a negative row sum
    EXPECT_FALSE(m.isMMatrix());
    m.addToElement(2, 2, 0.5);
    m.addToElement(0, 2, 0.25);  // a positive off-diagonal entry
    EXPECT_FALSE(m.isMMatrix());
    SparseMatrix diagonal(3);
    diagonal.addToElement(0, 0, 2.0);
    EXPECT_TRUE(diagonal.isMMatrix());
    EXPECT_FALSE(SparseMatrix(3).isMMatrix());
    EXPECT_FALSE(SparseMatrix(0).isMMatrix());
}

TEST(SparseMatrix, textFormsAreExact)
{
    SparseMatrix a(2);
    a.addToElement(0, 0, 1.0);
    a.addToElement(0, 1, -2.0);
    a.addToElement(1, 1, 3.0);
    std::ostringstream text;
    text << a;
    EXPECT_EQ(text.str(),
              "SparseMatrix{\n  1.0000000000 -2.0000000000\n  0.0000000000  "
              "3.0000000000\n}");
    EXPECT_EQ(a.toMmaString().str(),
              "{\n{1.0000000000,-2.0000000000},\n{0.0000000000,3.0000000000}\n}");
    EXPECT_EQ(SparseMatrix(0).toMmaString().str(), "{\n}");

    std::ostringstream rows;
    std::streambuf* previous = std::cout.rdbuf(rows.rdbuf());
    SparseMatrix lengths(4);
    lengths.addToElement(0, 0, 1.0);
    lengths.addToElement(0, 3, 1.0);
    lengths.addToElement(2, 1, 1.0);
    lengths.dumpRowLengths();
    std::cout.rdbuf(previous);
    EXPECT_EQ(rows.str(),
              "  total rows: 4\n  length 0: 2 rows\n  length 1: 1 rows\n"
              "  length 2: 1 rows\n");

    NVector v(3);
    v[0] = 1.5;
    v[2] = -2.0;
    std::ostringstream vectorText;
    vectorText << v << NVector(0);
    EXPECT_EQ(vectorText.str(), "(1.5 0 -2 )()");
}
