#pragma once
// Preconditioned conjugate gradients for sparse symmetric positive definite
// systems, driven one step per call, with a Jacobi (diagonal) and a zero
// fill-in incomplete Cholesky preconditioner.

#include <oxGeom/SparseMatrix.h>

#include <cstdint>
#include <memory>

namespace oxGeom
{
/// An approximation M of a system matrix whose inverse is cheap to apply.
/// Thread safety: applyInverse is const and may run on several threads at once.
class Preconditioner
{
public:
    Preconditioner() = default;
    Preconditioner(const Preconditioner&) = default;
    Preconditioner& operator=(const Preconditioner&) = default;
    virtual ~Preconditioner();

    /// Inputs: `r` (size n). Output: z = M^-1 r; `z` is resized to r.size() when its size
    /// differs and may be `r` itself.
    virtual void applyInverse(const NVector& r, NVector& z) const = 0;
};

/// Jacobi preconditioner: M is the diagonal of the matrix.
///
/// Inputs: `a` (n x n). Holds the n reciprocals 1 / a(i, i); a missing or zero diagonal entry
/// gives an infinite reciprocal (no guard: such a matrix is not positive definite).
/// Cost: construction O(nnz); applyInverse O(n).
class DiagonalPreconditioner : public Preconditioner
{
public:
    explicit DiagonalPreconditioner(const SparseMatrix& a);
    DiagonalPreconditioner(const DiagonalPreconditioner&) = default;
    ~DiagonalPreconditioner() override;
    DiagonalPreconditioner& operator=(const DiagonalPreconditioner& other);

    /// z[i] = r[i] * (1 / a(i, i)) for i in [0, r.size()); an index past the matrix's size
    /// gives 0.0.
    void applyInverse(const NVector& r, NVector& z) const override;

    /// The reciprocals of the diagonal, one per row.
    const NVector& getInverseDiagonal() const { return m_inverse; }

private:
    friend class ConjugateGradient;
    // z = M^-1 r and returns r . z, in one pass from the last index down.
    // Precondition: r and z are distinct and have the matrix's size.
    double applyInverseAndDot(const NVector& r, NVector& z) const;

    NVector m_inverse;
};

/// Incomplete Cholesky preconditioner with zero fill-in: M = U^T U, where U keeps exactly the
/// entries of the upper triangle of the matrix (no entry is created) and L = U^T.
///
/// Inputs: `a` (n x n, symmetric; only its upper triangle, columns >= row, is read).
/// The factor is the classic row-by-row incomplete factorization: for each row i, every
/// earlier row k updates the stored entries (j, u) of row i that are not exactly 0.0 by
/// u -= U(k, j) * U(k, i); then the diagonal entry becomes its square root d and the other
/// entries are divided by d. Rows are visited only where U(k, i) is stored (or where a
/// non-finite value of row k could reach row i), which gives the same values as visiting
/// every k < i at a cost that grows with the entries, not with n^2.
/// Degenerate input: a row without a stored diagonal entry gets d = 0.0 and a negative pivot
/// gives d = NaN; both propagate into infinities or NaN, unguarded (the matrix was not
/// positive definite).
/// Thread safety: construction is independent per object; applyInverse is const.
/// Cost: construction O(n + sum over rows k of (row length of k)^2) time, O(nnz) memory;
/// applyInverse O(n + nnz).
class IncompleteCholeskyPreconditioner : public Preconditioner
{
public:
    explicit IncompleteCholeskyPreconditioner(const SparseMatrix& a);
    ~IncompleteCholeskyPreconditioner() override;
    IncompleteCholeskyPreconditioner& operator=(const IncompleteCholeskyPreconditioner& other);

    /// Forward substitution with L, then backward substitution with U, in place in z:
    /// z[i] = (r[i] - sum of z[j] * l over row i of L, off-diagonal) / diagonal, for ascending
    /// i, then z[i] = (z[i] - sum of z[j] * u over row i of U, off-diagonal) / diagonal, for
    /// descending i. A row without a diagonal entry divides by 0.0. Indices past the factor's
    /// size give 0.0.
    void applyInverse(const NVector& r, NVector& z) const override;

    /// The lower factor: row j lists column j of U, (i, U(j..)) in order of increasing i.
    const SparseMatrix& getLower() const { return m_lower; }
    /// The upper factor U (rows in the order of the matrix's upper-triangle entries).
    const SparseMatrix& getUpper() const { return m_upper; }

private:
    friend class ConjugateGradient;
    void packFactors();
    // Forward then backward substitution from r into z; returns r . z summed from the last
    // index down, taken during the backward pass (meaningful only when z is not r; z may be r
    // for the substitution alone). Both have the factor's size.
    double substitute(const double* r, double* z) const;
    double applyInverseAndDot(const NVector& r, NVector& z) const;

    SparseMatrix m_lower;
    SparseMatrix m_upper;
    // The two factors packed into flat arrays for the substitutions (off-diagonal entries in
    // stored order, diagonals apart); rebuilt whenever the factors are assigned.
    ox::vector<int> m_lowerStarts, m_upperStarts;
    ox::vector<int> m_lowerColumns, m_upperColumns;
    ox::vector<double> m_lowerValues, m_upperValues;
    ox::vector<double> m_lowerDiagonal, m_upperDiagonal;
};

/// The state of a preconditioned conjugate-gradient solve of A x = b, one step per call.
///
/// Calling order: construct for n unknowns; fill A() with addToElement (A symmetric positive
/// definite); optionally initDiagonalPreconditioner() or initIncompleteCholeskyPreconditioner()
/// (after A is filled: they read it); initialize(b, x0); then call iterate(tol, eps) while the
/// returned status is not done; read x().
/// initialize may be called again to restart with another b and x0 and the same A and
/// preconditioner. Replacing the preconditioner after initialize keeps the old r.z product.
/// Results are reproducible bit for bit: every sum runs in a fixed order.
/// Thread safety: one thread at a time per object; distinct objects are independent.
/// Cost per iterate: one product with A, one preconditioner application and O(n) vector work;
/// every 50th step one extra product recomputes the residual from scratch against drift.
class ConjugateGradient
{
public:
    /// Why iterate stopped, or Continue.
    enum StatusCode : int
    {
        /// A full step was taken; call iterate again.
        Continue = 0,
        /// tol^2 * b.b >= r.r: the relative residual is at most tol.
        Converged = 1,
        /// The step count, once incremented, exceeds n.
        IterationLimit = 2,
        /// |p.Ap| < eps: the search direction has no curvature left.
        DirectionCurvatureZero = 3,
        /// |r.z| < eps (the value from before this step's update).
        ResidualProductZero = 4,
        /// p.Ap < 0: the matrix is not positive definite.
        NegativeCurvature = -1
    };

    /// A StatusCode with the question callers ask of it.
    class Status
    {
    public:
        Status(StatusCode code) : m_code(code) {}
        StatusCode code() const { return m_code; }
        /// True for every code except Continue.
        bool isDone() const { return m_code != Continue; }

    private:
        StatusCode m_code;
    };

    /// n unknowns: step count 0, A an empty n x n matrix, the vectors b, x, p, r, q and z of
    /// size n filled with 0.0, no preconditioner. n < 1 gives the empty system.
    explicit ConjugateGradient(int n);
    ConjugateGradient(const ConjugateGradient&) = delete;
    ConjugateGradient& operator=(const ConjugateGradient&) = delete;
    /// Deletes the preconditioner, then the vectors and the matrix.
    ~ConjugateGradient();

    /// The system matrix, for the caller to fill (symmetric positive definite).
    SparseMatrix& A() { return m_A; }

    /// Replace any preconditioner by one built from the current A. Cost: O(nnz), and for the
    /// incomplete Cholesky factor O(sum of squared row lengths).
    void initDiagonalPreconditioner();
    void initIncompleteCholeskyPreconditioner();

    /// Inputs: right-hand side `b` and start `x0` (sizes n; elements past a shorter vector
    /// are 0.0, extra elements are ignored, n being A's size now).
    /// Sets x = x0, r = b - A x, p = M^-1 r (r without a preconditioner), rz = r.p, rr = r.r,
    /// bb = b.b (1.0 when below oxLinear::epsilonTol, so a zero right-hand side makes the test
    /// absolute), and the step count to 0. Cost: one product with A and one application of M.
    void initialize(const NVector& b, const NVector& x0);

    /// One step. Increments the step count and returns IterationLimit once it exceeds n,
    /// Converged once tol^2 * bb >= rr; otherwise forms q = A p and pq = p.q and returns
    /// NegativeCurvature if pq < 0 after the first step (x unchanged), DirectionCurvatureZero
    /// if |pq| < eps; else moves x by alpha = rz / pq along p; on the first step a negative pq
    /// returns NegativeCurvature here, after x moved. Then updates r (recomputed from scratch
    /// every 50th step), rr = r.r, returns ResidualProductZero if |rz| < eps (rz from before
    /// this step), and otherwise updates z, rz and p and returns Continue.
    /// Inputs: `tol`, the relative residual to reach; `eps`, the breakdown threshold (callers
    /// in this library pass oxLinear::epsilonTol for both).
    Status iterate(double tol, double eps);

    /// The current solution.
    const NVector& x() const { return m_x; }

    /// The number of iterate calls since initialize.
    int getIteration() const { return m_iteration; }
    /// r.r for the current residual r.
    double getResidualNormSquared() const { return m_rr; }
    /// sqrt(rr) / sqrt(bb).
    double getConvergenceValue() const;
    /// The infinity norm of b - A x, recomputed from A and x. Cost: one product with A.
    double getResidualInfinityNorm() const;

private:
    void packMatrix();
    double multiplyA(const NVector& v, NVector& out);
    double multiplyStored(const NVector& v, NVector& out) const;
    double residual();
    double stepAndResidualNorm(double alpha);
    double preconditionAndDot(NVector& z) const;

    int m_iteration = 0;
    SparseMatrix m_A;
    NVector m_b, m_x, m_p, m_r, m_q, m_z;
    double m_rz = 0.0;
    double m_bb = 0.0;
    double m_rr = 0.0;
    std::unique_ptr<Preconditioner> m_preconditioner;
    // Which of the two kinds m_preconditioner is, so that the steps can use its fused form.
    enum class PreconditionerKind
    {
        None,
        Diagonal,
        IncompleteCholesky
    } m_kind = PreconditionerKind::None;

    // A packed into flat arrays for the steps (entries stored as exactly 0.0 left out), and the
    // version of A it was packed from.
    ox::vector<int> m_starts;
    ox::vector<int> m_columns;
    ox::vector<double> m_values;
    std::uint64_t m_packedVersion = ~std::uint64_t(0);
};
}  // namespace oxGeom
