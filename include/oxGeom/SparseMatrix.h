#pragma once
// A small sparse linear-algebra kit in double precision: dense vectors
// (NVector), square matrices stored as unsorted row lists (SparseMatrix of
// SparseElement), and their products, factorizations, tests and text forms.
// The conjugate-gradient solver (ConjugateGradient.h) works on these types.

#include <ox/containers.h>
#include <oxString/CString.h>

#include <cstdint>
#include <iosfwd>

namespace oxGeom
{
/// One stored matrix entry: a column index and its value.
/// The default entry is (column -1, value 0.0). A plain value type.
struct SparseElement
{
    SparseElement() = default;
    SparseElement(int column, double value) : column(column), value(value) {}

    int column = -1;
    double value = 0.0;
};

/// A dense vector of doubles.
///
/// Inputs: the size n (n <= 0 gives the empty vector). Every element starts at 0.0.
/// Indexing: `v[i]` with i in [0, size()) reaches element i. An index outside that range never
/// touches memory outside the vector: the const form reads 0.0, the non-const form returns a
/// per-vector scratch slot that is reset to 0.0 on every such access, so writes through it are
/// lost.
/// Mismatched sizes: every operation that combines vectors runs over the size it documents and
/// reads a missing element of a shorter operand as 0.0.
/// Thread safety: a value type; one writer or any number of readers per object.
class NVector
{
public:
    /// n elements, all 0.0. Cost: O(n).
    explicit NVector(int n = 0);
    NVector(const NVector& other) = default;
    ~NVector();
    /// Copies size and elements; self-assignment changes nothing. Cost: O(n).
    NVector& operator=(const NVector& other);

    int size() const { return static_cast<int>(m_elements.size()); }

    double& operator[](int i)
    {
        if (static_cast<unsigned>(i) < m_elements.size())
            return m_elements[static_cast<size_t>(i)];
        m_outside = 0.0;
        return m_outside;
    }
    double operator[](int i) const
    {
        return static_cast<unsigned>(i) < m_elements.size() ? m_elements[static_cast<size_t>(i)]
                                                            : 0.0;
    }

    /// The size() elements, contiguous (may be null when the vector is empty).
    double* data() { return m_elements.data(); }
    const double* data() const { return m_elements.data(); }

    /// Inputs: `other` of any size. Output: the sum of this[i] * other[i] over this vector's
    /// indices, added from the last index down to index 0 (a fixed order, so the result is
    /// reproducible bit for bit). Empty: 0.0. Cost: O(size()).
    double dot(const NVector& other) const;

    /// The largest absolute element; 0.0 when empty; NaN when any element is NaN (so a
    /// poisoned vector never looks small). Cost: O(size()).
    double infinityNorm() const;

    /// this[i] = a[i] + s * c[i] for every index of this vector, from the last index down.
    /// `a` and `c` may be this vector itself. Cost: O(size()).
    void setToVectorPlusScalarTimesVector(const NVector& a, double s, const NVector& c);

private:
    ox::vector<double> m_elements;
    double m_outside = 0.0;
};

/// A square n x n matrix stored as one list of entries per row.
///
/// Each row holds its entries in insertion order, at most one per column; absent entries are
/// zero, and an entry may be stored with the value 0.0 (an explicit zero, counted by nnz()).
/// Lookups scan a row from its most recent entry backwards, so repeatedly adding to the entry
/// just added is cheap.
/// Indices: every stored column lies in [0, n). Operations that take a row or column outside
/// [0, n) do nothing (writers) or report an absent entry (readers).
/// Copying: no copy constructor; operator= makes a deep copy.
/// Thread safety: one writer or any number of readers per object; distinct objects are
/// independent.
class SparseMatrix
{
public:
    /// n empty rows (n < 1: the empty 0 x 0 matrix). Cost: O(n).
    explicit SparseMatrix(int n = 0);
    SparseMatrix(const SparseMatrix&) = delete;
    ~SparseMatrix();
    /// Deep copy: the size and every row. Self-assignment changes nothing. Cost: O(n + nnz).
    SparseMatrix& operator=(const SparseMatrix& other);

    /// The number of rows n.
    int size() const { return m_size; }

    /// Drops every entry and makes the matrix n x n (n < 1: 0 x 0). Cost: O(old n + nnz + n).
    void setToZero(int n);

    /// Adds `value` to entry (row, column), creating it when absent (adding 0.0 to an absent
    /// entry creates an explicit zero). The row is searched from its last entry backwards.
    /// An index outside [0, n) is ignored. Cost: O(row length), O(1) for the entry just added.
    void addToElement(int row, int column, double value);

    /// The value of entry (row, column), 0.0 when absent or out of range. Cost: O(row length).
    double getElement(int row, int column) const;
    /// True and `value` set when entry (row, column) is stored; false with `value` unchanged
    /// otherwise (also for an index outside [0, n)). Cost: O(row length).
    bool getElement(int row, int column, double& value) const;

    /// Row i's entries in insertion order; an empty list when i is outside [0, n).
    const ox::vector<SparseElement>& row(int i) const;

    /// The number of stored entries, explicit zeros included. Cost: O(n).
    int nnz() const;

    /// Inputs: `v` (size n; missing elements read as 0.0). Output: out[i] = sum over row i's
    /// entries, in stored order, of value * v[column]; `out` is resized to n when its size
    /// differs and may be `v` itself. Cost: O(n + nnz).
    void getMatrixTimesVector(const NVector& v, NVector& out) const;

    /// out[i] = b[i] - (A x)[i], the row sum formed first and then subtracted. Sizes and
    /// aliasing as getMatrixTimesVector (`out` may be `b` or `x`). Cost: O(n + nnz).
    void getVectorMinusMatrixTimesVector(const NVector& b, const NVector& x, NVector& out) const;

    /// u^T A v: the sum over ascending i of u[i] * (A v)[i]. Missing elements read as 0.0.
    /// Cost: O(n + nnz).
    double vectorDotMatrixTimesVector(const NVector& u, const NVector& v) const;

    /// Output: `t` becomes the transpose: t.setToZero(n), then t.addToElement(j, i, a) for each
    /// row i and each entry (j, a) in stored order. `t` may be this matrix. Cost: O(n + nnz).
    void transpose(SparseMatrix& t) const;

    /// Appends to u's row i every entry of row i whose column is >= i, in stored order. `u` is
    /// neither cleared nor resized; rows and columns outside u's size are skipped. `u` may be
    /// this matrix (each row then gets copies of its upper entries). Cost: O(n + nnz).
    void getUpperTriangular(SparseMatrix& u) const;

    /// Dense-order Cholesky factor: `l` is set to zero at size n and receives the lower factor
    /// L with A = L L^T. Returns false as soon as a pivot is <= 0 (or NaN), leaving `l` with the
    /// columns computed so far. `l` may be this matrix. Empty matrix: true.
    /// Cost: O(n^3 * row length) through element lookups; meant for small matrices and tests.
    bool choleskyFactorization(SparseMatrix& l) const;

    /// Whether choleskyFactorization succeeds. Cost: as choleskyFactorization.
    bool isPositiveDefinite() const;

    /// True when every off-diagonal entry (j, a) of every row i has |a - A(j, i)| < 1e-6.
    /// The empty matrix is symmetric. Cost: O(nnz * row length).
    bool isSymmetric() const;

    /// True when every non-empty row has positive diagonal entries, non-positive off-diagonal
    /// entries and a non-negative row sum, and at least one row sum is strictly positive.
    /// Empty rows are skipped; the 0 x 0 matrix is not an M-matrix. Cost: O(n + nnz).
    bool isMMatrix() const;

    /// Writes a histogram of the row lengths to standard output: "  total rows: n", then one
    /// line "  length L: c rows" for each length L with c > 0 rows, by increasing L.
    /// Cost: O(n + longest row).
    void dumpRowLengths() const;

    /// The dense matrix as a nested list, "{\n{a,b},\n{c,d}\n}", each value printed "%.10f".
    /// The 0 x 0 matrix gives "{\n}". Cost: O(n^2 + nnz).
    oxString::CString toMmaString() const;

private:
    void copy(const SparseMatrix& other);
    void multiplyRows(const NVector& v, double* out) const;
    bool inRange(int i) const { return static_cast<unsigned>(i) < static_cast<unsigned>(m_size); }

    int m_size = 0;
    ox::vector<ox::vector<SparseElement>> m_rows;
    // Bumped by every change, so that a solver can tell whether a packed copy of the matrix
    // that it keeps for speed is still current.
    std::uint64_t m_version = 0;

    // The solver and the incomplete factorization read and write rows in place.
    friend class ConjugateGradient;
    friend class IncompleteCholeskyPreconditioner;
};

/// Writes "SparseMatrix{", then per row a line end and every column's value (zeros included),
/// each preceded by " " when negative and "  " otherwise and printed "%.10f"; then "\n}".
/// Cost: O(n^2 + nnz).
std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix);

/// Writes "(", each element in the stream's default format followed by " ", then ")".
std::ostream& operator<<(std::ostream& out, const NVector& vector);
}  // namespace oxGeom
