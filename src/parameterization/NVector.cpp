// Dense vectors of doubles for the sparse solver. Sums run from the last index
// down to the first, a fixed order that makes every solve reproducible bit for
// bit; operands shorter than the result read as zeros past their end.

#include <oxGeom/SparseMatrix.h>

#include <cmath>
#include <limits>
#include <ostream>

namespace oxGeom
{
NVector::NVector(int n) : m_elements(n > 0 ? static_cast<size_t>(n) : 0, 0.0) {}

NVector::~NVector() = default;

NVector& NVector::operator=(const NVector& other)
{
    if (this != &other)
        m_elements = other.m_elements;
    return *this;
}

double NVector::dot(const NVector& other) const
{
    const int n = size();
    const double* a = data();
    double sum = 0.0;
    if (other.size() >= n)
    {
        const double* b = other.data();
        for (int i = n - 1; i >= 0; --i)
            sum += a[i] * b[i];
    }
    else
        for (int i = n - 1; i >= 0; --i)
            sum += a[i] * other[i];
    return sum;
}

double NVector::infinityNorm() const
{
    double largest = 0.0;
    for (double element : m_elements)
    {
        const double magnitude = std::fabs(element);
        if (std::isnan(magnitude))
            return std::numeric_limits<double>::quiet_NaN();
        if (magnitude > largest)
            largest = magnitude;
    }
    return largest;
}

void NVector::setToVectorPlusScalarTimesVector(const NVector& a, double s, const NVector& c)
{
    const int n = size();
    double* out = data();
    if (a.size() >= n && c.size() >= n)
    {
        // Element-wise, so `a` or `c` may be this vector.
        const double* x = a.data();
        const double* y = c.data();
        for (int i = n - 1; i >= 0; --i)
            out[i] = x[i] + s * y[i];
    }
    else
        for (int i = n - 1; i >= 0; --i)
            out[i] = a[i] + s * c[i];
}

std::ostream& operator<<(std::ostream& out, const NVector& vector)
{
    out << "(";
    for (int i = 0; i < vector.size(); ++i)
        out << vector[i] << " ";
    out << ")";
    return out;
}
}  // namespace oxGeom
