// Preconditioned conjugate gradients, one step per call, so that the caller can
// report progress, cancel or inspect the state between steps. Based on: Hestenes and
// Stiefel 1952; the preconditioned form as in Golub and Van Loan, Matrix Computations 11.5.
//
// The steps work on a packed copy of A (flat column and value arrays, rows in stored order),
// made at initialize and again whenever A has changed, because the row lists live in separate
// allocations. Loops that end in a dot product run from the last index down, fusing the
// product into the update that produces its operand: the sums come out in exactly the order
// of NVector::dot, so every result equals that of the plain sequence of vector operations.
//
// The packed copy leaves out entries stored as exactly 0.0 (assembly that adds opposite
// contributions leaves many: about half of the entries of a flattening system). A row sum
// starts at +0.0 and adding a zero product to it changes nothing, so for a finite operand the
// products are bit for bit those over every stored entry. Only an infinite or NaN operand
// element would differ (0 * inf is NaN); such an operand is detected after the product (its
// fused dot product is not finite) or before it (the residual scans x), and then the product
// is taken over the row lists with every stored entry.

#include <oxGeom/ConjugateGradient.h>

#include <oxLinear/Tolerance.h>

#include <cmath>

namespace oxGeom
{
namespace
{
// `target` becomes `source` cut or padded with zeros to n elements.
void copyResized(const NVector& source, int n, NVector& target)
{
    if (source.size() == n)
    {
        target = source;
        return;
    }
    NVector resized(n);
    for (int i = 0; i < n && i < source.size(); ++i)
        resized[i] = source[i];
    target = resized;
}

bool allFinite(const NVector& v)
{
    for (int i = 0; i < v.size(); ++i)
        if (!std::isfinite(v[i]))
            return false;
    return true;
}

void resize(NVector& v, int n)
{
    if (v.size() != n)
        v = NVector(n);
}
}  // namespace

Preconditioner::~Preconditioner() = default;

ConjugateGradient::ConjugateGradient(int n)
    : m_A(n), m_b(n), m_x(n), m_p(n), m_r(n), m_q(n), m_z(n), m_bb(1.0)
{
}

ConjugateGradient::~ConjugateGradient() = default;

void ConjugateGradient::initDiagonalPreconditioner()
{
    m_preconditioner.reset();
    m_preconditioner = std::make_unique<DiagonalPreconditioner>(m_A);
    m_kind = PreconditionerKind::Diagonal;
}

void ConjugateGradient::initIncompleteCholeskyPreconditioner()
{
    m_preconditioner.reset();
    m_preconditioner = std::make_unique<IncompleteCholeskyPreconditioner>(m_A);
    m_kind = PreconditionerKind::IncompleteCholesky;
}

// z = M^-1 r and returns r . z: the preconditioner's fused pass when the sizes agree, else
// its general application and a separate dot product (the same values either way).
double ConjugateGradient::preconditionAndDot(NVector& z) const
{
    const Preconditioner& m = *m_preconditioner;
    if (z.size() == m_r.size() && &z != &m_r)
    {
        if (m_kind == PreconditionerKind::Diagonal)
        {
            const auto& diagonal = static_cast<const DiagonalPreconditioner&>(m);
            if (diagonal.m_inverse.size() == m_r.size())
                return diagonal.applyInverseAndDot(m_r, z);
        }
        if (m_kind == PreconditionerKind::IncompleteCholesky)
        {
            const auto& cholesky = static_cast<const IncompleteCholeskyPreconditioner&>(m);
            if (cholesky.m_lower.size() == m_r.size())
                return cholesky.applyInverseAndDot(m_r, z);
        }
    }
    m.applyInverse(m_r, z);
    return m_r.dot(z);
}

void ConjugateGradient::packMatrix()
{
    if (m_packedVersion == m_A.m_version)
        return;
    const int n = m_A.size();
    m_starts.assign(1, 0);
    m_starts.reserve(static_cast<size_t>(n) + 1);
    m_columns.clear();
    m_values.clear();
    m_columns.reserve(static_cast<size_t>(m_A.nnz()));
    m_values.reserve(m_columns.capacity());
    for (int i = 0; i < n; ++i)
    {
        for (const SparseElement& e : m_A.row(i))
            if (e.value != 0.0)
            {
                m_columns.push_back(e.column);
                m_values.push_back(e.value);
            }
        m_starts.push_back(static_cast<int>(m_columns.size()));
    }
    m_packedVersion = m_A.m_version;
}

// out = A v over every stored entry of the row lists, checking every size; returns v . out.
double ConjugateGradient::multiplyStored(const NVector& v, NVector& out) const
{
    const int n = v.size();
    NVector product(n);
    for (int i = 0; i < n && i < m_A.size(); ++i)
        for (const SparseElement& e : m_A.row(i))
            product[i] += e.value * v[e.column];
    copyResized(product, out.size(), out);
    return v.dot(out);
}

// out = A v, and returns v . out summed from the last index down.
double ConjugateGradient::multiplyA(const NVector& v, NVector& out)
{
    const int n = v.size();
    // A resized after initialize takes the general product too.
    if (m_A.size() != n || out.size() != n)
        return multiplyStored(v, out);
    packMatrix();
    const int* starts = m_starts.data();
    const int* columns = m_columns.data();
    const double* values = m_values.data();
    const double* x = v.data();
    double* y = out.data();
    double dot = 0.0;
    for (int i = n - 1; i >= 0; --i)
    {
        double sum = 0.0;
        for (int p = starts[i]; p < starts[i + 1]; ++p)
            sum += values[p] * x[columns[p]];
        y[i] = sum;
        dot += x[i] * sum;
    }
    // Every term x[i] * sum is finite exactly when x[i] is (sum is finite then, too).
    return std::isfinite(dot) ? dot : multiplyStored(v, out);
}

// r = b - A x, and returns r . r summed from the last index down.
double ConjugateGradient::residual()
{
    const int n = m_x.size();
    if (m_A.size() != n || m_b.size() != n || m_r.size() != n || !allFinite(m_x))
    {
        NVector product(n);
        multiplyStored(m_x, product);
        for (int i = 0; i < m_r.size(); ++i)
            m_r[i] = m_b[i] - product[i];
        return m_r.dot(m_r);
    }
    packMatrix();
    const int* starts = m_starts.data();
    const int* columns = m_columns.data();
    const double* values = m_values.data();
    const double* x = m_x.data();
    const double* b = m_b.data();
    double* r = m_r.data();
    double dot = 0.0;
    for (int i = n - 1; i >= 0; --i)
    {
        double sum = 0.0;
        for (int p = starts[i]; p < starts[i + 1]; ++p)
            sum += values[p] * x[columns[p]];
        r[i] = b[i] - sum;
        dot += r[i] * r[i];
    }
    return dot;
}

void ConjugateGradient::initialize(const NVector& b, const NVector& x0)
{
    const int n = m_A.size();
    copyResized(b, n, m_b);
    copyResized(x0, n, m_x);
    resize(m_p, n);
    resize(m_r, n);
    resize(m_q, n);
    resize(m_z, n);

    m_rr = residual();
    if (m_preconditioner)
        m_rz = preconditionAndDot(m_p);
    else
    {
        m_p = m_r;
        m_rz = m_rr;  // r . r, summed in the same order
    }
    m_bb = m_b.dot(m_b);
    m_iteration = 0;
    if (oxLinear::epsilonTol > m_bb)
        m_bb = 1.0;
}

ConjugateGradient::Status ConjugateGradient::iterate(double tol, double eps)
{
    ++m_iteration;
    const int n = m_x.size();
    if (m_iteration > n)
        return IterationLimit;
    if (!(tol * tol * m_bb < m_rr))
        return Converged;

    const double pq = multiplyA(m_p, m_q);
    if (pq < 0.0 && m_iteration > 1)
        return NegativeCurvature;
    if (std::fabs(pq) < eps)
        return DirectionCurvatureZero;
    const double alpha = m_rz / pq;
    if (pq < 0.0)
    {
        // Only on the first step: x keeps this step's move.
        m_x.setToVectorPlusScalarTimesVector(m_x, alpha, m_p);
        return NegativeCurvature;
    }

    if (m_iteration % 50 == 0)
    {
        m_x.setToVectorPlusScalarTimesVector(m_x, alpha, m_p);
        m_rr = residual();
    }
    else
        m_rr = stepAndResidualNorm(alpha);

    if (std::fabs(m_rz) < eps)
        return ResidualProductZero;

    if (m_preconditioner)
    {
        const double rzNew = preconditionAndDot(m_z);
        const double beta = rzNew / m_rz;
        m_rz = rzNew;
        m_p.setToVectorPlusScalarTimesVector(m_z, beta, m_p);
    }
    else
    {
        const double beta = m_rr / m_rz;
        m_rz = m_rr;
        m_p.setToVectorPlusScalarTimesVector(m_r, beta, m_p);
    }
    return Continue;
}

// x += alpha p and r -= alpha q in one pass; returns r . r summed from the last index down.
double ConjugateGradient::stepAndResidualNorm(double alpha)
{
    const int n = m_x.size();
    if (m_p.size() != n || m_r.size() != n || m_q.size() != n)
    {
        m_x.setToVectorPlusScalarTimesVector(m_x, alpha, m_p);
        m_r.setToVectorPlusScalarTimesVector(m_r, -alpha, m_q);
        return m_r.dot(m_r);
    }
    double* x = m_x.data();
    double* r = m_r.data();
    const double* p = m_p.data();
    const double* q = m_q.data();
    const double minusAlpha = -alpha;
    double dot = 0.0;
    for (int i = n - 1; i >= 0; --i)
    {
        x[i] = x[i] + alpha * p[i];
        r[i] = r[i] + minusAlpha * q[i];
        dot += r[i] * r[i];
    }
    return dot;
}

double ConjugateGradient::getConvergenceValue() const
{
    return std::sqrt(m_rr) / std::sqrt(m_bb);
}

double ConjugateGradient::getResidualInfinityNorm() const
{
    NVector r(m_A.size());
    m_A.getVectorMinusMatrixTimesVector(m_b, m_x, r);
    return r.infinityNorm();
}
}  // namespace oxGeom
