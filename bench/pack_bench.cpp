// pack on sets of 10 to 1000 random chart rectangles (sizes spread like the charts of a cut
// mesh: a few large, many small, aspect ratios up to 4:1). Reports the time of the whole
// shrinking packer and the coverage of the result: the summed area of the placed rectangles
// inside the unit square.

#include <oxGeom/oxGeom.h>
#include <oxGeom/pack.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

namespace
{
std::vector<oxLinear::Range2d> randomCharts(int count)
{
    std::mt19937 random(static_cast<unsigned>(count));
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<oxLinear::Range2d> charts;
    for (int i = 0; i < count; ++i)
    {
        const double size = 0.02 + 0.3 * std::pow(unit(random), 3.0);
        const double aspect = 0.25 + 0.75 * unit(random);
        const bool wide = unit(random) < 0.5;
        const double w = wide ? size : size * aspect, h = wide ? size * aspect : size;
        const double x = unit(random), y = unit(random);
        charts.emplace_back(oxLinear::Point2(x, y), oxLinear::Point2(x + w, y + h));
    }
    return charts;
}

void BM_pack(benchmark::State& state)
{
    const std::vector<oxLinear::Range2d> charts = randomCharts(static_cast<int>(state.range(0)));
    std::vector<oxLinear::Range2d> packed;
    for (auto _ : state)
    {
        packed = charts;
        oxGeom::pack(packed, 0);
        benchmark::DoNotOptimize(packed.data());
    }
    double coverage = 0;
    for (const oxLinear::Range2d& r : packed)
        coverage += r.size()[0] * r.size()[1];
    state.counters["coverage"] = coverage;
}
}  // namespace

BENCHMARK(BM_pack)->Arg(10)->Arg(100)->Arg(1000)->ArgName("charts")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
