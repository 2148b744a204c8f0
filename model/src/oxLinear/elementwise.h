#pragma once
// Element-by-element comparison of the coefficient arrays of matrices, shared by
// the affine and the projective matrix types (private to the oxLinear sources).

#include <cmath>

namespace oxLinear
{
namespace detail
{
/// True when every |a[i] - b[i]| <= tol, compared in double; a NaN fails.
template <class A, class B>
bool elementsWithin(const A* a, const B* b, int count, double tol)
{
    for (int i = 0; i < count; ++i)
    {
        if (!(std::fabs(double(a[i]) - double(b[i])) <= tol))
            return false;
    }
    return true;
}

/// True when every a[i] == b[i]; a NaN fails.
template <class T>
bool elementsEqual(const T* a, const T* b, int count)
{
    for (int i = 0; i < count; ++i)
    {
        if (!(a[i] == b[i]))
            return false;
    }
    return true;
}
}  // namespace detail
}  // namespace oxLinear
