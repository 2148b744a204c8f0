// Thread pool: every task exactly once in protocol order for several thread
// counts, concurrent and nested runs, exceptions and the thread count.
// Suites are named ThreadPool* so they can run under ThreadSanitizer alone.

#include "oxUtil/ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

using oxUtil::ThreadPool;

namespace
{
long long sumBelow(int n)
{
    return static_cast<long long>(n) * (n - 1) / 2;
}

/// Sums 0..n-1 over the even slices and checks the protocol as it goes; can
/// run a nested sum on `nested` from every task and throw from task `throwAt`.
class SumAlg : public oxUtil::ThreadedAlg
{
public:
    explicit SumAlg(int n, ThreadPool* nested = nullptr, int throwAt = -1)
        : n(n), nested(nested), throwAt(throwAt)
    {
    }
    void initialize(int T) override
    {
        ++initializeCalls;
        calls = std::vector<std::atomic<int>>(T);
        partial.assign(T, 0);
    }
    void execute(int t, int T) override
    {
        if (initializeCalls != 1 || finalizeCalls != 0 || T != int(partial.size()) || t >= T)
            return void(broken = true);
        ++calls[t];
        int begin, end;
        getSlice(t, T, n, begin, end);
        for (int i = begin; i < end; ++i)
            partial[t] += i;
        if (nested)
        {
            SumAlg inner(n + t);
            nested->run(inner);
            broken = broken || inner.total() != sumBelow(n + t);
        }
        if (t == throwAt)
            throw std::runtime_error("task failed");
    }
    void finalize() override
    {
        ++finalizeCalls;
        for (const std::atomic<int>& c : calls)
            broken = broken || c != 1;
    }
    long long total() const { return std::accumulate(partial.begin(), partial.end(), 0LL); }

    int n;
    ThreadPool* nested;
    int throwAt;
    int initializeCalls = 0, finalizeCalls = 0;
    std::atomic<bool> broken{false};
    std::vector<std::atomic<int>> calls;
    std::vector<long long> partial;
};
}  // namespace

TEST(ThreadPool, everyTaskRunsOnceAndResultIsIndependentOfThreadCount)
{
    const int moreThanCores = 2 * int(std::thread::hardware_concurrency()) + 3;
    for (int T : {1, 2, 3, 7, moreThanCores})
    {
        ThreadPool pool(T);
        for (int n : {0, 5, 1000})
        {
            SumAlg alg(n);
            pool.run(alg);
            EXPECT_EQ(alg.finalizeCalls, 1);
            EXPECT_EQ(int(alg.calls.size()), T);
            EXPECT_FALSE(alg.broken) << "T=" << T << " n=" << n;
            EXPECT_EQ(alg.total(), sumBelow(n)) << "T=" << T << " n=" << n;
        }
    }
}

TEST(ThreadPool, concurrentHostRunsWithNestedRunsComplete)
{
    ThreadPool pool(3);
    std::atomic<int> failures{0};
    std::vector<std::thread> hosts;
    for (int h = 0; h < 4; ++h)
        hosts.emplace_back(
            [&pool, &failures, h]
            {
                for (int repeat = 0; repeat < 50; ++repeat)
                {
                    SumAlg alg(40 + h + repeat, repeat % 2 ? &pool : nullptr);
                    pool.run(alg);
                    failures += alg.broken || alg.total() != sumBelow(alg.n);
                }
            });
    for (std::thread& host : hosts)
        host.join();
    EXPECT_EQ(failures, 0);
}

TEST(ThreadPool, exceptionIsRethrownAfterAllTasksAndSkipsFinalize)
{
    ThreadPool pool(4);
    SumAlg alg(100, nullptr, 1);
    EXPECT_THROW(pool.run(alg), std::runtime_error);
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(alg.calls[t], 1) << "task " << t;
    EXPECT_EQ(alg.finalizeCalls, 0);

    SumAlg after(100);
    pool.run(after);
    EXPECT_EQ(after.total(), sumBelow(100));
}

TEST(ThreadPool, threadCountIsSetClampedAndDefaulted)
{
    ThreadPool pool(2);
    pool.setNumThreads(5);
    SumAlg five(10);
    pool.run(five);
    EXPECT_EQ(five.calls.size(), 5u);
    pool.setNumThreads(0);
    EXPECT_EQ(pool.getNumThreads(), 1);
    pool.setNumThreads(100000);
    EXPECT_EQ(pool.getNumThreads(), ThreadPool::maxThreads);

    ThreadPool& single = ThreadPool::getSingleThreadedPool();
    single.setNumThreads(4);
    EXPECT_EQ(single.getNumThreads(), 1);
    const int hardware = int(std::thread::hardware_concurrency());
    EXPECT_EQ(ThreadPool::get().getNumThreads(), hardware > 0 ? hardware : 1);
}
