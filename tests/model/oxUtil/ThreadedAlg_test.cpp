// Threaded-algorithm bases: the even range split, chunked hand-out, progress
// averaged over threads and cancellation seen by running threads. Suites that
// run threads are named ThreadPool* for the ThreadSanitizer job.

#include "oxUtil/ThreadedAlg.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "oxUtil/Progress.h"
#include "oxUtil/ThreadPool.h"

using oxUtil::Progress;
using oxUtil::ThreadedAlgBase;
using oxUtil::ThreadPool;

namespace
{
class MarkChunksAlg : public oxUtil::ThreadedChunkAlg
{
public:
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

/// Thread t reports (t + 1) / T and then waits (bounded) for a cancel.
class WaitForCancelAlg : public oxUtil::ThreadedAlg
{
public:
    void initialize(int T) override { sawCancel = std::vector<std::atomic<bool>>(T); }
    void execute(int t, int T) override
    {
        updateProgress(t, double(t + 1) / T);
        ++started;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!cancelled(t) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        sawCancel[t] = cancelled(t);
    }
    std::vector<std::atomic<bool>> sawCancel;
    std::atomic<int> started{0};
};
}  // namespace

TEST(ThreadPoolSlices, getBeginIndexSlicesAreContiguousWithFirstRemainderLarger)
{
    for (int n = 0; n < 50; ++n)
        for (int T = 1; T < 10; ++T)
        {
            EXPECT_EQ(ThreadedAlgBase::getBeginIndex(0, T, n), 0);
            EXPECT_EQ(ThreadedAlgBase::getBeginIndex(T, T, n), n);
            for (int t = 0; t < T; ++t)
                EXPECT_EQ(ThreadedAlgBase::getBeginIndex(t + 1, T, n) -
                              ThreadedAlgBase::getBeginIndex(t, T, n),
                          n / T + (t < n % T ? 1 : 0))
                    << "n=" << n << " T=" << T << " t=" << t;
        }
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
    for (int k = 0; k < 3; ++k)
        ASSERT_TRUE(partial.nextChunk(0, begin, end));
    EXPECT_EQ(end - begin, 2);
    EXPECT_FALSE(partial.nextChunk(0, begin, end));
    EXPECT_EQ(begin, 10);
    EXPECT_FALSE(MarkChunksAlg(-3, 4).nextChunk(0, begin, end));
}

TEST(ThreadPoolProgress, cancelFromAnotherThreadIsSeenAndProgressIsTheMean)
{
    ThreadPool pool(3);
    Progress root, child;
    root.subPhase(1.0, child);
    WaitForCancelAlg alg;
    EXPECT_FALSE(alg.cancelled(0));  // no Progress attached
    alg.setProgress(&child);
    std::thread canceller(
        [&]
        {
            while (alg.started < 3)
                std::this_thread::yield();
            root.cancel();
        });
    pool.run(alg);
    canceller.join();
    for (int t = 0; t < 3; ++t)
        EXPECT_TRUE(alg.sawCancel[t]) << "thread " << t;
    EXPECT_DOUBLE_EQ(child.get(), (1.0 / 3 + 2.0 / 3 + 1.0) / 3);
    alg.updateProgress(3, 0.0);  // outside the run: ignored
    EXPECT_DOUBLE_EQ(child.get(), 2.0 / 3);
}

namespace
{
/// Sums the item indices of each slice through visitSlice; the thread that
/// reaches item `cancelAt` cancels the run's progress there.
class CancellableSumAlg : public oxUtil::ThreadedAlg
{
public:
    CancellableSumAlg(int n, int cancelAt, Progress& progress) : m_n(n), m_cancelAt(cancelAt)
    {
        setProgress(&progress);
        m_progress = &progress;
    }
    void initialize(int T) override
    {
        sums.assign(T, 0);
        completed.assign(T, 0);
    }
    void execute(int t, int T) override
    {
        long long sum = 0;
        completed[t] = visitSlice(t, T, m_n,
                               [&](int i)
                               {
                                   if (i == m_cancelAt)
                                       m_progress->cancel();
                                   sum += i;
                               });
        sums[t] = sum;
    }
    void finalize() override { finalized = true; }

    std::vector<long long> sums;
    std::vector<char> completed;  // per thread: the whole slice was visited
    bool finalized = false;

private:
    int m_n, m_cancelAt;
    Progress* m_progress;
};
}  // namespace

TEST(ThreadPoolProgress, cancelledRunStopsAtTheNextPollAndStillReduces)
{
    // One thread, cancelled at item 450: it polls at 400 (not yet cancelled)
    // and at 600, so items 0..599 are summed, the last report is 400 / 1000,
    // and the run still finalizes with that partial slot.
    Progress progress;
    CancellableSumAlg alg(1000, 450, progress);
    ThreadPool::getSingleThreadedPool().run(alg);
    ASSERT_EQ(alg.sums.size(), 1u);
    EXPECT_EQ(alg.sums[0], 599LL * 600 / 2);
    EXPECT_EQ(alg.completed, std::vector<char>{0});
    EXPECT_TRUE(alg.finalized);
    EXPECT_DOUBLE_EQ(progress.get(), 0.4);

    // Cancelled before the run: every thread stops at its first poll, all slots
    // are still written (0) and reduced.
    ThreadPool pool(3);
    Progress cancelled;
    cancelled.cancel();
    CancellableSumAlg none(1000, -1, cancelled);
    pool.run(none);
    EXPECT_EQ(none.sums, (std::vector<long long>{0, 0, 0}));
    EXPECT_TRUE(none.finalized);

    // Not cancelled: every item once.
    Progress running;
    CancellableSumAlg all(1000, -1, running);
    pool.run(all);
    EXPECT_EQ(all.sums[0] + all.sums[1] + all.sums[2], 999LL * 1000 / 2);
    EXPECT_EQ(all.completed, (std::vector<char>{1, 1, 1}));
}
