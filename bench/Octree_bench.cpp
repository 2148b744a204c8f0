// Octree construction and walks on scan-like point sets (a wavy height field
// with jitter, numbered row by row as a scanner would).
// Build: against the floor of any sort-based octree build, 30-bit Morton codes
// plus std::sort of (code, index) pairs over the same points; "vs_mortonSort"
// is sort time / build time (above 1: the library is faster).
// Walks: rays front to back through OctreeRayIntersectIt, and nearest-vertex
// queries through OctreeClosestIt with the usual pruning.

#include <oxGeom/oxGeom.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

std::vector<float> scanPoints(int count)
{
    const int side = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(count))));
    std::mt19937 random(5);
    std::uniform_real_distribution<float> jitter(-0.3f, 0.3f);
    std::vector<float> points;
    points.reserve(3 * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
    {
        const float x = static_cast<float>(i % side) + jitter(random);
        const float y = static_cast<float>(i / side) + jitter(random);
        points.insert(points.end(),
                      {x, y, 0.05f * side * std::sin(0.01f * x) * std::cos(0.013f * y)});
    }
    return points;
}

const std::vector<float>& cachedPoints(int count)
{
    static std::vector<std::pair<int, std::vector<float>>> cache;
    for (const auto& entry : cache)
        if (entry.first == count)
            return entry.second;
    cache.emplace_back(count, scanPoints(count));
    return cache.back().second;
}

oxGeom::BoundingBox boxOf(const std::vector<float>& points)
{
    oxGeom::BoundingBox box;
    for (std::size_t i = 0; i < points.size(); i += 3)
        box.extend(&points[i]);
    return box;
}

std::uint32_t spread10(std::uint32_t v)
{
    v &= 0x3ff;
    v = (v | (v << 16)) & 0x030000ff;
    v = (v | (v << 8)) & 0x0300f00f;
    v = (v | (v << 4)) & 0x030c30c3;
    return (v | (v << 2)) & 0x09249249;
}

/// Morton codes on a 1024^3 grid over the box, sorted with their indices.
std::vector<std::pair<std::uint32_t, int>> mortonSort(const std::vector<float>& points,
                                                      const oxGeom::BoundingBox& box)
{
    const int n = static_cast<int>(points.size() / 3);
    std::vector<std::pair<std::uint32_t, int>> keys(static_cast<std::size_t>(n));
    float scale[3];
    for (int axis = 0; axis < 3; ++axis)
        scale[axis] = 1023.0f / std::max(box[axis + 3] - box[axis], 1e-30f);
    for (int i = 0; i < n; ++i)
    {
        std::uint32_t code = 0;
        for (int axis = 0; axis < 3; ++axis)
            code |= spread10(static_cast<std::uint32_t>((points[3 * i + axis] - box[axis]) *
                                                        scale[axis]))
                    << axis;
        keys[static_cast<std::size_t>(i)] = {code, i};
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

void BM_OctreeBuild(benchmark::State& state)
{
    const std::vector<float>& points = cachedPoints(static_cast<int>(state.range(0)));
    const oxGeom::BoundingBox box = boxOf(points);
    const int n = static_cast<int>(points.size() / 3);
    double library = 0.0, baseline = 0.0;
    for (auto _ : state)
    {
        const auto t0 = Clock::now();
        oxGeom::Octree octree(n, points.data(), box, true, 16);
        const auto t1 = Clock::now();
        benchmark::DoNotOptimize(mortonSort(points, box).data());
        const auto t2 = Clock::now();
        library += std::chrono::duration<double>(t1 - t0).count();
        baseline += std::chrono::duration<double>(t2 - t1).count();
        state.counters["leaves"] = octree.getNumLeaves();
        state.counters["depth"] = octree.getMaxDepth();
    }
    state.counters["points_per_s"] =
        benchmark::Counter(static_cast<double>(n) * state.iterations() / library);
    state.counters["vs_mortonSort"] = baseline / library;
}
BENCHMARK(BM_OctreeBuild)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Arg(10000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

/// 1000 queries over an octree of `count` scan points: rays from above
/// towards random points of the surface, or points near the surface.
void BM_OctreeWalk(benchmark::State& state)
{
    const std::vector<float>& points = cachedPoints(static_cast<int>(state.range(0)));
    const bool rays = state.range(1) == 0;
    const int n = static_cast<int>(points.size() / 3);
    const oxGeom::Octree octree(n, points.data(), boxOf(points), true, 16);
    std::mt19937 random(9);
    std::vector<oxLinear::PointFlt> origins;
    std::vector<oxLinear::Vector> directions;
    for (int q = 0; q < 1000; ++q)
    {
        const float* target = &points[3 * (random() % static_cast<unsigned>(n))];
        origins.emplace_back(target[0] + 3.0f, target[1] - 2.0f, target[2] + (rays ? 50.0f : 0.5f));
        directions.emplace_back(target[0] - origins.back()[0], target[1] - origins.back()[1],
                                target[2] - origins.back()[2]);
    }
    oxGeom::OctreeRayIntersectIt rayIt(octree);
    oxGeom::OctreeClosestIt closestIt;
    long leaves = 0;
    for (auto _ : state)
        for (int q = 0; q < 1000; ++q)
            if (rays)
            {
                // A tracer stops at the first leaf holding a hit; take the first 8.
                const oxGeom::Ray ray(origins[q], directions[q]);
                rayIt.reset(ray);
                for (int k = 0; k < 8 && rayIt.valid(); ++k, rayIt.next())
                    ++leaves;
            }
            else
            {
                const oxLinear::Point p(origins[q]);
                double best = 1e300;
                for (closestIt.reset(octree, p);
                     closestIt.valid() && closestIt.getDistance2() < best;
                     closestIt.next(), ++leaves)
                    for (int k = closestIt.get().getPointBegin(); k < closestIt.get().getPointEnd();
                         ++k)
                    {
                        const float* v = &points[3 * octree.getPointIndices()[k]];
                        best = std::min(best,
                                        oxLinear::distance2(p, oxLinear::Point(v[0], v[1], v[2])));
                    }
            }
    state.counters["queries_per_s"] =
        benchmark::Counter(1000.0 * state.iterations(), benchmark::Counter::kIsRate);
    state.counters["leaves_per_query"] =
        static_cast<double>(leaves) / (1000.0 * state.iterations());
}
BENCHMARK(BM_OctreeWalk)
    ->ArgNames({"points", "closest"})
    ->Args({100000, 0})
    ->Args({100000, 1})
    ->Args({1000000, 0})
    ->Args({1000000, 1})
    ->Unit(benchmark::kMillisecond);
}  // namespace

BENCHMARK_MAIN();
