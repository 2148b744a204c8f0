// A persistent thread pool for the threaded-algorithm frame. Every run is a job
// whose tasks (thread indices) are claimed from an atomic counter; workers serve
// the queue of jobs and the calling thread claims tasks of its own job until
// none is left, so a run never waits for a task nobody has started. That is
// what keeps concurrent and nested runs free of deadlock.

#include "oxUtil/ThreadPool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace oxUtil
{
namespace
{
/// How long an idle worker, or a caller waiting for its job's last tasks, keeps
/// polling before it sleeps. Waking a sleeping thread costs tens of
/// microseconds, as much as the whole of a small job, so threads stay awake for
/// a while between runs that follow each other (a host typically calls several
/// operations in a row). Each poll yields the core, so spinning threads never
/// starve a runnable one when the pool has more threads than cores.
constexpr std::chrono::microseconds spinTime{200};

/// Signals "some job finished" from workers to waiting callers. It lives in the
/// pool, not in the job, because a caller may destroy its job the moment it sees
/// the job's last task finish.
struct CompletionSignal
{
    std::mutex mutex;
    std::condition_variable finished;
};

/// One run of an algorithm: tasks 0..numTasks-1 to execute, claimed once each.
class Job
{
public:
    Job(ThreadedAlgBase& alg, int numTasks, CompletionSignal& completion)
        : m_alg(alg), m_numTasks(numTasks), m_pending(numTasks), m_completion(completion)
    {
    }

    /// Claims the next task index; numTasks or more when none is left.
    int claim() { return m_nextTask.fetch_add(1, std::memory_order_relaxed); }
    bool exhausted() const { return m_nextTask.load(std::memory_order_relaxed) >= m_numTasks; }
    int numTasks() const { return m_numTasks; }

    /// Executes a claimed task, keeping the first exception for the caller.
    void execute(int task)
    {
        try
        {
            m_alg.execute(task, m_numTasks);
        }
        catch (...)
        {
            std::lock_guard<std::mutex> lock(m_errorMutex);
            if (!m_error)
                m_error = std::current_exception();
        }
        finishOne();
    }

    /// Returns once every task has finished (polling first, then sleeping), then
    /// rethrows the first failure.
    void waitAndRethrow()
    {
        const auto deadline = std::chrono::steady_clock::now() + spinTime;
        while (!done() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        if (!done())
        {
            std::unique_lock<std::mutex> lock(m_completion.mutex);
            m_completion.finished.wait(lock, [this] { return done(); });
        }
        if (m_error)
            std::rethrow_exception(m_error);
    }

private:
    bool done() const { return m_pending.load(std::memory_order_acquire) == 0; }

    void finishOne()
    {
        // After the last decrement the job may already be gone: touch only the
        // pool's completion signal from here on.
        CompletionSignal& completion = m_completion;
        if (m_pending.fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            std::lock_guard<std::mutex> lock(completion.mutex);
            completion.finished.notify_all();
        }
    }

    ThreadedAlgBase& m_alg;
    const int m_numTasks;
    std::atomic<int> m_nextTask{0};
    std::atomic<int> m_pending;
    CompletionSignal& m_completion;
    std::mutex m_errorMutex;
    std::exception_ptr m_error;  // guarded by m_errorMutex until the job is done
};

int clampThreadCount(int numThreads)
{
    return std::clamp(numThreads, 1, ThreadPool::maxThreads);
}

int defaultThreadCount()
{
    const unsigned hardware = std::thread::hardware_concurrency();
    return clampThreadCount(hardware == 0 ? 1 : static_cast<int>(hardware));
}
}  // namespace

struct ThreadPool::Impl
{
    explicit Impl(bool singleThreaded) : singleThreaded(singleThreaded) {}
    ~Impl() { stopWorkers(); }

    void startWorkers(int count)
    {
        std::lock_guard<std::mutex> lock(queueMutex);
        stopping = false;
        stopRequested.store(false, std::memory_order_release);
        for (int i = 0; i < count; ++i)
            workers.emplace_back([this] { workerLoop(); });
    }

    void stopWorkers()
    {
        {
            std::lock_guard<std::mutex> lock(queueMutex);
            stopping = true;
            stopRequested.store(true, std::memory_order_release);
        }
        queueChanged.notify_all();
        for (std::thread& worker : workers)
            worker.join();
        workers.clear();
    }

    void post(Job& job)
    {
        bool anyoneAsleep;
        {
            std::lock_guard<std::mutex> lock(queueMutex);
            queue.push_back(&job);
            queued.store(static_cast<int>(queue.size()), std::memory_order_release);
            anyoneAsleep = sleepers > 0;
        }
        // Spinning workers see the job by themselves; only sleepers need a call.
        if (!anyoneAsleep)
            return;
        if (job.numTasks() > 2)
            queueChanged.notify_all();
        else
            queueChanged.notify_one();
    }

    /// Takes `job` out of the queue if it is still there. After this returns no
    /// worker can claim a task of it any more.
    void withdraw(Job& job)
    {
        std::lock_guard<std::mutex> lock(queueMutex);
        auto it = std::find(queue.begin(), queue.end(), &job);
        if (it != queue.end())
            queue.erase(it);
        queued.store(static_cast<int>(queue.size()), std::memory_order_release);
    }

    void workerLoop()
    {
        std::unique_lock<std::mutex> lock(queueMutex);
        for (;;)
        {
            if (!stopping && queue.empty())
                waitForWork(lock);
            if (stopping)
                return;
            // Claim under the queue lock: a job's owner withdraws it under the
            // same lock before waiting, so a job seen here is still alive.
            Job* job = queue.front();
            const int task = job->claim();
            if (task >= job->numTasks() - 1)
            {
                queue.pop_front();
                queued.store(static_cast<int>(queue.size()), std::memory_order_release);
            }
            if (task >= job->numTasks())
                continue;
            lock.unlock();
            job->execute(task);
            lock.lock();
        }
    }

    /// Polls for a job for spinTime without the lock, then sleeps until one is
    /// posted or the pool stops. Called and returns with `lock` held.
    void waitForWork(std::unique_lock<std::mutex>& lock)
    {
        lock.unlock();
        const auto deadline = std::chrono::steady_clock::now() + spinTime;
        while (queued.load(std::memory_order_acquire) == 0 &&
               !stopRequested.load(std::memory_order_acquire) &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        lock.lock();
        ++sleepers;
        queueChanged.wait(lock, [this] { return stopping || !queue.empty(); });
        --sleepers;
    }

    const bool singleThreaded;
    std::atomic<int> numThreads{1};
    std::mutex queueMutex;
    std::condition_variable queueChanged;
    std::deque<Job*> queue;          // guarded by queueMutex
    std::atomic<int> queued{0};      // queue.size(), for polling without the lock
    bool stopping = false;           // guarded by queueMutex
    std::atomic<bool> stopRequested{false};  // stopping, for polling without the lock
    int sleepers = 0;                // workers blocked on queueChanged; guarded by queueMutex
    CompletionSignal completion;
    std::mutex configMutex;  // serialises setNumThreads
    std::vector<std::thread> workers;
};

ThreadPool::ThreadPool(int numThreads) : m_impl(new Impl(false))
{
    setNumThreads(numThreads);
}

ThreadPool::ThreadPool(SingleThreaded) : m_impl(new Impl(true)) {}

ThreadPool::~ThreadPool() = default;

ThreadPool& ThreadPool::get()
{
    // A function-local static: its destructor joins the workers at exit, after
    // main() has returned and no run can be in progress.
    static ThreadPool pool(defaultThreadCount());
    return pool;
}

ThreadPool& ThreadPool::getSingleThreadedPool()
{
    static ThreadPool pool{SingleThreaded{}};
    return pool;
}

int ThreadPool::getNumThreads() const
{
    return m_impl->numThreads.load(std::memory_order_relaxed);
}

void ThreadPool::setNumThreads(int numThreads)
{
    if (m_impl->singleThreaded)
        return;
    std::lock_guard<std::mutex> lock(m_impl->configMutex);
    const int count = clampThreadCount(numThreads);
    m_impl->stopWorkers();
    m_impl->numThreads.store(count, std::memory_order_relaxed);
    m_impl->startWorkers(count - 1);
}

void ThreadPool::run(ThreadedAlgBase& alg)
{
    const int numThreads = getNumThreads();
    alg.prepareThreadSlots(numThreads);
    alg.initialize(numThreads);

    Job job(alg, numThreads, m_impl->completion);
    if (numThreads > 1)
        m_impl->post(job);
    for (int task = job.claim(); task < numThreads; task = job.claim())
        job.execute(task);
    if (numThreads > 1)
        m_impl->withdraw(job);
    job.waitAndRethrow();

    alg.finalize();
}
}  // namespace oxUtil
