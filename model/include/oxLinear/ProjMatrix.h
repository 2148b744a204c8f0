#pragma once
// Projective 4x4 transforms in the row-vector convention: the homogeneous row
// (x, y, z, 1) is multiplied on the left, (x', y', z', w') = (x, y, z, 1) * M,
// element m[row][column]; A * B applies A first. A 3-D point result is the
// homogeneous one divided by w'.
//
// Common contract: plain values; the default constructor gives the identity;
// `m[r][c]` clamps an out-of-range row or column; == and != are exact; nothing
// allocates or touches shared state (concurrent use of distinct or const
// matrices is safe); every operation is O(1).

#include "oxLinear/AffineMatrix.h"
#include "oxLinear/Point.h"

namespace oxLinear
{
class ProjMatrixFlt;

/// A 4x4 projective matrix in doubles.
class ProjMatrix
{
public:
    /// The identity.
    ProjMatrix() : ProjMatrix(1.0) {}
    /// `diagonal` on all four diagonal elements, 0 elsewhere: ProjMatrix(1.0) is
    /// the identity and ProjMatrix(0.0) the zero matrix.
    explicit ProjMatrix(double diagonal);
    /// From 16 values in row order. Precondition: 16 readable values.
    explicit ProjMatrix(const double* values16);
    /// The affine transform as a projective one (last column 0, 0, 0, 1).
    explicit ProjMatrix(const AffineMatrix& m);
    /// Widens a single-precision matrix exactly.
    explicit ProjMatrix(const ProjMatrixFlt& m);

    detail::RowRef<double, 4> operator[](int row)
    {
        return detail::RowRef<double, 4>(m_m[detail::clampIndex(row, 4)]);
    }
    detail::RowRef<const double, 4> operator[](int row) const
    {
        return detail::RowRef<const double, 4>(m_m[detail::clampIndex(row, 4)]);
    }
    /// The 16 elements in row order.
    double* data() { return &m_m[0][0]; }
    const double* data() const { return &m_m[0][0]; }

    /// Outputs (x', y', z', w') = (p, 1) * M in `out`.
    void transformHomogeneous(const Point& p, double out[4]) const;
    /// Outputs the projected point (x'/w', y'/w', z'/w') and true.
    /// Degenerate: when w' == 0 (a point on the plane through the eye, mapped to
    /// infinity) `out` is (x', y', z') undivided and false is returned.
    bool transform(const Point& p, Point& out) const;

    /// 4x4 determinant.
    double det() const;
    /// Outputs the inverse and true. Degenerate: a singular matrix (determinant
    /// 0 or its reciprocal not finite) gives false and `result` = identity.
    /// `result` may be *this.
    bool inverse(ProjMatrix& result) const;
    /// Inverts in place; a singular matrix is left unchanged and false returned.
    bool invert();
    /// The transpose.
    ProjMatrix transposed() const;

    ProjMatrix& operator*=(const ProjMatrix& b);

private:
    double m_m[4][4];
};

/// A 4x4 projective matrix in floats (64 bytes), e.g. for transforming the
/// single-precision vertices of a mesh into a view.
class ProjMatrixFlt
{
public:
    /// The identity.
    ProjMatrixFlt() : ProjMatrixFlt(1.0f) {}
    explicit ProjMatrixFlt(float diagonal);
    /// Rounds each element of a double matrix to the nearest float.
    explicit ProjMatrixFlt(const ProjMatrix& m);

    detail::RowRef<float, 4> operator[](int row)
    {
        return detail::RowRef<float, 4>(m_m[detail::clampIndex(row, 4)]);
    }
    detail::RowRef<const float, 4> operator[](int row) const
    {
        return detail::RowRef<const float, 4>(m_m[detail::clampIndex(row, 4)]);
    }
    float* data() { return &m_m[0][0]; }
    const float* data() const { return &m_m[0][0]; }

    /// As ProjMatrix::transformHomogeneous, in float.
    void transformHomogeneous(const PointFlt& p, float out[4]) const;
    /// As ProjMatrix::transform, in float: false and the undivided result when w' == 0.
    bool transform(const PointFlt& p, PointFlt& out) const;
    /// As ProjMatrix::inverse, computed in double and rounded.
    bool inverse(ProjMatrixFlt& result) const;

    ProjMatrixFlt& operator*=(const ProjMatrixFlt& b);

private:
    float m_m[4][4];
};

/// p * M with the homogeneous divide; when w' == 0 the undivided (x', y', z')
/// (see ProjMatrix::transform).
Point operator*(const Point& p, const ProjMatrix& m);
PointFlt operator*(const PointFlt& p, const ProjMatrixFlt& m);
/// A * B: first A, then B.
ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b);
ProjMatrixFlt operator*(const ProjMatrixFlt& a, const ProjMatrixFlt& b);

bool operator==(const ProjMatrix& a, const ProjMatrix& b);
inline bool operator!=(const ProjMatrix& a, const ProjMatrix& b)
{
    return !(a == b);
}
bool operator==(const ProjMatrixFlt& a, const ProjMatrixFlt& b);
inline bool operator!=(const ProjMatrixFlt& a, const ProjMatrixFlt& b)
{
    return !(a == b);
}

/// True when all 16 elements differ by at most tol (compared in double).
bool equivalent(const ProjMatrix& a, const ProjMatrix& b, double tol);
bool equivalent(const ProjMatrixFlt& a, const ProjMatrixFlt& b, double tol);

static_assert(sizeof(ProjMatrixFlt) == 64 && sizeof(ProjMatrix) == 128, "packed 4x4");
}  // namespace oxLinear
