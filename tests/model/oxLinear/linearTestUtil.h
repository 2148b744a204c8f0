#pragma once
// Seeded random values and tolerance checks shared by the oxLinear tests.

#include <oxLinear/oxLinear.h>

#include <gtest/gtest.h>

#include <random>

namespace linearTest
{
using namespace oxLinear;

/// Deterministic source of random values in [-range, range].
class Random
{
public:
    explicit Random(unsigned seed) : m_engine(seed) {}
    double scalar(double range = 1.0)
    {
        return std::uniform_real_distribution<double>(-range, range)(m_engine);
    }
    Vector vector(double range = 1.0)
    {
        return Vector(scalar(range), scalar(range), scalar(range));
    }
    Point point(double range = 1.0) { return Point(vector(range)); }
    /// A random vector of length at least 0.1 (a usable direction).
    Vector direction()
    {
        Vector v = vector();
        while (v.length2() <= 0.01)
            v = vector();
        return v;
    }
    /// A random affine matrix with a well-conditioned linear part.
    AffineMatrix matrix()
    {
        AffineMatrix m;
        do
            m = AffineMatrix(vector(2.0), vector(2.0), vector(2.0), vector(10.0));
        while (std::fabs(m.det3x3()) <= 0.2);
        return m;
    }

private:
    std::mt19937 m_engine;
};

/// equivalent(a, b, tol) for any oxLinear value, printing both on failure.
template <class T>
::testing::AssertionResult near(const T& a, const T& b, double tol)
{
    if (equivalent(a, b, tol))
        return ::testing::AssertionSuccess();
    auto failure = ::testing::AssertionFailure();
    for (std::size_t i = 0; i < sizeof(T) / sizeof(*a.data()); ++i)
        failure << (i ? ", " : "") << a.data()[i] << " vs " << b.data()[i];
    return failure;
}

/// True when the linear rows are orthonormal with determinant +1.
inline bool isRotation(const AffineMatrix& m, double tol)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (std::fabs(dot(m.getRow(i), m.getRow(j)) - (i == j ? 1.0 : 0.0)) > tol)
                return false;
    return std::fabs(m.det3x3() - 1.0) <= tol;
}
}  // namespace linearTest
