// A persistent thread pool for the threaded-algorithm frame. Every run is a job
// whose tasks (thread indices) are claimed from an atomic counter; workers serve
// the queue of jobs and the calling thread claims tasks of its own job until
// none is left, so a run never waits for a task nobody has started. That is
// what keeps concurrent and nested runs free of deadlock.

#include "oxUtil/ThreadPool.h"

#include <algorithm>
#include <atomic>
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
/// One run of an algorithm: tasks 0..numTasks-1 to execute, claimed once each.
class Job
{
public:
    Job(ThreadedAlgBase& alg, int numTasks) : m_alg(alg), m_numTasks(numTasks), m_pending(numTasks)
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
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_error)
                m_error = std::current_exception();
        }
        finishOne();
    }

    /// Blocks until every task has finished, then rethrows the first failure.
    void waitAndRethrow()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_allDone.wait(lock, [this] { return m_pending == 0; });
        if (m_error)
            std::rethrow_exception(m_error);
    }

private:
    void finishOne()
    {
        // Notify while holding the lock: the caller may destroy the job as soon
        // as it sees m_pending reach 0, which it can only check under the lock.
        std::lock_guard<std::mutex> lock(m_mutex);
        if (--m_pending == 0)
            m_allDone.notify_all();
    }

    ThreadedAlgBase& m_alg;
    const int m_numTasks;
    std::atomic<int> m_nextTask{0};
    std::mutex m_mutex;
    std::condition_variable m_allDone;
    int m_pending;               // guarded by m_mutex
    std::exception_ptr m_error;  // guarded by m_mutex
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
        for (int i = 0; i < count; ++i)
            workers.emplace_back([this] { workerLoop(); });
    }

    void stopWorkers()
    {
        {
            std::lock_guard<std::mutex> lock(queueMutex);
            stopping = true;
        }
        queueChanged.notify_all();
        for (std::thread& worker : workers)
            worker.join();
        workers.clear();
    }

    void post(Job& job)
    {
        {
            std::lock_guard<std::mutex> lock(queueMutex);
            queue.push_back(&job);
        }
        // Wake as many workers as the job has tasks beyond the caller's own.
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
    }

    void workerLoop()
    {
        std::unique_lock<std::mutex> lock(queueMutex);
        for (;;)
        {
            queueChanged.wait(lock, [this] { return stopping || !queue.empty(); });
            if (stopping)
                return;
            // Claim under the queue lock: a job's owner withdraws it under the
            // same lock before waiting, so a job seen here is still alive.
            Job* job = queue.front();
            const int task = job->claim();
            if (task >= job->numTasks() - 1)
                queue.pop_front();
            if (task >= job->numTasks())
                continue;
            lock.unlock();
            job->execute(task);
            lock.lock();
        }
    }

    const bool singleThreaded;
    std::atomic<int> numThreads{1};
    std::mutex queueMutex;
    std::condition_variable queueChanged;
    std::deque<Job*> queue;  // guarded by queueMutex
    bool stopping = false;   // guarded by queueMutex
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

    Job job(alg, numThreads);
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
