// A square sparse matrix as unsorted row lists, with the products the
// conjugate-gradient solver needs, a dense-order Cholesky test, structure tests
// and text forms. Rows keep insertion order and are searched backwards, which
// suits assembly loops that add to the entry they just created.

#include <oxGeom/SparseMatrix.h>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>

namespace oxGeom
{
namespace
{
const ox::vector<SparseElement> emptyRow;

// The index of the last entry of `row` with `column`, or -1.
int findBackwards(const ox::vector<SparseElement>& row, int column)
{
    for (int k = static_cast<int>(row.size()) - 1; k >= 0; --k)
        if (row[static_cast<size_t>(k)].column == column)
            return k;
    return -1;
}

// One value as "%.10f". Any double fits: at most 309 integer digits, sign, point and 10 decimals.
std::string fixed10(double value)
{
    char text[400];
    std::snprintf(text, sizeof text, "%.10f", value);
    return text;
}

// Row i as a dense array of n values. Later entries overwrite earlier ones, which is what a
// backward search would find.
void scatterRow(const ox::vector<SparseElement>& row, ox::vector<double>& dense)
{
    std::fill(dense.begin(), dense.end(), 0.0);
    for (const SparseElement& e : row)
        dense[static_cast<size_t>(e.column)] = e.value;
}
}  // namespace

SparseMatrix::SparseMatrix(int n)
{
    setToZero(n);
}

SparseMatrix::~SparseMatrix() = default;

SparseMatrix& SparseMatrix::operator=(const SparseMatrix& other)
{
    if (this != &other)
        copy(other);
    return *this;
}

void SparseMatrix::copy(const SparseMatrix& other)
{
    setToZero(other.size());
    for (int i = 0; i < m_size; ++i)
        m_rows[static_cast<size_t>(i)] = other.m_rows[static_cast<size_t>(i)];
}

void SparseMatrix::setToZero(int n)
{
    m_size = n > 0 ? n : 0;
    m_rows.clear();
    m_rows.resize(static_cast<size_t>(m_size));
    ++m_version;
}

void SparseMatrix::addToElement(int row, int column, double value)
{
    if (!inRange(row) || !inRange(column))
        return;
    ox::vector<SparseElement>& entries = m_rows[static_cast<size_t>(row)];
    const int k = findBackwards(entries, column);
    if (k >= 0)
        entries[static_cast<size_t>(k)].value += value;
    else
        entries.emplace_back(column, value);
    ++m_version;
}

double SparseMatrix::getElement(int row, int column) const
{
    double value = 0.0;
    getElement(row, column, value);
    return value;
}

bool SparseMatrix::getElement(int row, int column, double& value) const
{
    if (!inRange(row))
        return false;
    const ox::vector<SparseElement>& entries = m_rows[static_cast<size_t>(row)];
    const int k = findBackwards(entries, column);
    if (k < 0)
        return false;
    value = entries[static_cast<size_t>(k)].value;
    return true;
}

const ox::vector<SparseElement>& SparseMatrix::row(int i) const
{
    return inRange(i) ? m_rows[static_cast<size_t>(i)] : emptyRow;
}

int SparseMatrix::nnz() const
{
    size_t count = 0;
    for (const ox::vector<SparseElement>& entries : m_rows)
        count += entries.size();
    return static_cast<int>(count);
}

// out[i] = row i times v, for every row. A v shorter than n reads as zeros past its end.
void SparseMatrix::multiplyRows(const NVector& v, double* out) const
{
    const bool vCoversColumns = v.size() >= m_size;
    const double* x = v.data();
    for (int i = 0; i < m_size; ++i)
    {
        double sum = 0.0;
        if (vCoversColumns)
            for (const SparseElement& e : m_rows[static_cast<size_t>(i)])
                sum += e.value * x[e.column];
        else
            for (const SparseElement& e : m_rows[static_cast<size_t>(i)])
                sum += e.value * v[e.column];
        out[i] = sum;
    }
}

void SparseMatrix::getMatrixTimesVector(const NVector& v, NVector& out) const
{
    if (&out == &v || out.size() != m_size)
    {
        NVector product(m_size);
        multiplyRows(v, product.data());
        out = product;
        return;
    }
    multiplyRows(v, out.data());
}

void SparseMatrix::getVectorMinusMatrixTimesVector(const NVector& b, const NVector& x,
                                                   NVector& out) const
{
    NVector product(m_size);
    multiplyRows(x, product.data());
    if (out.size() != m_size)
        out = NVector(m_size);
    for (int i = 0; i < m_size; ++i)
        out[i] = b[i] - product[i];
}

double SparseMatrix::vectorDotMatrixTimesVector(const NVector& u, const NVector& v) const
{
    NVector product(m_size);
    multiplyRows(v, product.data());
    double sum = 0.0;
    for (int i = 0; i < m_size; ++i)
        sum += u[i] * product[i];
    return sum;
}

void SparseMatrix::transpose(SparseMatrix& t) const
{
    if (&t == this)
    {
        SparseMatrix transposed;
        transpose(transposed);
        t = transposed;
        return;
    }
    t.setToZero(m_size);
    for (int i = 0; i < m_size; ++i)
        for (const SparseElement& e : m_rows[static_cast<size_t>(i)])
        {
            // Rows of t fill in increasing i, so only its last entry can already have column
            // i: checking it alone is the same as addToElement's backward search.
            ox::vector<SparseElement>& target = t.m_rows[static_cast<size_t>(e.column)];
            if (!target.empty() && target.back().column == i)
                target.back().value += e.value;
            else
                target.emplace_back(i, e.value);
        }
    ++t.m_version;
}

void SparseMatrix::getUpperTriangular(SparseMatrix& u) const
{
    const int rows = std::min(m_size, u.size());
    for (int i = 0; i < rows; ++i)
    {
        // Indexed, with the length taken first, so that u may be this matrix; the target row
        // grows once.
        const size_t length = m_rows[static_cast<size_t>(i)].size();
        size_t upperCount = 0;
        for (const SparseElement& e : m_rows[static_cast<size_t>(i)])
            upperCount += e.column >= i && e.column < u.size();
        ox::vector<SparseElement>& target = u.m_rows[static_cast<size_t>(i)];
        target.reserve(target.size() + upperCount);
        for (size_t k = 0; k < length; ++k)
        {
            const SparseElement e = m_rows[static_cast<size_t>(i)][k];
            if (e.column >= i && e.column < u.size())
                target.push_back(e);
        }
    }
    ++u.m_version;
}

bool SparseMatrix::choleskyFactorization(SparseMatrix& l) const
{
    if (&l == this)
    {
        SparseMatrix factor;
        const bool result = choleskyFactorization(factor);
        l = factor;
        return result;
    }
    l.setToZero(m_size);
    for (int i = 0; i < m_size; ++i)
        for (int j = i; j < m_size; ++j)
        {
            double s = getElement(i, j);
            for (int k = i - 1; k >= 0; --k)
                s -= l.getElement(j, k) * l.getElement(i, k);
            if (i == j)
            {
                if (!(s > 0.0))
                    return false;
                l.addToElement(i, i, std::sqrt(s));
            }
            else
                l.addToElement(j, i, s / l.getElement(i, i));
        }
    return true;
}

bool SparseMatrix::isPositiveDefinite() const
{
    SparseMatrix scratch(0);
    return choleskyFactorization(scratch);
}

bool SparseMatrix::isSymmetric() const
{
    for (int i = 0; i < m_size; ++i)
    {
        const ox::vector<SparseElement>& entries = m_rows[static_cast<size_t>(i)];
        for (auto e = entries.rbegin(); e != entries.rend(); ++e)
            if (e->column != i && !(1e-6 > std::fabs(e->value - getElement(e->column, i))))
                return false;
    }
    return true;
}

bool SparseMatrix::isMMatrix() const
{
    if (m_size < 1)
        return false;
    bool somePositiveRowSum = false;
    for (int i = 0; i < m_size; ++i)
    {
        const ox::vector<SparseElement>& entries = m_rows[static_cast<size_t>(i)];
        if (entries.empty())
            continue;
        double sum = 0.0;
        for (const SparseElement& e : entries)
        {
            const bool signOk = e.column == i ? e.value > 0.0 : e.value <= 0.0;
            if (!signOk)
                return false;
            sum += e.value;
        }
        if (!(sum >= 0.0))
            return false;
        somePositiveRowSum |= sum > 0.0;
    }
    return somePositiveRowSum;
}

void SparseMatrix::dumpRowLengths() const
{
    size_t longest = 0;
    for (const ox::vector<SparseElement>& entries : m_rows)
        longest = std::max(longest, entries.size());
    ox::vector<int> counts(m_size > 0 ? longest + 1 : 0, 0);
    for (const ox::vector<SparseElement>& entries : m_rows)
        ++counts[entries.size()];
    std::cout << "  total rows: " << m_size << std::endl;
    for (size_t length = 0; length < counts.size(); ++length)
        if (counts[length] > 0)
            std::cout << "  length " << length << ": " << counts[length] << " rows" << std::endl;
}

oxString::CString SparseMatrix::toMmaString() const
{
    std::string text = "{\n";
    ox::vector<double> dense(static_cast<size_t>(m_size));
    for (int i = 0; i < m_size; ++i)
    {
        scatterRow(m_rows[static_cast<size_t>(i)], dense);
        text += "{";
        for (int j = 0; j < m_size; ++j)
        {
            text += fixed10(dense[static_cast<size_t>(j)]);
            if (j + 1 < m_size)
                text += ",";
        }
        text += i + 1 < m_size ? "},\n" : "}\n";
    }
    text += "}";
    return oxString::CString(std::move(text));
}

std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix)
{
    const int n = matrix.size();
    ox::vector<double> dense(static_cast<size_t>(n));
    out << "SparseMatrix{";
    for (int i = 0; i < n; ++i)
    {
        scatterRow(matrix.row(i), dense);
        out << std::endl;
        for (double value : dense)
            out << (value < 0.0 ? " " : "  ") << fixed10(value);
    }
    out << "\n}";
    return out;
}
}  // namespace oxGeom
