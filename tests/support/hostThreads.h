#pragma once
// Host threads for the stress tests: several threads started together, so that their calls
// into the library overlap as much as the machine allows.

#include <atomic>
#include <thread>
#include <vector>

namespace testsupport
{
/// Runs `work(t)` for t in [0, threads) on as many host threads, released together once all
/// have started, and waits for all of them.
template <class Work>
void runTogether(int threads, Work work)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back(
            [&, t]
            {
                ready.fetch_add(1);
                while (ready.load() < threads)
                    std::this_thread::yield();
                work(t);
            });
    for (std::thread& thread : pool)
        thread.join();
}
}  // namespace testsupport
