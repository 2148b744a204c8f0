#pragma once
// Affine transforms in the row-vector convention: a point is a row vector
// multiplied on the left, p' = p * M. A 3-D matrix has 4 rows of 3 columns,
// element m[row][column]; rows 0..2 are the linear part (row i is the image of
// the i-th coordinate axis) and row 3 is the translation. The product A * B
// applies A first, then B: p * (A * B) == (p * A) * B.
//
// Common contract: plain values; the default constructor gives the identity;
// `m[r][c]` clamps an out-of-range row or column to the nearest valid one;
// == and != compare exactly; nothing allocates or touches shared state, so
// concurrent use of distinct or const matrices is safe. Costs are O(1).

#include "oxLinear/Point.h"
#include "oxLinear/Point2.h"

namespace oxLinear
{
namespace detail
{
/// One row of a matrix, indexed by column with the column clamped.
template <class T, int Columns>
class RowRef
{
public:
    constexpr explicit RowRef(T* row) : m_row(row) {}
    constexpr T& operator[](int column) const { return m_row[clampIndex(column, Columns)]; }
    constexpr T* data() const { return m_row; }

private:
    T* m_row;
};
}  // namespace detail

class AffineMatrixFlt;

/// A 3-D affine transform in doubles, 4 rows x 3 columns.
class AffineMatrix
{
public:
    /// The identity.
    AffineMatrix() : AffineMatrix(1.0) {}
    /// `diagonal` on the diagonal of the linear part, 0 elsewhere, no
    /// translation: AffineMatrix(1.0) is the identity, AffineMatrix(s) a uniform
    /// scale by s.
    explicit AffineMatrix(double diagonal);
    /// From the images of the three axes and the translation.
    AffineMatrix(const Vector& row0, const Vector& row1, const Vector& row2,
                 const Vector& translation);
    /// From 12 values in row order (row 0 first). Precondition: 12 readable values.
    explicit AffineMatrix(const double* values12);
    /// Widens a single-precision matrix exactly.
    explicit AffineMatrix(const AffineMatrixFlt& m);

    detail::RowRef<double, 3> operator[](int row)
    {
        return detail::RowRef<double, 3>(m_m[detail::clampIndex(row, 4)]);
    }
    detail::RowRef<const double, 3> operator[](int row) const
    {
        return detail::RowRef<const double, 3>(m_m[detail::clampIndex(row, 4)]);
    }
    /// The 12 elements in row order.
    double* data() { return &m_m[0][0]; }
    const double* data() const { return &m_m[0][0]; }

    /// Row r (0..3, clamped) as a vector; row 3 is the translation.
    Vector getRow(int row) const;
    void setRow(int row, const Vector& v);
    Vector getTranslation() const { return getRow(3); }
    void setTranslation(const Vector& t) { setRow(3, t); }

    /// Determinant of the linear part (rows 0..2): negative for a mirroring
    /// transform, 0 for a singular one.
    double det3x3() const;

    /// Outputs `result` = the inverse transform, and true.
    /// Degenerate: when the linear part is singular (its determinant is 0, or its
    /// reciprocal is not finite) `result` is set to the identity and false is
    /// returned. `result` may be *this.
    bool inverse(AffineMatrix& result) const;
    /// Inverts in place; a singular matrix is left unchanged and false returned.
    bool invert();

    /// Outputs the matrix that transforms normals: the inverse transpose of the
    /// linear part, with zero translation. Under it a normal stays perpendicular
    /// to every tangent transformed by *this (it is not renormalised).
    /// Degenerate: a singular linear part gives false and `result` = identity.
    bool normalMatrix(AffineMatrix& result) const;

    /// Makes this the orthonormal frame placed at `origin`: row 2 is `normal`
    /// normalised (z), row 0 is the part of `xAxis` perpendicular to it,
    /// normalised (x), row 1 is z x x (y), row 3 is origin. The matrix maps
    /// frame coordinates to world coordinates ((0,0,0) -> origin, (1,0,0) ->
    /// origin + x); its inverse maps world points into the frame.
    /// Degenerate: a zero normal is replaced by +Z; an xAxis that is zero or
    /// parallel to the normal is replaced by normal.orthogonalVector(). The
    /// result is orthonormal either way; false says that a replacement was made.
    bool setFrame(const Point& origin, const Vector& xAxis, const Vector& normal);

    /// Builders. Each `make...` returns a fresh transform; the member forms
    /// compose it after the current transform (*this = *this * T).
    static AffineMatrix makeTranslation(const Vector& t);
    static AffineMatrix makeScale(double s);
    static AffineMatrix makeScale(const Vector& s);
    /// Rotation by `angle` radians about `axis` (right-hand rule); the axis is
    /// normalised here, a zero axis gives the identity.
    static AffineMatrix makeRotation(const Vector& axis, double angle);
    /// The rotation that takes direction `from` onto direction `to`: the
    /// smallest one, about from x to. Both are normalised here. Equal
    /// directions give the identity; exactly opposite ones a half-turn about
    /// from.orthogonalVector(). A zero input gives the identity. `from` lands on
    /// `to` to rounding in every case, also near opposite directions, where the
    /// axis itself is ill-conditioned.
    static AffineMatrix makeRotation(const Vector& from, const Vector& to);

    AffineMatrix& translate(const Vector& t);
    AffineMatrix& scale(double s);
    AffineMatrix& scale(const Vector& s);
    AffineMatrix& rotate(const Vector& axis, double angle);
    AffineMatrix& rotate(const Vector& from, const Vector& to);

    AffineMatrix& operator*=(const AffineMatrix& b);

private:
    double m_m[4][3];
};

/// A 3-D affine transform in floats: exactly 12 floats, 48 bytes, the layout a
/// mesh placement stores. Arithmetic beyond the product and the point
/// transforms widens to AffineMatrix.
class AffineMatrixFlt
{
public:
    /// The identity.
    AffineMatrixFlt() : AffineMatrixFlt(1.0f) {}
    /// `diagonal` on the diagonal of the linear part; AffineMatrixFlt(1) is the identity.
    explicit AffineMatrixFlt(float diagonal);
    /// From 12 values in row order. Precondition: 12 readable values.
    explicit AffineMatrixFlt(const float* values12);
    /// Rounds each element of a double matrix to the nearest float.
    explicit AffineMatrixFlt(const AffineMatrix& m);

    detail::RowRef<float, 3> operator[](int row)
    {
        return detail::RowRef<float, 3>(m_m[detail::clampIndex(row, 4)]);
    }
    detail::RowRef<const float, 3> operator[](int row) const
    {
        return detail::RowRef<const float, 3>(m_m[detail::clampIndex(row, 4)]);
    }
    float* data() { return &m_m[0][0]; }
    const float* data() const { return &m_m[0][0]; }

    /// As AffineMatrix::det3x3, computed in double.
    double det3x3() const;
    /// As AffineMatrix::inverse / normalMatrix, computed in double and rounded.
    bool inverse(AffineMatrixFlt& result) const;
    bool normalMatrix(AffineMatrixFlt& result) const;

    AffineMatrixFlt& operator*=(const AffineMatrixFlt& b);

private:
    float m_m[4][3];
};

/// A 2-D affine transform in doubles, 3 rows x 2 columns: rows 0..1 the linear
/// part, row 2 the translation; p' = p * M.
class AffineMatrix2
{
public:
    /// The identity.
    AffineMatrix2() : AffineMatrix2(1.0) {}
    /// `diagonal` on the linear diagonal, no translation.
    explicit AffineMatrix2(double diagonal);

    detail::RowRef<double, 2> operator[](int row)
    {
        return detail::RowRef<double, 2>(m_m[detail::clampIndex(row, 3)]);
    }
    detail::RowRef<const double, 2> operator[](int row) const
    {
        return detail::RowRef<const double, 2>(m_m[detail::clampIndex(row, 3)]);
    }
    double* data() { return &m_m[0][0]; }
    const double* data() const { return &m_m[0][0]; }

    /// Determinant of the 2x2 linear part.
    double det2x2() const { return m_m[0][0] * m_m[1][1] - m_m[0][1] * m_m[1][0]; }
    /// As AffineMatrix::inverse: false and identity when singular.
    bool inverse(AffineMatrix2& result) const;

    AffineMatrix2& operator*=(const AffineMatrix2& b);

private:
    double m_m[3][2];
};

/// p * M: the transformed point (with translation).
Point operator*(const Point& p, const AffineMatrix& m);
/// v * M: the transformed vector (linear part only, no translation).
Vector operator*(const Vector& v, const AffineMatrix& m);
/// A * B: first A, then B.
AffineMatrix operator*(const AffineMatrix& a, const AffineMatrix& b);
inline Point& operator*=(Point& p, const AffineMatrix& m)
{
    return p = p * m;
}
inline Vector& operator*=(Vector& v, const AffineMatrix& m)
{
    return v = v * m;
}

/// Single-precision forms, accumulated in float.
PointFlt operator*(const PointFlt& p, const AffineMatrixFlt& m);
VectorFlt operator*(const VectorFlt& v, const AffineMatrixFlt& m);
AffineMatrixFlt operator*(const AffineMatrixFlt& a, const AffineMatrixFlt& b);

Point2 operator*(const Point2& p, const AffineMatrix2& m);
/// Linear part only.
Tuple2 operator*(const Tuple2& v, const AffineMatrix2& m);
AffineMatrix2 operator*(const AffineMatrix2& a, const AffineMatrix2& b);

bool operator==(const AffineMatrix& a, const AffineMatrix& b);
inline bool operator!=(const AffineMatrix& a, const AffineMatrix& b)
{
    return !(a == b);
}
bool operator==(const AffineMatrixFlt& a, const AffineMatrixFlt& b);
inline bool operator!=(const AffineMatrixFlt& a, const AffineMatrixFlt& b)
{
    return !(a == b);
}
bool operator==(const AffineMatrix2& a, const AffineMatrix2& b);
inline bool operator!=(const AffineMatrix2& a, const AffineMatrix2& b)
{
    return !(a == b);
}

/// True when all 12 elements differ by at most tol; a NaN element never does.
/// The float form compares in double. O(1), thread-safe.
bool equivalent(const AffineMatrix& a, const AffineMatrix& b, double tol);
bool equivalent(const AffineMatrixFlt& a, const AffineMatrixFlt& b, double tol);
bool equivalent(const AffineMatrix2& a, const AffineMatrix2& b, double tol);

/// Determinant of the linear part (same as m.det3x3()).
inline double det3x3(const AffineMatrix& m)
{
    return m.det3x3();
}
inline double det3x3(const AffineMatrixFlt& m)
{
    return m.det3x3();
}

static_assert(sizeof(AffineMatrixFlt) == 48, "a placement matrix is exactly 12 floats");
static_assert(sizeof(AffineMatrix) == 96, "12 doubles");
}  // namespace oxLinear
