// IncompleteCholeskyPreconditioner: the factor equals, bit for bit, the textbook loop that lets
// every earlier row update every later one (also after a breakdown, when NaN and infinities
// spread), L lists the columns of U, and applying it solves exactly where no fill is dropped.

#include <oxGeom/ConjugateGradient.h>

#include "parameterization/sparseOracles.h"

#include <gtest/gtest.h>

#include <cmath>

using oxGeom::IncompleteCholeskyPreconditioner;
using oxGeom::NVector;
using oxGeom::SparseElement;
using oxGeom::SparseMatrix;

namespace
{
using Rows = std::vector<std::vector<SparseElement>>;

double lookup(const Rows& u, int k, int column)
{
    for (size_t p = u[k].size(); p-- > 0;)
        if (u[k][p].column == column)
            return u[k][p].value;
    return 0.0;
}

// The O(n^2)-lookup row factorization, literally: every k < i, every stored entry of row i.
Rows textbookFactor(const SparseMatrix& a)
{
    const int n = a.size();
    Rows u(n);
    for (int i = 0; i < n; ++i)
        for (const SparseElement& e : a.row(i))
            if (e.column >= i)
                u[i].push_back(e);
    for (int i = 0; i < n; ++i)
    {
        for (int k = 0; k < i; ++k)
        {
            const double v = lookup(u, k, i);
            for (SparseElement& e : u[i])
                if (e.value != 0.0)
                    e.value -= lookup(u, k, e.column) * v;
        }
        double d = 0.0;
        for (SparseElement& e : u[i])
            if (e.column == i)
            {
                e.value = d = std::sqrt(e.value);
                break;
            }
        for (SparseElement& e : u[i])
            if (e.column != i)
                e.value /= d;
    }
    return u;
}

void expectFactorIsTextbook(const SparseMatrix& a)
{
    const Rows expected = textbookFactor(a);
    const IncompleteCholeskyPreconditioner ic(a);
    const SparseMatrix& u = ic.getUpper();
    const SparseMatrix& l = ic.getLower();
    ASSERT_EQ(u.size(), a.size());
    int mismatches = 0;
    std::vector<size_t> lowerSeen(a.size(), 0);
    for (int i = 0; i < a.size(); ++i)
    {
        ASSERT_EQ(u.row(i).size(), expected[i].size());
        for (size_t p = 0; p < expected[i].size(); ++p)
        {
            const SparseElement& e = expected[i][p];
            mismatches +=
                u.row(i)[p].column != e.column || !oracle::sameValue(u.row(i)[p].value, e.value);
            // L's row j holds (i, U(i, j)) in order of increasing i.
            const auto& lowerRow = l.row(e.column);
            const size_t at = lowerSeen[e.column]++;
            mismatches += at >= lowerRow.size() || lowerRow[at].column != i ||
                          !oracle::sameValue(lowerRow[at].value, e.value);
        }
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(l.nnz(), u.nnz());
}
}  // namespace

TEST(IncompleteCholeskyPreconditioner, factorEqualsTextbookLoop)
{
    for (unsigned seed = 1; seed <= 6; ++seed)
    {
        SparseMatrix a;
        oracle::randomLaplacian(20 + 7 * seed, 0.05 * seed, seed, a);
        expectFactorIsTextbook(a);

        // Indefinite: negative pivots give NaN rows. Without the chain edges, later rows
        // are reached by NaN rows only through absent entries (NaN * 0.0), which a visit of
        // the stored entries alone would miss.
        SparseMatrix indefinite;
        oracle::randomLaplacian(40, -1.5, seed, indefinite, false);
        expectFactorIsTextbook(indefinite);

        // A row without a diagonal entry divides by 0.0: infinities, then NaN.
        SparseMatrix holed;
        oracle::randomLaplacian(25, 0.5, seed + 10, holed);
        SparseMatrix copy(25);
        for (int i = 0; i < 25; ++i)
            for (const SparseElement& e : holed.row(i))
                if (!(i == 7 && e.column == 7))
                    copy.addToElement(i, e.column, e.value);
        expectFactorIsTextbook(copy);
    }
}

TEST(IncompleteCholeskyPreconditioner, solvesExactlyWithoutDroppedFill)
{
    // A tridiagonal matrix has a Cholesky factor without fill, so the incomplete factor is
    // the complete one and M^-1 r solves A z = r.
    const int n = 30;
    SparseMatrix a(n);
    for (int i = n - 1; i >= 0; --i)
    {
        a.addToElement(i, i, 2.5 + std::sin(i));
        if (i > 0)
            a.addToElement(i, i - 1, -1.0 + 0.1 * std::cos(i));
        if (i + 1 < n)
            a.addToElement(i, i + 1, -1.0 + 0.1 * std::cos(i + 1));
    }
    IncompleteCholeskyPreconditioner ic(a);
    NVector r(n), z(3);
    std::vector<double> rd(n);
    for (int i = 0; i < n; ++i)
        rd[i] = r[i] = std::cos(0.7 * i);
    ic.applyInverse(r, z);
    const std::vector<double> expected = oracle::solveDense(oracle::dense(a), rd);
    ASSERT_EQ(z.size(), n);
    for (int i = 0; i < n; ++i)
        EXPECT_NEAR(z[i], expected[i], 1e-12);

    // In place, through a copy, and with a shorter r (padded with zeros).
    NVector inPlace = r;
    IncompleteCholeskyPreconditioner copy(SparseMatrix(0));
    copy = ic;
    copy.applyInverse(inPlace, inPlace);
    for (int i = 0; i < n; ++i)
        EXPECT_EQ(inPlace[i], z[i]);
    NVector shortR(2), shortZ;
    shortR[0] = 1.0;
    ic.applyInverse(shortR, shortZ);
    std::vector<double> unit(n, 0.0);
    unit[0] = 1.0;
    const std::vector<double> column0 = oracle::solveDense(oracle::dense(a), unit);
    ASSERT_EQ(shortZ.size(), 2);
    EXPECT_NEAR(shortZ[0], column0[0], 1e-12);
    EXPECT_NEAR(shortZ[1], column0[1], 1e-12);
}
