// The threaded-algorithm bases: the even range split, per-thread progress that
// is averaged into the attached Progress, and chunked hand-out of work from a
// shared counter for algorithms whose items vary in cost.

#include "oxUtil/ThreadedAlg.h"

#include <algorithm>

#include "oxUtil/Progress.h"

namespace oxUtil
{
ThreadedAlgBase::ThreadedAlgBase() = default;
ThreadedAlgBase::~ThreadedAlgBase() = default;

void ThreadedAlgBase::initialize(int) {}
void ThreadedAlgBase::finalize() {}

int ThreadedAlgBase::getBeginIndex(int t, int T, int n)
{
    if (T <= 0 || n <= 0)
        return 0;
    const int q = n / T;
    const int r = n % T;
    if (r == 0)
        return q * t;
    if (t < r)
        return (q + 1) * t;
    return q * t + r;
}

bool ThreadedAlgBase::cancelled(int) const
{
    return m_progress && m_progress->cancelled();
}

void ThreadedAlgBase::updateProgress(int threadIndex, double fraction)
{
    if (!m_progress || threadIndex < 0 || threadIndex >= m_numThreadSlots)
        return;
    m_threadFractions[threadIndex].store(std::clamp(fraction, 0.0, 1.0), std::memory_order_relaxed);
    double sum = 0.0;
    for (int t = 0; t < m_numThreadSlots; ++t)
        sum += m_threadFractions[t].load(std::memory_order_relaxed);
    m_progress->set(sum / m_numThreadSlots);
}

void ThreadedAlgBase::prepareThreadSlots(int numThreads)
{
    const int count = std::max(numThreads, 0);
    if (count != m_numThreadSlots)
    {
        m_threadFractions.reset(count > 0 ? new std::atomic<double>[count] : nullptr);
        m_numThreadSlots = count;
    }
    for (int t = 0; t < count; ++t)
        m_threadFractions[t].store(0.0, std::memory_order_relaxed);
}

ThreadedChunkAlg::ThreadedChunkAlg(int numItems, int chunkSize)
    : m_numItems(std::max(numItems, 0)), m_chunkSize(std::max(chunkSize, 1))
{
}

int ThreadedChunkAlg::getNumChunks() const
{
    return static_cast<int>((static_cast<std::int64_t>(m_numItems) + m_chunkSize - 1) /
                            m_chunkSize);
}

bool ThreadedChunkAlg::nextChunk(int, int& begin, int& end)
{
    // 64-bit counter: threads keep adding after the last chunk, which must not
    // wrap around even for item counts close to the int limit.
    const std::int64_t first = m_nextItem.fetch_add(m_chunkSize, std::memory_order_relaxed);
    if (first >= m_numItems)
    {
        begin = end = m_numItems;
        return false;
    }
    begin = static_cast<int>(first);
    end = static_cast<int>(std::min<std::int64_t>(first + m_chunkSize, m_numItems));
    return true;
}
}  // namespace oxUtil
