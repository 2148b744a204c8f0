// ConjugateGradient against Eigen's ConjugateGradient on the same systems: the cotangent
// Laplacian of a bumpy triangulated height field plus a small diagonal shift (a screened
// Poisson / implicit smoothing system, symmetric positive definite), 10^4 to 10^6 unknowns,
// same right-hand side, same relative tolerance, same preconditioner kind (none with Eigen's
// Identity, diagonal, incomplete Cholesky in natural order). Each benchmark iteration solves
// with both; counters report steps, seconds and "vs_eigen" = Eigen's time per step / ours
// (above 1 means the library is faster per step). BM_icBuild compares building the incomplete
// Cholesky factor. Times are CPU seconds of the benchmark thread. Eigen is used when its
// headers are on the include path (the "eigen" peer).

#include <oxGeom/ConjugateGradient.h>
#include <oxGeom/oxGeom.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <ctime>
#include <map>
#include <memory>
#include <vector>

#if __has_include(<Eigen/Sparse>)
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/Sparse>
#define TRELM_BENCH_HAS_EIGEN 1
#endif

namespace
{
// CPU time of the calling thread: both solvers run single-threaded on it, and time slices lost
// to other processes on a shared machine do not count.
struct Clock
{
    using time_point = double;
    static double now()
    {
        timespec t;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
    }
};

double seconds(double a, double b)
{
    return b - a;
}

struct Entry
{
    int i, j;
    double v;
};

// The system's entries in assembly order (per triangle edge, then the shift), as a mesher's
// caller adds them: a triangular lattice of about `unknowns` vertices over a height field.
struct LaplacianSystem
{
    int n = 0;
    std::vector<Entry> entries;
    std::vector<double> b;

    explicit LaplacianSystem(int unknowns)
    {
        const int nx = static_cast<int>(std::sqrt(static_cast<double>(unknowns)));
        const int ny = unknowns / nx;
        n = nx * ny;
        std::vector<double> p(3 * static_cast<size_t>(n));
        for (int y = 0; y < ny; ++y)
            for (int x = 0; x < nx; ++x)
            {
                const size_t v = static_cast<size_t>(y) * nx + x;
                p[3 * v] = x + 0.5 * (y & 1);
                p[3 * v + 1] = y * 0.8660254037844386;
                p[3 * v + 2] = 0.4 * std::sin(0.05 * x) * std::cos(0.07 * y);
            }
        std::vector<double> diagonal(static_cast<size_t>(n), 0.0);
        auto cotangentEdge = [&](int a, int b, int c)
        {
            // The angle at c faces edge (a, b).
            double u[3], w[3];
            for (int k = 0; k < 3; ++k)
            {
                u[k] = p[3 * a + k] - p[3 * c + k];
                w[k] = p[3 * b + k] - p[3 * c + k];
            }
            const double dot = u[0] * w[0] + u[1] * w[1] + u[2] * w[2];
            const double cx = u[1] * w[2] - u[2] * w[1], cy = u[2] * w[0] - u[0] * w[2],
                         cz = u[0] * w[1] - u[1] * w[0];
            const double weight = 0.5 * dot / std::sqrt(cx * cx + cy * cy + cz * cz);
            entries.push_back({a, b, -weight});
            entries.push_back({b, a, -weight});
            entries.push_back({a, a, weight});
            entries.push_back({b, b, weight});
            diagonal[a] += weight;
            diagonal[b] += weight;
        };
        auto triangle = [&](int a, int b, int c)
        {
            cotangentEdge(a, b, c);
            cotangentEdge(b, c, a);
            cotangentEdge(c, a, b);
        };
        for (int y = 0; y + 1 < ny; ++y)
            for (int x = 0; x + 1 < nx; ++x)
            {
                const int a = y * nx + x, b = a + 1, c = a + nx, d = c + 1;
                if (y & 1)
                {
                    triangle(a, d, c);
                    triangle(a, b, d);
                }
                else
                {
                    triangle(a, b, c);
                    triangle(b, d, c);
                }
            }
        double mean = 0;
        for (double d : diagonal)
            mean += d;
        mean /= n;
        for (int i = 0; i < n; ++i)
            entries.push_back({i, i, 1e-3 * 2 * mean});
        b.resize(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i)
            b[i] = std::sin(0.001 * i) + 0.3 * std::cos(0.37 * i);
    }

    void fill(oxGeom::SparseMatrix& a) const
    {
        a.setToZero(n);
        for (const Entry& e : entries)
            a.addToElement(e.i, e.j, e.v);
    }
};

const LaplacianSystem& systemOf(int unknowns)
{
    static std::map<int, std::unique_ptr<LaplacianSystem>> systems;
    auto& slot = systems[unknowns];
    if (!slot)
        slot = std::make_unique<LaplacianSystem>(unknowns);
    return *slot;
}

enum Kind
{
    None,
    Diagonal,
    Cholesky
};

const double tolerance = 1e-8;
// Breakdown threshold: far below any r.z or p.Ap of these systems, so that only the tolerance
// stops a solve, as in Eigen.
const double breakdown = 1e-300;

// One solve with the library; returns seconds of initialize + steps, and the steps taken.
double solveWithLibrary(oxGeom::ConjugateGradient& cg, const LaplacianSystem& system, int& steps)
{
    oxGeom::NVector b(system.n);
    for (int i = 0; i < system.n; ++i)
        b[i] = system.b[i];
    const auto t0 = Clock::now();
    cg.initialize(b, oxGeom::NVector(system.n));
    oxGeom::ConjugateGradient::Status status = oxGeom::ConjugateGradient::Continue;
    while (!status.isDone())
        status = cg.iterate(tolerance, breakdown);
    const auto t1 = Clock::now();
    // The call that reports convergence takes no step.
    steps = cg.getIteration() - (status.code() == oxGeom::ConjugateGradient::Converged ? 1 : 0);
    return seconds(t0, t1);
}

#ifdef TRELM_BENCH_HAS_EIGEN
using EigenMatrix = Eigen::SparseMatrix<double>;

EigenMatrix eigenMatrixOf(const LaplacianSystem& system)
{
    std::vector<Eigen::Triplet<double>> triplets;
    triplets.reserve(system.entries.size());
    for (const Entry& e : system.entries)
        triplets.emplace_back(e.i, e.j, e.v);
    EigenMatrix a(system.n, system.n);
    a.setFromTriplets(triplets.begin(), triplets.end());
    return a;
}

template <class Preconditioner>
double solveWithEigen(const EigenMatrix& a, const LaplacianSystem& system, int& steps)
{
    const Eigen::Map<const Eigen::VectorXd> b(system.b.data(), system.n);
    Eigen::ConjugateGradient<EigenMatrix, Eigen::Lower | Eigen::Upper, Preconditioner> cg;
    cg.setTolerance(tolerance);
    cg.compute(a);
    const auto t0 = Clock::now();
    Eigen::VectorXd x = cg.solve(b);
    const auto t1 = Clock::now();
    benchmark::DoNotOptimize(x.data());
    // Eigen counts a step only once it has passed its convergence test, so the step that
    // converges is not counted; add it back so that both counts are numbers of updates of x.
    steps = static_cast<int>(cg.iterations()) + (cg.info() == Eigen::Success ? 1 : 0);
    return seconds(t0, t1);
}

double solveWithEigen(Kind kind, const EigenMatrix& a, const LaplacianSystem& system, int& steps)
{
    if (kind == None)
        return solveWithEigen<Eigen::IdentityPreconditioner>(a, system, steps);
    if (kind == Diagonal)
        return solveWithEigen<Eigen::DiagonalPreconditioner<double>>(a, system, steps);
    return solveWithEigen<
        Eigen::IncompleteCholesky<double, Eigen::Lower, Eigen::NaturalOrdering<int>>>(a, system,
                                                                                      steps);
}
#endif

void BM_ConjugateGradient(benchmark::State& state)
{
    const LaplacianSystem& system = systemOf(static_cast<int>(state.range(0)));
    const Kind kind = static_cast<Kind>(state.range(1));
    oxGeom::ConjugateGradient cg(system.n);
    system.fill(cg.A());
    if (kind == Diagonal)
        cg.initDiagonalPreconditioner();
    if (kind == Cholesky)
        cg.initIncompleteCholeskyPreconditioner();
#ifdef TRELM_BENCH_HAS_EIGEN
    const EigenMatrix eigenA = eigenMatrixOf(system);
    double eigenSeconds = 0;
    int eigenSteps = 0;
#endif
    double librarySeconds = 0;
    int librarySteps = 0;
    for (auto _ : state)
    {
        const double s = solveWithLibrary(cg, system, librarySteps);
        librarySeconds += s;
        state.SetIterationTime(s);
#ifdef TRELM_BENCH_HAS_EIGEN
        eigenSeconds += solveWithEigen(kind, eigenA, system, eigenSteps);
#endif
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["steps"] = librarySteps;
    state.counters["s_per_solve"] = librarySeconds / runs;
    state.counters["us_per_step"] = 1e6 * librarySeconds / runs / librarySteps;
#ifdef TRELM_BENCH_HAS_EIGEN
    state.counters["eigen_steps"] = eigenSteps;
    state.counters["eigen_s_per_solve"] = eigenSeconds / runs;
    state.counters["vs_eigen"] =
        (eigenSeconds / eigenSteps) / (librarySeconds / std::max(librarySteps, 1));
#endif
}

void BM_icBuild(benchmark::State& state)
{
    const LaplacianSystem& system = systemOf(static_cast<int>(state.range(0)));
    oxGeom::SparseMatrix a;
    system.fill(a);
#ifdef TRELM_BENCH_HAS_EIGEN
    const EigenMatrix eigenA = eigenMatrixOf(system);
    double eigenSeconds = 0;
#endif
    double librarySeconds = 0;
    for (auto _ : state)
    {
        const auto t0 = Clock::now();
        {
            oxGeom::IncompleteCholeskyPreconditioner ic(a);
            benchmark::DoNotOptimize(&ic);
        }
        const auto t1 = Clock::now();
        librarySeconds += seconds(t0, t1);
        state.SetIterationTime(seconds(t0, t1));
#ifdef TRELM_BENCH_HAS_EIGEN
        const auto t2 = Clock::now();
        {
            Eigen::IncompleteCholesky<double, Eigen::Lower, Eigen::NaturalOrdering<int>> ic;
            ic.compute(eigenA);
            benchmark::DoNotOptimize(&ic);
        }
        eigenSeconds += seconds(t2, Clock::now());
#endif
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["ns_per_nnz"] = 1e9 * librarySeconds / runs / a.nnz();
#ifdef TRELM_BENCH_HAS_EIGEN
    state.counters["vs_eigen"] = eigenSeconds / librarySeconds;
#endif
}

void solveSizes(benchmark::internal::Benchmark* b)
{
    for (int unknowns : {10000, 100000, 1000000})
        for (int kind : {None, Diagonal, Cholesky})
            b->Args({unknowns, kind});
    b->ArgNames({"n", "precond"})->UseManualTime()->Unit(benchmark::kMillisecond);
}

void buildSizes(benchmark::internal::Benchmark* b)
{
    for (int unknowns : {10000, 100000, 1000000})
        b->Args({unknowns});
    b->ArgNames({"n"})->UseManualTime()->Unit(benchmark::kMillisecond);
}
}  // namespace

BENCHMARK(BM_ConjugateGradient)->Apply(solveSizes);
BENCHMARK(BM_icBuild)->Apply(buildSizes);

BENCHMARK_MAIN();
