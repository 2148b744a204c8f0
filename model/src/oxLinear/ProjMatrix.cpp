// 4x4 projective transforms in the row-vector convention: products, the
// homogeneous point transform with a defined w == 0 case, and the inverse by
// the adjugate expanded over 2x2 minors (exact structure, no pivoting needed
// for the well-scaled view matrices this serves). The float matrix widens to
// double for the inverse.
// Based on: Eberly, "The Laplace expansion theorem: computing the determinants
// and inverses of matrices" (2x2-minor form of the 4x4 inverse).

#include "oxLinear/ProjMatrix.h"

#include "elementwise.h"

#include <cmath>

namespace oxLinear
{
namespace
{
/// The 2x2 minors of rows 0-1 (s) and rows 2-3 (c) from which both the
/// determinant and the adjugate are assembled.
struct Minors
{
    double s[6];
    double c[6];
};

Minors minorsOf(const ProjMatrix& m)
{
    Minors k;
    k.s[0] = m[0][0] * m[1][1] - m[1][0] * m[0][1];
    k.s[1] = m[0][0] * m[1][2] - m[1][0] * m[0][2];
    k.s[2] = m[0][0] * m[1][3] - m[1][0] * m[0][3];
    k.s[3] = m[0][1] * m[1][2] - m[1][1] * m[0][2];
    k.s[4] = m[0][1] * m[1][3] - m[1][1] * m[0][3];
    k.s[5] = m[0][2] * m[1][3] - m[1][2] * m[0][3];
    k.c[5] = m[2][2] * m[3][3] - m[3][2] * m[2][3];
    k.c[4] = m[2][1] * m[3][3] - m[3][1] * m[2][3];
    k.c[3] = m[2][1] * m[3][2] - m[3][1] * m[2][2];
    k.c[2] = m[2][0] * m[3][3] - m[3][0] * m[2][3];
    k.c[1] = m[2][0] * m[3][2] - m[3][0] * m[2][2];
    k.c[0] = m[2][0] * m[3][1] - m[3][0] * m[2][1];
    return k;
}

double determinant(const Minors& k)
{
    return k.s[0] * k.c[5] - k.s[1] * k.c[4] + k.s[2] * k.c[3] + k.s[3] * k.c[2] - k.s[4] * k.c[1] +
           k.s[5] * k.c[0];
}

/// out = a * b for row-major 4x4 arrays (out may not alias a or b).
template <class T>
void multiply4x4(const T* a, const T* b, T* out)
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
        {
            T sum = 0;
            for (int k = 0; k < 4; ++k)
                sum += a[4 * r + k] * b[4 * k + c];
            out[4 * r + c] = sum;
        }
    }
}

/// (p, 1) * M for a row-major 4x4 array.
template <class T, class P>
void homogeneous(const P& p, const T* m, T out[4])
{
    for (int c = 0; c < 4; ++c)
        out[c] = p[0] * m[c] + p[1] * m[4 + c] + p[2] * m[8 + c] + m[12 + c];
}
}  // namespace

// ---- ProjMatrix ---------------------------------------------------------------------------

ProjMatrix::ProjMatrix(double diagonal)
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
            m_m[r][c] = (r == c) ? diagonal : 0.0;
    }
}

ProjMatrix::ProjMatrix(const double* values16)
{
    for (int i = 0; i < 16; ++i)
        data()[i] = values16[i];
}

ProjMatrix::ProjMatrix(const AffineMatrix& m) : ProjMatrix(1.0)
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 3; ++c)
            m_m[r][c] = m[r][c];
    }
}

ProjMatrix::ProjMatrix(const ProjMatrixFlt& m)
{
    for (int i = 0; i < 16; ++i)
        data()[i] = m.data()[i];
}

void ProjMatrix::transformHomogeneous(const Point& p, double out[4]) const
{
    homogeneous(p, data(), out);
}

bool ProjMatrix::transform(const Point& p, Point& out) const
{
    double h[4];
    transformHomogeneous(p, h);
    if (h[3] == 0.0)
    {
        out = Point(h[0], h[1], h[2]);
        return false;
    }
    out = Point(h[0] / h[3], h[1] / h[3], h[2] / h[3]);
    return true;
}

double ProjMatrix::det() const
{
    return determinant(minorsOf(*this));
}

bool ProjMatrix::inverse(ProjMatrix& result) const
{
    const Minors k = minorsOf(*this);
    const double det = determinant(k);
    const double r = 1.0 / det;
    if (det == 0.0 || !std::isfinite(r))
    {
        result = ProjMatrix();
        return false;
    }
    const auto& a = m_m;
    const double* s = k.s;
    const double* c = k.c;
    const double inv[16] = {
        (a[1][1] * c[5] - a[1][2] * c[4] + a[1][3] * c[3]) * r,
        (-a[0][1] * c[5] + a[0][2] * c[4] - a[0][3] * c[3]) * r,
        (a[3][1] * s[5] - a[3][2] * s[4] + a[3][3] * s[3]) * r,
        (-a[2][1] * s[5] + a[2][2] * s[4] - a[2][3] * s[3]) * r,

        (-a[1][0] * c[5] + a[1][2] * c[2] - a[1][3] * c[1]) * r,
        (a[0][0] * c[5] - a[0][2] * c[2] + a[0][3] * c[1]) * r,
        (-a[3][0] * s[5] + a[3][2] * s[2] - a[3][3] * s[1]) * r,
        (a[2][0] * s[5] - a[2][2] * s[2] + a[2][3] * s[1]) * r,

        (a[1][0] * c[4] - a[1][1] * c[2] + a[1][3] * c[0]) * r,
        (-a[0][0] * c[4] + a[0][1] * c[2] - a[0][3] * c[0]) * r,
        (a[3][0] * s[4] - a[3][1] * s[2] + a[3][3] * s[0]) * r,
        (-a[2][0] * s[4] + a[2][1] * s[2] - a[2][3] * s[0]) * r,

        (-a[1][0] * c[3] + a[1][1] * c[1] - a[1][2] * c[0]) * r,
        (a[0][0] * c[3] - a[0][1] * c[1] + a[0][2] * c[0]) * r,
        (-a[3][0] * s[3] + a[3][1] * s[1] - a[3][2] * s[0]) * r,
        (a[2][0] * s[3] - a[2][1] * s[1] + a[2][2] * s[0]) * r,
    };
    result = ProjMatrix(inv);
    return true;
}

bool ProjMatrix::invert()
{
    ProjMatrix inv;
    if (!inverse(inv))
        return false;
    *this = inv;
    return true;
}

ProjMatrix ProjMatrix::transposed() const
{
    ProjMatrix t;
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
            t.m_m[r][c] = m_m[c][r];
    }
    return t;
}

ProjMatrix& ProjMatrix::operator*=(const ProjMatrix& b)
{
    return *this = *this * b;
}

Point operator*(const Point& p, const ProjMatrix& m)
{
    Point out;
    m.transform(p, out);
    return out;
}

ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b)
{
    ProjMatrix out;
    multiply4x4(a.data(), b.data(), out.data());
    return out;
}

bool operator==(const ProjMatrix& a, const ProjMatrix& b)
{
    return detail::elementsEqual(a.data(), b.data(), 16);
}

bool equivalent(const ProjMatrix& a, const ProjMatrix& b, double tol)
{
    return detail::elementsWithin(a.data(), b.data(), 16, tol);
}

// ---- ProjMatrixFlt ------------------------------------------------------------------------

ProjMatrixFlt::ProjMatrixFlt(float diagonal)
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 4; ++c)
            m_m[r][c] = (r == c) ? diagonal : 0.0f;
    }
}

ProjMatrixFlt::ProjMatrixFlt(const ProjMatrix& m)
{
    for (int i = 0; i < 16; ++i)
        data()[i] = static_cast<float>(m.data()[i]);
}

void ProjMatrixFlt::transformHomogeneous(const PointFlt& p, float out[4]) const
{
    homogeneous(p, data(), out);
}

bool ProjMatrixFlt::transform(const PointFlt& p, PointFlt& out) const
{
    float h[4];
    transformHomogeneous(p, h);
    if (h[3] == 0.0f)
    {
        out = PointFlt(h[0], h[1], h[2]);
        return false;
    }
    out = PointFlt(h[0] / h[3], h[1] / h[3], h[2] / h[3]);
    return true;
}

bool ProjMatrixFlt::inverse(ProjMatrixFlt& result) const
{
    ProjMatrix inv;
    const bool ok = ProjMatrix(*this).inverse(inv);
    result = ProjMatrixFlt(inv);
    return ok;
}

ProjMatrixFlt& ProjMatrixFlt::operator*=(const ProjMatrixFlt& b)
{
    return *this = *this * b;
}

PointFlt operator*(const PointFlt& p, const ProjMatrixFlt& m)
{
    PointFlt out;
    m.transform(p, out);
    return out;
}

ProjMatrixFlt operator*(const ProjMatrixFlt& a, const ProjMatrixFlt& b)
{
    ProjMatrixFlt out;
    multiply4x4(a.data(), b.data(), out.data());
    return out;
}

bool operator==(const ProjMatrixFlt& a, const ProjMatrixFlt& b)
{
    return detail::elementsEqual(a.data(), b.data(), 16);
}

bool equivalent(const ProjMatrixFlt& a, const ProjMatrixFlt& b, double tol)
{
    return detail::elementsWithin(a.data(), b.data(), 16, tol);
}
}  // namespace oxLinear
