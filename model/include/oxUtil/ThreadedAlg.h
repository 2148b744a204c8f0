#pragma once
// The threaded-algorithm frame. An algorithm is an object with a fixed
// protocol (initialize, execute per thread, finalize) that the ThreadPool
// drives; it splits its index range into contiguous per-thread slices, writes
// one result slot per thread, and is reduced by its caller in thread order, so
// results do not depend on thread timing.

#include <atomic>
#include <cstdint>
#include <memory>

namespace oxUtil
{
class Progress;
class ThreadPool;

/// Base of every threaded algorithm. Virtual slots, in this order: destructor,
/// initialize, execute, finalize.
/// Lifecycle: built on the caller's stack, run once by ThreadPool::run, read,
/// destroyed. Not copyable.
/// Thread safety: execute() runs on several threads at once; cancelled() and
/// updateProgress() may be called from all of them.
class ThreadedAlgBase
{
public:
    ThreadedAlgBase();
    ThreadedAlgBase(const ThreadedAlgBase&) = delete;
    ThreadedAlgBase& operator=(const ThreadedAlgBase&) = delete;
    virtual ~ThreadedAlgBase();

    /// Called once on the calling thread before any execute(), with the number
    /// of threads that will run; allocates the per-thread slots. Base: nothing.
    virtual void initialize(int numThreads);
    /// Called once per thread index 0..numThreads-1, concurrently; processes
    /// that thread's share and writes only that thread's slot.
    virtual void execute(int threadIndex, int numThreads) = 0;
    /// Called once on the calling thread after every execute() returned
    /// normally. Base: nothing.
    virtual void finalize();

    /// First index of slice t when n items are split over T threads: with
    /// q = n / T and r = n % T, begin(t) = q*t if r == 0, (q+1)*t if t < r,
    /// q*t + r otherwise. So the first r threads take one item more, slices are
    /// contiguous in thread order, and getBeginIndex(T, T, n) == n.
    /// T <= 0 or n <= 0 gives 0. Cost: O(1).
    static int getBeginIndex(int t, int T, int n);

    /// Attaches a progress/cancel object (not owned; null detaches). Set it
    /// before the run.
    void setProgress(Progress* progress) { m_progress = progress; }
    Progress* getProgress() const { return m_progress; }

    /// True once the attached Progress (or one of its ancestors) is cancelled;
    /// false without one. threadIndex is not used.
    bool cancelled(int threadIndex) const;
    /// Records that thread's completed fraction (0..1) and sets the attached
    /// Progress to the mean fraction over all threads of the run. Ignored
    /// without a Progress or for a thread index outside the run.
    /// Cost: O(numThreads) atomic loads.
    void updateProgress(int threadIndex, double fraction);

private:
    friend class ThreadPool;
    /// Sizes and zeroes the per-thread progress slots; called by the pool
    /// before initialize().
    void prepareThreadSlots(int numThreads);

    Progress* m_progress = nullptr;
    std::unique_ptr<std::atomic<double>[]> m_threadFractions;
    int m_numThreadSlots = 0;
};

/// The usual base: each thread processes one even, contiguous slice of the
/// index range (see getSlice / getBeginIndex).
class ThreadedAlg : public ThreadedAlgBase
{
public:
    /// Outputs the half-open slice [begin, end) of thread t of T over n items.
    static void getSlice(int t, int T, int n, int& begin, int& end)
    {
        begin = getBeginIndex(t, T, n);
        end = getBeginIndex(t + 1, T, n);
    }

    /// How often a long slice polls for cancellation and reports progress.
    static constexpr int progressInterval = 200;

    /// Visits the items [begin, end) of thread t's slice of n items in order,
    /// calling `visit(i)` for each, with the polling of long-running members:
    /// counting items k = 0, 1, ... within the slice, whenever k is a multiple of
    /// progressInterval it first asks cancelled(t) and leaves the loop if so, then
    /// reports updateProgress(t, k / sliceLength).
    /// Returns true when the whole slice was visited, false when it stopped
    /// because the run was cancelled; either way the thread's slot holds what
    /// was computed, and the caller still reduces it.
    template <class Visit>
    bool visitSlice(int t, int T, int n, Visit&& visit)
    {
        int begin, end;
        getSlice(t, T, n, begin, end);
        const double sliceLength = end - begin;
        for (int i = begin; i < end; ++i)
        {
            const int k = i - begin;
            if (k % progressInterval == 0)
            {
                if (cancelled(t))
                    return false;
                updateProgress(t, k / sliceLength);
            }
            visit(i);
        }
        return true;
    }
};

/// A base for uneven work: items are handed out in chunks from a shared counter
/// so that threads that finish early take more. A subclass's execute() loops
///     int begin, end;
///     while (nextChunk(threadIndex, begin, end)) { ...items [begin, end)... }
/// Chunks are handed out in ascending order, each exactly once per run;
/// which thread gets which chunk depends on timing, so results that must not
/// depend on timing are written per item or per chunk, not per thread.
class ThreadedChunkAlg : public ThreadedAlgBase
{
public:
    /// numItems < 0 counts as 0; chunkSize < 1 counts as 1.
    ThreadedChunkAlg(int numItems, int chunkSize);

    /// Claims the next chunk: outputs [begin, end) and returns true, or returns
    /// false (begin == end == numItems) when every chunk has been handed out.
    /// Thread safety: any number of threads at once (one atomic add).
    bool nextChunk(int threadIndex, int& begin, int& end);

    int getNumItems() const { return m_numItems; }
    int getChunkSize() const { return m_chunkSize; }
    int getNumChunks() const;
    /// Starts handing out chunks from the beginning again (for a new run).
    void resetChunks() { m_nextItem.store(0, std::memory_order_relaxed); }

private:
    int m_numItems;
    int m_chunkSize;
    std::atomic<std::int64_t> m_nextItem{0};
};
}  // namespace oxUtil
