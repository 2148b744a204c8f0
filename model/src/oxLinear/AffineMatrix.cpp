// Affine transforms in the row-vector convention (p' = p * M, translation in
// the last row): products, inverses by the adjugate, normal matrices, frames
// and rotations. The single-precision matrix widens to double for anything
// beyond a product, so both precisions share one implementation.
// Based on: Moeller and Hughes 1999 (rotation taking one vector onto another).

#include "oxLinear/AffineMatrix.h"

#include "elementwise.h"

#include <cmath>

namespace oxLinear
{
namespace
{
/// The linear part of m as rows a, b, c, the inverse of which is written to
/// `inv` (row-major 3x3). False when singular.
bool invert3x3(const double a[3], const double b[3], const double c[3], double inv[3][3])
{
    // Columns of the inverse of the matrix with rows a, b, c are the cross
    // products b x c, c x a, a x b divided by the determinant.
    const Vector ra(a[0], a[1], a[2]), rb(b[0], b[1], b[2]), rc(c[0], c[1], c[2]);
    const double det = det3x3(ra, rb, rc);
    const double r = 1.0 / det;
    if (det == 0.0 || !std::isfinite(r))
        return false;
    const Vector cols[3] = {cross(rb, rc), cross(rc, ra), cross(ra, rb)};
    for (int i = 0; i < 3; ++i)
    {
        for (int j = 0; j < 3; ++j)
            inv[i][j] = cols[j][i] * r;
    }
    return true;
}

/// Rows of the rotation taking unit `from` onto unit `to` about from x to, for
/// directions at most 90 degrees apart (1 + from.to >= 1, so nothing is lost
/// in the division): M = e I - [v]x + v v^T / (1 + e), v = from x to,
/// e = from.to (the transpose of the column-vector form, as points are rows).
AffineMatrix minimalRotation(const Vector& from, const Vector& to)
{
    const Vector v = cross(from, to);
    const double e = dot(from, to);
    const double h = 1.0 / (1.0 + e);
    const Vector row0(e + h * v[0] * v[0], h * v[0] * v[1] + v[2], h * v[0] * v[2] - v[1]);
    const Vector row1(h * v[0] * v[1] - v[2], e + h * v[1] * v[1], h * v[1] * v[2] + v[0]);
    const Vector row2(h * v[0] * v[2] + v[1], h * v[1] * v[2] - v[0], e + h * v[2] * v[2]);
    return AffineMatrix(row0, row1, row2, Vector());
}

/// The half-turn about unit axis a: 2 a a^T - I (symmetric).
AffineMatrix halfTurn(const Vector& a)
{
    AffineMatrix m(-1.0);
    for (int i = 0; i < 3; ++i)
    {
        for (int j = 0; j < 3; ++j)
            m[i][j] += 2.0 * a[i] * a[j];
    }
    return m;
}

}  // namespace

// ---- AffineMatrix -------------------------------------------------------------------------

AffineMatrix::AffineMatrix(double diagonal)
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 3; ++c)
            m_m[r][c] = (r == c) ? diagonal : 0.0;
    }
}

AffineMatrix::AffineMatrix(const Vector& row0, const Vector& row1, const Vector& row2,
                           const Vector& translation)
{
    setRow(0, row0);
    setRow(1, row1);
    setRow(2, row2);
    setRow(3, translation);
}

AffineMatrix::AffineMatrix(const double* values12)
{
    for (int i = 0; i < 12; ++i)
        data()[i] = values12[i];
}

AffineMatrix::AffineMatrix(const AffineMatrixFlt& m)
{
    for (int i = 0; i < 12; ++i)
        data()[i] = m.data()[i];
}

Vector AffineMatrix::getRow(int row) const
{
    const double* r = m_m[detail::clampIndex(row, 4)];
    return Vector(r[0], r[1], r[2]);
}

void AffineMatrix::setRow(int row, const Vector& v)
{
    double* r = m_m[detail::clampIndex(row, 4)];
    r[0] = v[0];
    r[1] = v[1];
    r[2] = v[2];
}

double AffineMatrix::det3x3() const
{
    return oxLinear::det3x3(getRow(0), getRow(1), getRow(2));
}

bool AffineMatrix::inverse(AffineMatrix& result) const
{
    double inv[3][3];
    if (!invert3x3(m_m[0], m_m[1], m_m[2], inv))
    {
        result = AffineMatrix();
        return false;
    }
    const Vector t = getTranslation();
    AffineMatrix out;
    for (int i = 0; i < 3; ++i)
        out.setRow(i, Vector(inv[i][0], inv[i][1], inv[i][2]));
    // p = (p' - t) L^-1, so the new translation is -t L^-1.
    out.setTranslation(-(t * out));
    result = out;
    return true;
}

bool AffineMatrix::invert()
{
    AffineMatrix inv;
    if (!inverse(inv))
        return false;
    *this = inv;
    return true;
}

bool AffineMatrix::normalMatrix(AffineMatrix& result) const
{
    double inv[3][3];
    if (!invert3x3(m_m[0], m_m[1], m_m[2], inv))
    {
        result = AffineMatrix();
        return false;
    }
    AffineMatrix out;
    for (int i = 0; i < 3; ++i)
        out.setRow(i, Vector(inv[0][i], inv[1][i], inv[2][i]));
    result = out;
    return true;
}

bool AffineMatrix::setFrame(const Point& origin, const Vector& xAxis, const Vector& normal)
{
    bool exact = true;
    Vector z = normal.normalized();
    if (z.length2() == 0.0)
    {
        z = Vector(0.0, 0.0, 1.0);
        exact = false;
    }
    Vector x = project(xAxis, z);
    if (xAxis.length2() == 0.0 || isParallel(xAxis, z) || x.normalize() == 0.0)
    {
        x = z.orthogonalVector();
        exact = false;
    }
    *this = AffineMatrix(x, cross(z, x), z, Vector(origin));
    return exact;
}

AffineMatrix AffineMatrix::makeTranslation(const Vector& t)
{
    AffineMatrix m;
    m.setTranslation(t);
    return m;
}

AffineMatrix AffineMatrix::makeScale(double s)
{
    return AffineMatrix(s);
}

AffineMatrix AffineMatrix::makeScale(const Vector& s)
{
    AffineMatrix m;
    for (int i = 0; i < 3; ++i)
        m.m_m[i][i] = s[i];
    return m;
}

AffineMatrix AffineMatrix::makeRotation(const Vector& axis, double angle)
{
    // Row i is the image of axis i, so the rows follow the free rotate exactly.
    return AffineMatrix(oxLinear::rotate(Vector(1.0, 0.0, 0.0), axis, angle),
                        oxLinear::rotate(Vector(0.0, 1.0, 0.0), axis, angle),
                        oxLinear::rotate(Vector(0.0, 0.0, 1.0), axis, angle), Vector());
}

AffineMatrix AffineMatrix::makeRotation(const Vector& from, const Vector& to)
{
    const Vector f = from.normalized(), t = to.normalized();
    if (f.length2() == 0.0 || t.length2() == 0.0)
        return AffineMatrix();
    if (dot(f, t) >= 0.0)
        return minimalRotation(f, t);
    // More than 90 degrees apart, where the closed form divides by a small
    // 1 + e: half-turn about the axis first (taking f to about -f), then the
    // well-conditioned rotation from that image onto t. About the same axis,
    // the two compose to the smallest rotation; the image is computed rather
    // than assumed, so f lands on t to rounding even when the axis is inexact.
    Vector axis = cross(f, t);
    if (axis.normalize() == 0.0)
        axis = f.orthogonalVector();  // exactly opposite: any perpendicular axis
    const AffineMatrix turn = halfTurn(axis);
    return turn * minimalRotation((f * turn).normalized(), t);
}

AffineMatrix& AffineMatrix::translate(const Vector& t)
{
    return *this *= makeTranslation(t);
}
AffineMatrix& AffineMatrix::scale(double s)
{
    return *this *= makeScale(s);
}
AffineMatrix& AffineMatrix::scale(const Vector& s)
{
    return *this *= makeScale(s);
}
AffineMatrix& AffineMatrix::rotate(const Vector& axis, double angle)
{
    return *this *= makeRotation(axis, angle);
}
AffineMatrix& AffineMatrix::rotate(const Vector& from, const Vector& to)
{
    return *this *= makeRotation(from, to);
}

AffineMatrix& AffineMatrix::operator*=(const AffineMatrix& b)
{
    return *this = *this * b;
}

Point operator*(const Point& p, const AffineMatrix& m)
{
    Point out;
    for (int j = 0; j < 3; ++j)
        out[j] = p[0] * m[0][j] + p[1] * m[1][j] + p[2] * m[2][j] + m[3][j];
    return out;
}

Vector operator*(const Vector& v, const AffineMatrix& m)
{
    Vector out;
    for (int j = 0; j < 3; ++j)
        out[j] = v[0] * m[0][j] + v[1] * m[1][j] + v[2] * m[2][j];
    return out;
}

AffineMatrix operator*(const AffineMatrix& a, const AffineMatrix& b)
{
    // Linear rows map like vectors, the translation row like a point.
    return AffineMatrix(a.getRow(0) * b, a.getRow(1) * b, a.getRow(2) * b,
                        Vector(Point(a.getRow(3)) * b));
}

bool operator==(const AffineMatrix& a, const AffineMatrix& b)
{
    return detail::elementsEqual(a.data(), b.data(), 12);
}

bool equivalent(const AffineMatrix& a, const AffineMatrix& b, double tol)
{
    return detail::elementsWithin(a.data(), b.data(), 12, tol);
}

// ---- AffineMatrixFlt ----------------------------------------------------------------------

AffineMatrixFlt::AffineMatrixFlt(float diagonal)
{
    for (int r = 0; r < 4; ++r)
    {
        for (int c = 0; c < 3; ++c)
            m_m[r][c] = (r == c) ? diagonal : 0.0f;
    }
}

AffineMatrixFlt::AffineMatrixFlt(const float* values12)
{
    for (int i = 0; i < 12; ++i)
        data()[i] = values12[i];
}

AffineMatrixFlt::AffineMatrixFlt(const AffineMatrix& m)
{
    for (int i = 0; i < 12; ++i)
        data()[i] = static_cast<float>(m.data()[i]);
}

double AffineMatrixFlt::det3x3() const
{
    return AffineMatrix(*this).det3x3();
}

bool AffineMatrixFlt::inverse(AffineMatrixFlt& result) const
{
    AffineMatrix inv;
    const bool ok = AffineMatrix(*this).inverse(inv);
    result = AffineMatrixFlt(inv);
    return ok;
}

bool AffineMatrixFlt::normalMatrix(AffineMatrixFlt& result) const
{
    AffineMatrix n;
    const bool ok = AffineMatrix(*this).normalMatrix(n);
    result = AffineMatrixFlt(n);
    return ok;
}

AffineMatrixFlt& AffineMatrixFlt::operator*=(const AffineMatrixFlt& b)
{
    return *this = *this * b;
}

PointFlt operator*(const PointFlt& p, const AffineMatrixFlt& m)
{
    PointFlt out;
    for (int j = 0; j < 3; ++j)
        out[j] = p[0] * m[0][j] + p[1] * m[1][j] + p[2] * m[2][j] + m[3][j];
    return out;
}

VectorFlt operator*(const VectorFlt& v, const AffineMatrixFlt& m)
{
    VectorFlt out;
    for (int j = 0; j < 3; ++j)
        out[j] = v[0] * m[0][j] + v[1] * m[1][j] + v[2] * m[2][j];
    return out;
}

AffineMatrixFlt operator*(const AffineMatrixFlt& a, const AffineMatrixFlt& b)
{
    AffineMatrixFlt out;
    for (int r = 0; r < 4; ++r)
    {
        const float* row = a.data() + 3 * r;
        const VectorFlt image = (r < 3) ? VectorFlt(row) * b : VectorFlt(PointFlt(row) * b);
        for (int c = 0; c < 3; ++c)
            out[r][c] = image[c];
    }
    return out;
}

bool operator==(const AffineMatrixFlt& a, const AffineMatrixFlt& b)
{
    return detail::elementsEqual(a.data(), b.data(), 12);
}

bool equivalent(const AffineMatrixFlt& a, const AffineMatrixFlt& b, double tol)
{
    return detail::elementsWithin(a.data(), b.data(), 12, tol);
}

// ---- AffineMatrix2 ------------------------------------------------------------------------

AffineMatrix2::AffineMatrix2(double diagonal)
{
    for (int r = 0; r < 3; ++r)
    {
        for (int c = 0; c < 2; ++c)
            m_m[r][c] = (r == c) ? diagonal : 0.0;
    }
}

bool AffineMatrix2::inverse(AffineMatrix2& result) const
{
    const double det = det2x2();
    const double r = 1.0 / det;
    if (det == 0.0 || !std::isfinite(r))
    {
        result = AffineMatrix2();
        return false;
    }
    AffineMatrix2 out;
    out[0][0] = m_m[1][1] * r;
    out[0][1] = -m_m[0][1] * r;
    out[1][0] = -m_m[1][0] * r;
    out[1][1] = m_m[0][0] * r;
    const Tuple2 t = -(Tuple2(m_m[2][0], m_m[2][1]) * out);
    out[2][0] = t[0];
    out[2][1] = t[1];
    result = out;
    return true;
}

AffineMatrix2& AffineMatrix2::operator*=(const AffineMatrix2& b)
{
    return *this = *this * b;
}

Point2 operator*(const Point2& p, const AffineMatrix2& m)
{
    return Point2(p[0] * m[0][0] + p[1] * m[1][0] + m[2][0],
                  p[0] * m[0][1] + p[1] * m[1][1] + m[2][1]);
}

Tuple2 operator*(const Tuple2& v, const AffineMatrix2& m)
{
    return Tuple2(v[0] * m[0][0] + v[1] * m[1][0], v[0] * m[0][1] + v[1] * m[1][1]);
}

AffineMatrix2 operator*(const AffineMatrix2& a, const AffineMatrix2& b)
{
    AffineMatrix2 out;
    for (int r = 0; r < 3; ++r)
    {
        const Tuple2 row(a[r][0], a[r][1]);
        const Tuple2 image = (r < 2) ? row * b : Tuple2(Point2(row) * b);
        out[r][0] = image[0];
        out[r][1] = image[1];
    }
    return out;
}

bool operator==(const AffineMatrix2& a, const AffineMatrix2& b)
{
    return detail::elementsEqual(a.data(), b.data(), 6);
}

bool equivalent(const AffineMatrix2& a, const AffineMatrix2& b, double tol)
{
    return detail::elementsWithin(a.data(), b.data(), 6, tol);
}
}  // namespace oxLinear
