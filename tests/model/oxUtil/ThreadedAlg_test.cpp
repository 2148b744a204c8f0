// Threaded-algorithm bases: the even range split, chunked hand-out, progress
// averaged over threads and cancellation seen by running threads. Suites that
// run threads are named ThreadPool* for the ThreadSanitizer job.

#include "oxUtil/ThreadedAlg.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "oxUtil/Progress.h"
#include "oxUtil/ThreadPool.h"

using oxUtil::Progress;
using oxUtil::ThreadedAlgBase;
using oxUtil::ThreadPool;

namespace
{
/// Runs `body(alg, t, T)` as thread t's share.
struct LambdaAlg : oxUtil::ThreadedAlg
{
    explicit LambdaAlg(std::function<void(LambdaAlg&, int, int)> body) : body(std::move(body)) {}
    void execute(int t, int T) override { body(*this, t, T); }
    std::function<void(LambdaAlg&, int, int)> body;
};

struct MarkChunksAlg : oxUtil::ThreadedChunkAlg
{
    MarkChunksAlg(int n, int chunk) : ThreadedChunkAlg(n, chunk), marks(n > 0 ? n : 0) {}
    void execute(int t, int) override
    {
        int begin, end;
        while (nextChunk(t, begin, end))
            for (int i = begin; i < end; ++i)
                ++marks[i];
    }
    std::vector<std::atomic<int>> marks;
};
}  // namespace

TEST(ThreadPoolSlices, getBeginIndexSlicesAreContiguousWithFirstRemainderLarger)
{
    for (int n = 0; n < 50; ++n)
        for (int T = 1; T < 10; ++T)
            for (int t = 0, begin = 0; t <= T; begin += n / T + (t < n % T ? 1 : 0), ++t)
                ASSERT_EQ(ThreadedAlgBase::getBeginIndex(t, T, n), begin)
                    << "n=" << n << " T=" << T << " t=" << t;
    EXPECT_EQ(ThreadedAlgBase::getBeginIndex(1, 0, 10), 0);
    EXPECT_EQ(ThreadedAlgBase::getBeginIndex(2, 4, -5), 0);
}

TEST(ThreadPoolChunkAlg, chunksCoverEveryItemOnce)
{
    for (int T : {1, 2, 3, 7})
        for (int chunk : {0, 7, 5000})
        {
            ThreadPool pool(T);
            MarkChunksAlg alg(1000, chunk);
            pool.run(alg);
            for (int i = 0; i < 1000; ++i)
                ASSERT_EQ(alg.marks[i], 1) << "T=" << T << " chunk=" << chunk << " item " << i;
        }
    MarkChunksAlg partial(10, 4);
    int begin = -1, end = -1;
    EXPECT_EQ(partial.getNumChunks(), 3);
    EXPECT_EQ(MarkChunksAlg(8, 4).getNumChunks(), 2);
    for (int k = 0; k < 3; ++k)
        ASSERT_TRUE(partial.nextChunk(0, begin, end));
    EXPECT_EQ(end - begin, 2);
    EXPECT_FALSE(partial.nextChunk(0, begin, end));
    EXPECT_EQ(begin, 10);
    EXPECT_FALSE(MarkChunksAlg(-3, 4).nextChunk(0, begin, end));
}

TEST(ThreadPoolProgress, cancelFromAnotherThreadIsSeenAndProgressIsTheMean)
{
    // Thread t reports (t + 1) / 3 and then waits (bounded) for the cancel.
    std::atomic<int> started{0}, sawCancel{0};
    LambdaAlg alg(
        [&](LambdaAlg& self, int t, int T)
        {
            self.updateProgress(t, double(t + 1) / T);
            ++started;
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (!self.cancelled(t) && std::chrono::steady_clock::now() < deadline)
                std::this_thread::yield();
            sawCancel += self.cancelled(t);
        });
    EXPECT_FALSE(alg.cancelled(0));  // no Progress attached
    Progress progress;
    alg.setProgress(&progress);
    std::thread canceller(
        [&]
        {
            while (started < 3)
                std::this_thread::yield();
            progress.cancel();
        });
    ThreadPool(3).run(alg);
    canceller.join();
    EXPECT_EQ(sawCancel, 3);
    // Which thread's report lands last depends on timing; one more report
    // averages the three slots the threads left.
    alg.updateProgress(0, 0.0);
    EXPECT_DOUBLE_EQ(progress.get(), (2.0 / 3 + 1.0) / 3);
    alg.updateProgress(3, 1.0);  // outside the run: ignored
    EXPECT_DOUBLE_EQ(progress.get(), (2.0 / 3 + 1.0) / 3);
}

TEST(ThreadPoolProgress, visitSliceStopsAtTheNextPollAfterACancel)
{
    // Cancelled at item 450, one thread polls at 400 (not yet cancelled) and
    // at 600: items 0..599 are summed and the last report is 400 / 1000.
    for (int cancelAt : {450, -1})
    {
        long long sum = 0;
        bool completed = false;
        LambdaAlg alg(
            [&](LambdaAlg& self, int t, int T)
            {
                completed = self.visitSlice(t, T, 1000,
                                            [&](int i)
                                            {
                                                if (i == cancelAt)
                                                    self.getProgress()->cancel();
                                                sum += i;
                                            });
            });
        Progress progress;
        alg.setProgress(&progress);
        ThreadPool::getSingleThreadedPool().run(alg);
        EXPECT_EQ(sum, cancelAt < 0 ? 999LL * 1000 / 2 : 599LL * 600 / 2);
        EXPECT_EQ(completed, cancelAt < 0);
        EXPECT_DOUBLE_EQ(progress.get(), cancelAt < 0 ? 0.8 : 0.4);
    }
}
