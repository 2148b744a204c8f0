// Zero fill-in incomplete Cholesky factor A ~ U^T U of a sparse symmetric
// matrix, and its application by forward and backward substitution. The factor
// keeps exactly the upper-triangle entries of A; rows are updated in place.
// Based on: Meijerink and van der Vorst 1977 (incomplete factorization as a CG preconditioner).
//
// The textbook row loop lets every earlier row k update row i:
//     for k < i: v = U(k, i); for each entry (j, u) of row i with u != 0.0: u -= U(k, j) * v
// which costs O(n^2) lookups. Almost all of those terms change nothing, and the loop below
// visits only the ones that can:
//  - If U(k, i) is absent, v = 0.0, and U(k, j) * 0.0 is +-0.0 whenever U(k, j) is finite;
//    u - (+-0.0) == u for every u != 0.0 (and u == 0.0 is skipped anyway). So row k matters
//    only when column i is stored in it, or when it holds a non-finite value (Inf * 0 = NaN)
//    in a column j that row i also stores.
//  - If U(k, i) = v is stored and finite, an absent U(k, j) gives the same +-0.0 term, so only
//    columns stored in both rows need the update.
//  - Different entries j of row i never interact, so for one k they may be updated in any
//    order; the order over k (ascending) is kept, because rounding and the u != 0.0 test
//    depend on it.
// The rows k with column i are listed, ascending, by a column index of the upper triangle
// built once (the pattern never changes: no entry is created). Rows with a non-finite value
// (only after a breakdown: a missing diagonal or a negative pivot) are replayed with the
// literal loop. Each row i then costs the sum of the lengths of the rows k that reach it, so
// the whole build is O(sum over k of (length of row k)^2), linear in nnz for bounded rows,
// and gives bit for bit the values of the textbook loop.

#include <oxGeom/ConjugateGradient.h>

#include <algorithm>
#include <cmath>

namespace oxGeom
{
namespace
{
// The upper triangle in flat arrays (rows in stored order), factorized in place.
class RowFactorization
{
public:
    explicit RowFactorization(const SparseMatrix& upper) : m_n(upper.size())
    {
        m_starts.reserve(static_cast<size_t>(m_n) + 1);
        m_starts.push_back(0);
        m_columns.reserve(static_cast<size_t>(upper.nnz()));
        m_values.reserve(m_columns.capacity());
        for (int i = 0; i < m_n; ++i)
        {
            for (const SparseElement& e : upper.row(i))
            {
                m_columns.push_back(e.column);
                m_values.push_back(e.value);
            }
            m_starts.push_back(static_cast<int>(m_columns.size()));
        }
        buildColumnIndex();
    }

    void run()
    {
        m_where.assign(static_cast<size_t>(m_n), 0);
        m_owner.assign(static_cast<size_t>(m_n), -1);
        m_nonFinite.assign(static_cast<size_t>(m_n), 0);
        for (int i = 0; i < m_n; ++i)
        {
            updateFromEarlierRows(i);
            scaleRow(i);
        }
    }

    int size() const { return m_n; }
    int begin(int i) const { return m_starts[static_cast<size_t>(i)]; }
    int end(int i) const { return m_starts[static_cast<size_t>(i) + 1]; }
    int column(int p) const { return m_columns[static_cast<size_t>(p)]; }
    double value(int p) const { return m_values[static_cast<size_t>(p)]; }

private:
    // For every column c, the rows k < c that store (k, c), ascending, and the entry's position.
    void buildColumnIndex()
    {
        m_columnStarts.assign(static_cast<size_t>(m_n) + 1, 0);
        for (int k = 0; k < m_n; ++k)
            for (int p = begin(k); p < end(k); ++p)
                if (column(p) > k)
                    ++m_columnStarts[static_cast<size_t>(column(p)) + 1];
        for (int c = 0; c < m_n; ++c)
            m_columnStarts[static_cast<size_t>(c) + 1] += m_columnStarts[static_cast<size_t>(c)];
        m_columnRows.resize(static_cast<size_t>(m_columnStarts.back()));
        m_columnPositions.resize(m_columnRows.size());
        ox::vector<int> next(m_columnStarts.begin(), m_columnStarts.end() - 1);
        for (int k = 0; k < m_n; ++k)
            for (int p = begin(k); p < end(k); ++p)
                if (column(p) > k)
                {
                    const size_t slot = static_cast<size_t>(next[static_cast<size_t>(column(p))]++);
                    m_columnRows[slot] = k;
                    m_columnPositions[slot] = p;
                }
    }

    // U(k, column) as a backward search in row k finds it; 0.0 when absent.
    double lookup(int k, int c) const
    {
        for (int p = end(k) - 1; p >= begin(k); --p)
            if (column(p) == c)
                return value(p);
        return 0.0;
    }

    void updateFromEarlierRows(int i)
    {
        // Positions of row i's columns (each column is stored once per row).
        for (int p = begin(i); p < end(i); ++p)
        {
            m_where[static_cast<size_t>(column(p))] = p;
            m_owner[static_cast<size_t>(column(p))] = i;
        }
        const int first = m_columnStarts[static_cast<size_t>(i)];
        const int last = m_columnStarts[static_cast<size_t>(i) + 1];
        if (!m_anyNonFinite)
        {
            for (int s = first; s < last; ++s)
                updateFromFiniteRow(i, m_columnRows[static_cast<size_t>(s)],
                                    value(m_columnPositions[static_cast<size_t>(s)]));
            return;
        }
        for (int k : rowsReachingAfterBreakdown(i))
        {
            if (m_nonFinite[static_cast<size_t>(k)])
                updateLiterally(i, k);
            else
                updateFromFiniteRow(i, k, lookup(k, i));
        }
    }

    // Row k is finite and stores v = U(k, i): update the columns stored in both rows.
    void updateFromFiniteRow(int i, int k, double v)
    {
        for (int q = begin(k); q < end(k); ++q)
        {
            const int c = column(q);
            if (m_owner[static_cast<size_t>(c)] != i)
                continue;
            double& u = m_values[static_cast<size_t>(m_where[static_cast<size_t>(c)])];
            if (u != 0.0)
                u -= value(q) * v;
        }
    }

    // The textbook update of row i by row k, every stored entry of row i included.
    void updateLiterally(int i, int k)
    {
        const double v = lookup(k, i);
        for (int p = begin(i); p < end(i); ++p)
        {
            double& u = m_values[static_cast<size_t>(p)];
            if (u != 0.0)
                u -= lookup(k, column(p)) * v;
        }
    }

    // Once some row holds a non-finite value: the rows k < i storing column i, plus the
    // non-finite rows storing any column of row i; ascending, each once.
    ox::vector<int> rowsReachingAfterBreakdown(int i) const
    {
        ox::vector<int> rows;
        for (int p = begin(i); p < end(i); ++p)
        {
            const int c = column(p);
            for (int s = m_columnStarts[static_cast<size_t>(c)];
                 s < m_columnStarts[static_cast<size_t>(c) + 1]; ++s)
            {
                const int k = m_columnRows[static_cast<size_t>(s)];
                if (k >= i)
                    break;
                if (c == i || m_nonFinite[static_cast<size_t>(k)])
                    rows.push_back(k);
            }
        }
        std::sort(rows.begin(), rows.end());
        rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
        return rows;
    }

    // The first diagonal entry becomes its square root d; the others are divided by d
    // (d = 0.0 without a diagonal entry).
    void scaleRow(int i)
    {
        double d = 0.0;
        for (int p = begin(i); p < end(i); ++p)
            if (column(p) == i)
            {
                d = std::sqrt(value(p));
                m_values[static_cast<size_t>(p)] = d;
                break;
            }
        bool nonFinite = false;
        for (int p = begin(i); p < end(i); ++p)
        {
            if (column(p) != i)
                m_values[static_cast<size_t>(p)] /= d;
            nonFinite |= !std::isfinite(value(p));
        }
        m_nonFinite[static_cast<size_t>(i)] = nonFinite;
        m_anyNonFinite |= nonFinite;
    }

    int m_n;
    ox::vector<int> m_starts;
    ox::vector<int> m_columns;
    ox::vector<double> m_values;
    ox::vector<int> m_columnStarts, m_columnRows, m_columnPositions;
    ox::vector<int> m_where, m_owner;
    ox::vector<char> m_nonFinite;
    bool m_anyNonFinite = false;
};

// One triangular factor packed for substitution: the off-diagonal entries of each row in
// stored order, and the row's diagonal (its last diagonal entry, 0.0 when it has none).
void packTriangle(const SparseMatrix& factor, ox::vector<int>& starts, ox::vector<int>& columns,
                  ox::vector<double>& values, ox::vector<double>& diagonal)
{
    const int n = factor.size();
    starts.assign(1, 0);
    starts.reserve(static_cast<size_t>(n) + 1);
    columns.clear();
    values.clear();
    columns.reserve(static_cast<size_t>(factor.nnz()));
    values.reserve(static_cast<size_t>(factor.nnz()));
    diagonal.assign(static_cast<size_t>(n), 0.0);
    for (int i = 0; i < n; ++i)
    {
        for (const SparseElement& e : factor.row(i))
            if (e.column == i)
                diagonal[static_cast<size_t>(i)] = e.value;
            else
            {
                columns.push_back(e.column);
                values.push_back(e.value);
            }
        starts.push_back(static_cast<int>(columns.size()));
    }
}
}  // namespace

IncompleteCholeskyPreconditioner::IncompleteCholeskyPreconditioner(const SparseMatrix& a)
    : m_lower(a.size()), m_upper(a.size())
{
    a.getUpperTriangular(m_upper);
    RowFactorization factor(m_upper);
    factor.run();

    const int n = a.size();
    ox::vector<int> lowerLengths(static_cast<size_t>(n), 0);
    for (int i = 0; i < n; ++i)
        for (int p = factor.begin(i); p < factor.end(i); ++p)
            ++lowerLengths[static_cast<size_t>(factor.column(p))];
    for (int j = 0; j < n; ++j)
        m_lower.m_rows[static_cast<size_t>(j)].reserve(
            static_cast<size_t>(lowerLengths[static_cast<size_t>(j)]));
    for (int i = 0; i < n; ++i)
    {
        ox::vector<SparseElement>& upperRow = m_upper.m_rows[static_cast<size_t>(i)];
        for (int p = factor.begin(i); p < factor.end(i); ++p)
        {
            const double value = factor.value(p);
            upperRow[static_cast<size_t>(p - factor.begin(i))].value = value;
            m_lower.m_rows[static_cast<size_t>(factor.column(p))].emplace_back(i, value);
        }
    }
    ++m_lower.m_version;
    ++m_upper.m_version;
    packFactors();
}

IncompleteCholeskyPreconditioner::~IncompleteCholeskyPreconditioner() = default;

IncompleteCholeskyPreconditioner& IncompleteCholeskyPreconditioner::operator=(
    const IncompleteCholeskyPreconditioner& other)
{
    if (this != &other)
    {
        Preconditioner::operator=(other);
        m_lower = other.m_lower;
        m_upper = other.m_upper;
        packFactors();
    }
    return *this;
}

void IncompleteCholeskyPreconditioner::packFactors()
{
    packTriangle(m_lower, m_lowerStarts, m_lowerColumns, m_lowerValues, m_lowerDiagonal);
    packTriangle(m_upper, m_upperStarts, m_upperColumns, m_upperValues, m_upperDiagonal);
}

// The forward pass reads r directly, so z may be r: z[j] for j < i is final when row i reads
// it, and r[i] is read before z[i] is written. The dot product r . z is accumulated in the
// backward pass, which finalises z from the last index down, the order of NVector::dot (it is
// r . z only when z is not r).
double IncompleteCholeskyPreconditioner::substitute(const double* r, double* z) const
{
    const int n = m_lower.size();
    const int* lowerStarts = m_lowerStarts.data();
    const int* lowerColumns = m_lowerColumns.data();
    const double* lowerValues = m_lowerValues.data();
    const double* lowerDiagonal = m_lowerDiagonal.data();
    for (int i = 0; i < n; ++i)
    {
        double s = r[i];
        for (int p = lowerStarts[i]; p < lowerStarts[i + 1]; ++p)
            s -= z[lowerColumns[p]] * lowerValues[p];
        z[i] = s / lowerDiagonal[i];
    }
    const int* upperStarts = m_upperStarts.data();
    const int* upperColumns = m_upperColumns.data();
    const double* upperValues = m_upperValues.data();
    const double* upperDiagonal = m_upperDiagonal.data();
    double dot = 0.0;
    for (int i = n - 1; i >= 0; --i)
    {
        double s = z[i];
        for (int p = upperStarts[i]; p < upperStarts[i + 1]; ++p)
            s -= z[upperColumns[p]] * upperValues[p];
        z[i] = s / upperDiagonal[i];
        dot += r[i] * z[i];
    }
    return dot;
}

double IncompleteCholeskyPreconditioner::applyInverseAndDot(const NVector& r, NVector& z) const
{
    return substitute(r.data(), z.data());
}

void IncompleteCholeskyPreconditioner::applyInverse(const NVector& r, NVector& z) const
{
    const int n = r.size();
    const int m = m_lower.size();
    if (n == m)
    {
        if (z.size() != n)
            z = NVector(n);
        substitute(r.data(), z.data());
        return;
    }
    // Sizes differ: solve at the factor's size with r padded or cut, then give z r's size.
    NVector padded(m);
    for (int i = 0; i < std::min(n, m); ++i)
        padded[i] = r[i];
    substitute(padded.data(), padded.data());
    z = NVector(n);
    for (int i = 0; i < std::min(n, m); ++i)
        z[i] = padded[i];
}
}  // namespace oxGeom
