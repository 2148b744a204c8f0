#pragma once
// Seeded random values and element-wise matrix checks shared by the oxLinear tests.

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
        for (;;)
        {
            const Vector v = vector();
            if (v.length2() > 0.01)
                return v;
        }
    }
    /// A random affine matrix with a well-conditioned linear part.
    AffineMatrix matrix()
    {
        for (;;)
        {
            const AffineMatrix m(vector(2.0), vector(2.0), vector(2.0), vector(10.0));
            if (std::fabs(m.det3x3()) > 0.2)
                return m;
        }
    }

private:
    std::mt19937 m_engine;
};

inline ::testing::AssertionResult nearMatrix(const AffineMatrix& a, const AffineMatrix& b,
                                             double tol)
{
    if (equivalent(a, b, tol))
        return ::testing::AssertionSuccess();
    auto failure = ::testing::AssertionFailure();
    for (int r = 0; r < 4; ++r)
        failure << "\n  row " << r << ": (" << a[r][0] << ", " << a[r][1] << ", " << a[r][2]
                << ") vs (" << b[r][0] << ", " << b[r][1] << ", " << b[r][2] << ")";
    return failure;
}

inline ::testing::AssertionResult nearVector(const Vector& a, const Vector& b, double tol)
{
    if (equivalent(a, b, tol))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << a[0] << ", " << a[1] << ", " << a[2] << ") vs ("
                                         << b[0] << ", " << b[1] << ", " << b[2] << ")";
}

inline ::testing::AssertionResult nearPoint(const Point& a, const Point& b, double tol)
{
    return nearVector(Vector(a), Vector(b), tol);
}

/// True when the three linear rows are unit length and mutually perpendicular
/// and form a right-handed (proper) rotation.
inline ::testing::AssertionResult isRotation(const AffineMatrix& m, double tol)
{
    for (int i = 0; i < 3; ++i)
    {
        if (std::fabs(m.getRow(i).length() - 1.0) > tol)
            return ::testing::AssertionFailure() << "row " << i << " not unit";
        for (int j = i + 1; j < 3; ++j)
        {
            if (std::fabs(dot(m.getRow(i), m.getRow(j))) > tol)
                return ::testing::AssertionFailure()
                       << "rows " << i << ", " << j << " not perpendicular";
        }
    }
    if (std::fabs(m.det3x3() - 1.0) > tol)
        return ::testing::AssertionFailure() << "det " << m.det3x3();
    return ::testing::AssertionSuccess();
}
}  // namespace linearTest
