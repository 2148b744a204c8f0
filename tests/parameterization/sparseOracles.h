#pragma once
// Shared by the sparse solver tests: random sparse symmetric matrices assembled in a shuffled
// order, their dense copies, and answers computed densely, without the code under test.

#include <oxGeom/SparseMatrix.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

namespace oracle
{
using Dense = std::vector<std::vector<double>>;

/// A weighted graph Laplacian on n unknowns plus `shift` on the diagonal: symmetric, and
/// positive definite for shift > 0. Edges join random pairs (and, with `chain`, i and i+1 so
/// that every row couples to the next); the entries are added in a shuffled order, some as two
/// halves, and a few explicit zeros are stored, so rows are unsorted and carry zeros.
inline void randomLaplacian(int n, double shift, unsigned seed, oxGeom::SparseMatrix& a,
                            bool chain = true)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> weight(0.1, 2.0);
    std::uniform_int_distribution<int> vertex(0, n - 1);
    struct Add
    {
        int i, j;
        double v;
    };
    std::vector<Add> adds;
    auto edge = [&](int i, int j)
    {
        const double w = weight(random);
        adds.push_back({i, i, w});
        adds.push_back({j, j, w / 2});
        adds.push_back({j, j, w / 2});
        adds.push_back({i, j, -w});
        adds.push_back({j, i, -w});
    };
    for (int i = 0; chain && i + 1 < n; ++i)
        edge(i, i + 1);
    for (int e = 0; e < n; ++e)
    {
        const int i = vertex(random), j = vertex(random);
        if (i != j)
            edge(i, j);
    }
    for (int i = 0; i < n; ++i)
        adds.push_back({i, i, shift});
    for (int z = 0; z < n / 4; ++z)
    {
        const int i = vertex(random), j = vertex(random);
        adds.push_back({i, j, 0.0});
        adds.push_back({j, i, 0.0});
    }
    std::shuffle(adds.begin(), adds.end(), random);
    a.setToZero(n);
    for (const Add& add : adds)
        a.addToElement(add.i, add.j, add.v);
}

inline Dense dense(const oxGeom::SparseMatrix& a)
{
    Dense d(a.size(), std::vector<double>(a.size(), 0.0));
    for (int i = 0; i < a.size(); ++i)
        for (const oxGeom::SparseElement& e : a.row(i))
            d[i][e.column] += e.value;
    return d;
}

/// x with A x = b by Gaussian elimination with partial pivoting in long double.
inline std::vector<double> solveDense(Dense a, std::vector<double> b)
{
    const size_t n = b.size();
    std::vector<std::vector<long double>> m(n, std::vector<long double>(n + 1));
    for (size_t i = 0; i < n; ++i)
    {
        for (size_t j = 0; j < n; ++j)
            m[i][j] = a[i][j];
        m[i][n] = b[i];
    }
    for (size_t c = 0; c < n; ++c)
    {
        size_t pivot = c;
        for (size_t r = c + 1; r < n; ++r)
            if (std::fabs(m[r][c]) > std::fabs(m[pivot][c]))
                pivot = r;
        std::swap(m[c], m[pivot]);
        for (size_t r = c + 1; r < n; ++r)
        {
            const long double f = m[r][c] / m[c][c];
            for (size_t j = c; j <= n; ++j)
                m[r][j] -= f * m[c][j];
        }
    }
    std::vector<double> x(n);
    for (size_t i = n; i-- > 0;)
    {
        long double s = m[i][n];
        for (size_t j = i + 1; j < n; ++j)
            s -= m[i][j] * x[j];
        x[i] = static_cast<double>(s / m[i][i]);
    }
    return x;
}

/// Equal bit for bit, or both NaN.
inline bool sameValue(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}
}  // namespace oracle
