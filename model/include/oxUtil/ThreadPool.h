#pragma once
// oxUtil::ThreadPool: runs threaded algorithms on persistent worker threads.
// Each run posts a job whose tasks (one per thread index) are claimed from an
// atomic counter; the calling thread works on its own job too, so a run always
// completes even when every worker is busy, which makes concurrent runs from
// several host threads and runs nested inside execute() deadlock-free.

#include <memory>

#include "oxUtil/ThreadedAlg.h"

namespace oxUtil
{
/// A pool of numThreads - 1 worker threads plus the calling thread.
/// Thread safety: run() may be called from any number of threads at once,
/// including from inside an execute() of a running algorithm (nested run).
/// setNumThreads() must be called while no run is in progress on the pool
/// and never from inside an execute().
/// Idle workers, and a caller waiting for its last tasks, poll for about 200
/// microseconds (yielding the core at each poll) before they sleep, so runs that
/// follow each other closely hand work over without the cost of waking threads.
class ThreadPool
{
public:
    /// Largest thread count a pool accepts.
    static constexpr int maxThreads = 256;

    /// A pool running algorithms over numThreads threads (clamped to
    /// 1..maxThreads); numThreads - 1 workers are started at once.
    explicit ThreadPool(int numThreads);
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;
    /// Stops and joins the workers (after their current task).
    virtual ~ThreadPool();

    /// The process-wide pool, created on first use with
    /// std::thread::hardware_concurrency() threads (at least 1); its workers are
    /// joined at process exit.
    static ThreadPool& get();
    /// A pool that runs every algorithm on the calling thread alone
    /// (numThreads = 1); setNumThreads() does not change it.
    static ThreadPool& getSingleThreadedPool();

    /// Runs `alg` with T = getNumThreads(): prepares the progress slots, calls
    /// initialize(T), then execute(t, T) for t = 0..T-1 on T threads (the
    /// caller takes part), waits for all, then finalize(); returns only when all
    /// is done. If execute() throws, the remaining tasks still run, finalize()
    /// is skipped and the first exception caught is rethrown here. An exception
    /// from initialize() or finalize() propagates as is.
    virtual void run(ThreadedAlgBase& alg);

    int getNumThreads() const;
    /// Sets the thread count (clamped to 1..maxThreads) and restarts the
    /// workers. Call it while no run is in progress. Cost: joins and starts
    /// threads.
    void setNumThreads(int numThreads);

private:
    struct SingleThreaded
    {
    };
    explicit ThreadPool(SingleThreaded);

    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
}  // namespace oxUtil
