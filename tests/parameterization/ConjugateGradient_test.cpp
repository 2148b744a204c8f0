// ConjugateGradient: every step equals, bit for bit, the plain sequence of vector operations
// (with and without each preconditioner, across the periodic residual refresh); solutions
// match a dense direct solve; each status code on the case that produces it.

#include <oxGeom/ConjugateGradient.h>

#include <oxLinear/Tolerance.h>

#include "parameterization/sparseOracles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

using oxGeom::ConjugateGradient;
using oxGeom::NVector;
using oxGeom::SparseMatrix;

namespace
{
const double eps = oxLinear::epsilonTol;

// The solver's steps written as separate whole-vector operations.
struct ReferenceSolver
{
    ReferenceSolver(const SparseMatrix& a, const oxGeom::Preconditioner* m, const NVector& b0)
        : A(a), M(m), b(b0), x(a.size()), p(a.size()), r(a.size()), q(a.size()), z(a.size())
    {
        A.getVectorMinusMatrixTimesVector(b, x, r);
        if (M)
            M->applyInverse(r, p);
        else
            p = r;
        rz = r.dot(p);
        rr = r.dot(r);
        bb = b.dot(b);
        if (eps > bb)
            bb = 1.0;
    }

    int step(double tol, double breakdown)
    {
        if (++iteration > x.size())
            return 2;
        if (!(tol * tol * bb < rr))
            return 1;
        A.getMatrixTimesVector(p, q);
        const double pq = p.dot(q);
        if (pq < 0 && iteration > 1)
            return -1;
        if (std::fabs(pq) < breakdown)
            return 3;
        const double alpha = rz / pq;
        x.setToVectorPlusScalarTimesVector(x, alpha, p);
        if (pq < 0)
            return -1;
        if (iteration % 50 == 0)
            A.getVectorMinusMatrixTimesVector(b, x, r);
        else
            r.setToVectorPlusScalarTimesVector(r, -alpha, q);
        rr = r.dot(r);
        if (std::fabs(rz) < breakdown)
            return 4;
        const NVector& next = M ? z : r;
        if (M)
            M->applyInverse(r, z);
        const double rzNew = next.dot(r);
        const double beta = rzNew / rz;
        rz = rzNew;
        p.setToVectorPlusScalarTimesVector(next, beta, p);
        return 0;
    }

    const SparseMatrix& A;
    const oxGeom::Preconditioner* M;
    NVector b, x, p, r, q, z;
    double rz = 0, rr = 0, bb = 0;
    int iteration = 0;
};

enum Kind
{
    None,
    Diagonal,
    Cholesky
};

// Entries stored as exactly 0.0, as assembly leaves where opposite contributions cancel (a
// flattening system has about half of its entries so); the solver must give them no weight.
void addCancellingEntries(SparseMatrix& a)
{
    for (int i = 0; i + 7 < a.size(); i += 3)
    {
        a.addToElement(i, i + 7, 1.0);
        a.addToElement(i, i + 7, -1.0);
        a.addToElement(i + 7, i, -1.0);
        a.addToElement(i + 7, i, 1.0);
    }
}

NVector rightHandSide(int n)
{
    NVector b(n);
    for (int i = 0; i < n; ++i)
        b[i] = std::sin(1.3 * i) + 0.5;
    return b;
}
}  // namespace

TEST(ConjugateGradient, stepsEqualPlainVectorOperationsAndSolveTheSystem)
{
    const int n = 90;
    for (Kind kind : {None, Diagonal, Cholesky})
    {
        ConjugateGradient cg(n);
        oracle::randomLaplacian(n, 1e-3, 77, cg.A());
        addCancellingEntries(cg.A());
        std::unique_ptr<oxGeom::Preconditioner> m;
        if (kind == Diagonal)
        {
            cg.initDiagonalPreconditioner();
            m = std::make_unique<oxGeom::DiagonalPreconditioner>(cg.A());
        }
        if (kind == Cholesky)
        {
            cg.initIncompleteCholeskyPreconditioner();
            m = std::make_unique<oxGeom::IncompleteCholeskyPreconditioner>(cg.A());
        }
        const NVector b = rightHandSide(n);
        cg.initialize(b, NVector(n));
        ReferenceSolver reference(cg.A(), m.get(), b);
        int status = 0, mismatches = 0;
        while (status == 0)
        {
            status = cg.iterate(1e-12, 1e-30).code();
            EXPECT_EQ(status, reference.step(1e-12, 1e-30));
            mismatches += !oracle::sameValue(cg.getResidualNormSquared(), reference.rr);
            for (int i = 0; i < n; ++i)
                mismatches += !oracle::sameValue(cg.x()[i], reference.x[i]);
        }
        EXPECT_EQ(mismatches, 0) << "preconditioner " << kind;
        EXPECT_EQ(status, ConjugateGradient::Converged);
        if (kind == None)
        {
            EXPECT_GT(cg.getIteration(), 50);  // the residual refresh was exercised
        }

        std::vector<double> bd(n);
        for (int i = 0; i < n; ++i)
            bd[i] = b[i];
        const std::vector<double> expected = oracle::solveDense(oracle::dense(cg.A()), bd);
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(cg.x()[i], expected[i], 1e-8 * std::fabs(expected[i]) + 1e-9);
        EXPECT_LT(cg.getResidualInfinityNorm(), 1e-10);
        EXPECT_LE(cg.getConvergenceValue(), 1.01e-12);
    }
}

// An infinite start element reaches rows only through stored zeros here: 0 * inf is NaN, and
// the steps must report the same NaN state as the plain operations, not skip over it.
TEST(ConjugateGradient, nonFiniteStartMatchesPlainOperations)
{
    const int n = 30;
    for (double bad : {HUGE_VAL, std::nan("")})
    {
        ConjugateGradient cg(n);
        oracle::randomLaplacian(n, 1e-2, 5, cg.A());
        addCancellingEntries(cg.A());
        cg.initDiagonalPreconditioner();
        const oxGeom::DiagonalPreconditioner m(cg.A());
        const NVector b = rightHandSide(n);
        NVector x0(n);
        x0[7] = bad;
        cg.initialize(b, x0);
        ReferenceSolver reference(cg.A(), &m, b);
        reference.x = x0;
        cg.A().getVectorMinusMatrixTimesVector(b, x0, reference.r);
        m.applyInverse(reference.r, reference.p);
        reference.rz = reference.r.dot(reference.p);
        reference.rr = reference.r.dot(reference.r);
        EXPECT_TRUE(oracle::sameValue(cg.getResidualNormSquared(), reference.rr));
        EXPECT_FALSE(std::isfinite(cg.getResidualNormSquared()));
        for (int step = 0; step < 3; ++step)
        {
            EXPECT_EQ(cg.iterate(1e-12, 1e-30).code(), reference.step(1e-12, 1e-30));
            for (int i = 0; i < n; ++i)
                EXPECT_TRUE(oracle::sameValue(cg.x()[i], reference.x[i])) << i;
        }
    }
}

TEST(ConjugateGradient, restartsOnChangedMatrix)
{
    const int n = 20;
    ConjugateGradient cg(n);
    oracle::randomLaplacian(n, 0.2, 3, cg.A());
    cg.initIncompleteCholeskyPreconditioner();
    const NVector b = rightHandSide(n);
    cg.initialize(b, NVector(n));
    while (!cg.iterate(1e-12, 1e-30).isDone())
    {
    }
    // The solver must notice the new entries (its packed copy of A is stale).
    cg.A().addToElement(4, 4, 3.0);
    cg.initialize(b, cg.x());
    while (!cg.iterate(1e-12, 1e-30).isDone())
    {
    }
    EXPECT_LT(cg.getResidualInfinityNorm(), 1e-9);
}

TEST(ConjugateGradient, statusCodes)
{
    // 0 x 0: bb becomes 1.0 and the first step exceeds n = 0.
    ConjugateGradient empty(0);
    empty.initialize(NVector(0), NVector(0));
    EXPECT_EQ(empty.iterate(eps, eps).code(), ConjugateGradient::IterationLimit);

    // b = 0, x0 = 0: rr = 0 <= tol^2 * 1.0.
    ConjugateGradient zero(3);
    oracle::randomLaplacian(3, 1.0, 1, zero.A());
    zero.initialize(NVector(3), NVector(3));
    EXPECT_EQ(zero.iterate(eps, eps).code(), ConjugateGradient::Converged);
    EXPECT_FALSE(ConjugateGradient::Status(ConjugateGradient::Continue).isDone());

    // tol = 0 and eps = 0 never converge: the (n+1)-th call hits the cap.
    ConjugateGradient capped(6);
    oracle::randomLaplacian(6, 0.5, 8, capped.A());
    capped.initialize(rightHandSide(6), NVector(6));
    for (int k = 0; k < 6; ++k)
        EXPECT_EQ(capped.iterate(0.0, 0.0).code(), ConjugateGradient::Continue);
    EXPECT_EQ(capped.iterate(0.0, 0.0).code(), ConjugateGradient::IterationLimit);

    auto diagonalSystem = [](double d0, double d1, double b0, double b1, ConjugateGradient& cg)
    {
        cg.A().addToElement(0, 0, d0);
        cg.A().addToElement(1, 1, d1);
        NVector b(2);
        b[0] = b0;
        b[1] = b1;
        cg.initialize(b, NVector(2));
    };
    // First step with p.Ap = -2: x still moves by alpha = -1, then -1 is returned.
    ConjugateGradient firstNegative(2);
    diagonalSystem(-1.0, -1.0, 1.0, 1.0, firstNegative);
    EXPECT_EQ(firstNegative.iterate(eps, eps).code(), ConjugateGradient::NegativeCurvature);
    EXPECT_EQ(firstNegative.x()[0], -1.0);
    // diag(2, -1): step 1 moves x to (2, 2); step 2 has p.Ap = -72 and leaves x alone.
    ConjugateGradient laterNegative(2);
    diagonalSystem(2.0, -1.0, 1.0, 1.0, laterNegative);
    EXPECT_EQ(laterNegative.iterate(eps, eps).code(), ConjugateGradient::Continue);
    EXPECT_EQ(laterNegative.iterate(eps, eps).code(), ConjugateGradient::NegativeCurvature);
    EXPECT_EQ(laterNegative.x()[0], 2.0);
    EXPECT_EQ(laterNegative.x()[1], 2.0);
    // diag(1, -1), b = (1, 1): p.Ap = 0.
    ConjugateGradient flat(2);
    diagonalSystem(1.0, -1.0, 1.0, 1.0, flat);
    EXPECT_EQ(flat.iterate(eps, eps).code(), ConjugateGradient::DirectionCurvatureZero);
    // A = 1e6, b = 1e-6: not converged against bb = 1.0, one exact step, then r.z = 1e-12.
    ConjugateGradient tiny(2);
    diagonalSystem(1e6, 1.0, 1e-6, 0.0, tiny);
    EXPECT_EQ(tiny.iterate(1e-9, eps).code(), ConjugateGradient::ResidualProductZero);
    EXPECT_DOUBLE_EQ(tiny.x()[0], 1e-12);
    EXPECT_EQ(tiny.getIteration(), 1);
}
