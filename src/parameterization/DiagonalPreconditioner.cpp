// The Jacobi preconditioner: M is the diagonal of the system matrix, kept as
// reciprocals so that applying M^-1 is one multiplication per unknown. A zero
// or missing diagonal is left as an infinite reciprocal: the matrix was not SPD.

#include <oxGeom/ConjugateGradient.h>

namespace oxGeom
{
DiagonalPreconditioner::DiagonalPreconditioner(const SparseMatrix& a) : m_inverse(a.size())
{
    for (int i = 0; i < a.size(); ++i)
        m_inverse[i] = 1.0 / a.getElement(i, i);
}

DiagonalPreconditioner::~DiagonalPreconditioner() = default;

DiagonalPreconditioner& DiagonalPreconditioner::operator=(const DiagonalPreconditioner& other)
{
    Preconditioner::operator=(other);
    m_inverse = other.m_inverse;
    return *this;
}

void DiagonalPreconditioner::applyInverse(const NVector& r, NVector& z) const
{
    const int n = r.size();
    if (z.size() != n)
        z = NVector(n);
    const int covered = std::min(n, m_inverse.size());
    const double* in = r.data();
    const double* inverse = m_inverse.data();
    double* out = z.data();
    for (int i = 0; i < covered; ++i)
        out[i] = in[i] * inverse[i];
    for (int i = covered; i < n; ++i)
        out[i] = 0.0;
}

double DiagonalPreconditioner::applyInverseAndDot(const NVector& r, NVector& z) const
{
    const double* in = r.data();
    const double* inverse = m_inverse.data();
    double* out = z.data();
    double dot = 0.0;
    for (int i = m_inverse.size() - 1; i >= 0; --i)
    {
        out[i] = in[i] * inverse[i];
        dot += in[i] * out[i];
    }
    return dot;
}
}  // namespace oxGeom
