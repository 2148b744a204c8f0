#pragma once
// oxUtil::SMPSortPiecewise / SMPSortMerge / smpSort: a two-way parallel sort of
// an index array. Each half is sorted by its own thread with std::sort, then one
// thread merges from the front and another from the back at the same time, so
// no split point has to be searched for and the merge needs no synchronisation.

#include <algorithm>
#include <memory>

#include "oxUtil/ThreadPool.h"
#include "oxUtil/ThreadedAlg.h"

namespace oxUtil
{
/// Sorts the two pieces of an index range, one per thread: piece 0 is the first
/// ceil(n / 2) entries (the even split of ThreadedAlg::getBeginIndex over two
/// threads), piece 1 the rest.
///
/// Inputs: the half-open range [begin, end) of n ints and `less`, a strict weak
/// order over the values stored there (typically a comparator of item indices
/// holding pointers to the arrays it reads).
/// Output: after a run, each piece is sorted by `less` with std::sort (not
/// stable). Thread 0 sorts piece 0 and thread 1 piece 1; threads 2 and above do
/// nothing. Run on a one-thread pool, thread 0 sorts both pieces, so the run
/// always leaves two sorted pieces for SMPSortMerge.
/// Preconditions: begin <= end (or both null); `less` is a strict weak order and
/// may be called from two threads at once.
/// Empty input: n = 0 or 1 does nothing.
/// Thread safety: the range is written by at most two threads, each in its own
/// piece; nobody else may touch it during the run.
/// Cost: O(n log n) comparisons, split evenly over two threads.
template <class Less>
class SMPSortPiecewise : public ThreadedAlg
{
public:
    SMPSortPiecewise(int* begin, int* end, Less less) : m_begin(begin), m_end(end), m_less(less) {}

    void execute(int threadIndex, int numThreads) override
    {
        if (threadIndex == 0)
            sortPiece(0);
        if (threadIndex == 1 || (threadIndex == 0 && numThreads == 1))
            sortPiece(1);
    }

private:
    // Piece p of the range in the even split over two threads.
    void sortPiece(int piece)
    {
        const int n = static_cast<int>(m_end - m_begin);
        std::sort(m_begin + getBeginIndex(piece, 2, n), m_begin + getBeginIndex(piece + 1, 2, n),
                  m_less);
    }

    int* m_begin;
    int* m_end;
    Less m_less;
};

/// Merges the two sorted pieces that SMPSortPiecewise leaves (piece 0 the first
/// ceil(n / 2) entries, piece 1 the rest) into one sorted range.
///
/// Inputs: the same range [begin, end) of n ints and the same `less`.
/// Output: after a run the range is sorted. The merge is stable: of two entries
/// that compare equal, the one from piece 0 comes first, and within a piece the
/// order is kept.
/// How: initialize() allocates a scratch array of n ints. Thread 0 merges
/// forwards and writes the first ceil(n / 2) outputs (taking piece 0's entry
/// unless piece 1's is less); thread 1 merges backwards and writes the other
/// outputs from the back (taking piece 1's entry unless it is less than piece
/// 0's). The two halves of the output never overlap, so the threads share
/// nothing but read-only input. Threads 2 and above do nothing; on a one-thread
/// pool thread 0 runs both merges. finalize() copies the scratch array over the
/// range; the destructor frees it.
/// Preconditions: both pieces sorted by `less`, a strict weak order callable
/// from two threads at once; begin <= end (or both null).
/// Empty input: n = 0 or 1 leaves the range as it is.
/// Thread safety: as SMPSortPiecewise.
/// Cost: O(n) comparisons and moves, split evenly over two threads; n ints of
/// scratch memory for the duration of the run.
template <class Less>
class SMPSortMerge : public ThreadedAlg
{
public:
    SMPSortMerge(int* begin, int* end, Less less) : m_begin(begin), m_end(end), m_less(less) {}

    void initialize(int) override { m_merged.reset(new int[size()]); }

    void execute(int threadIndex, int numThreads) override
    {
        if (threadIndex == 0)
            mergeForward();
        if (threadIndex == 1 || (threadIndex == 0 && numThreads == 1))
            mergeBackward();
    }

    void finalize() override { std::copy(m_merged.get(), m_merged.get() + size(), m_begin); }

private:
    int size() const { return static_cast<int>(m_end - m_begin); }
    int split() const { return getBeginIndex(1, 2, size()); }

    // Writes the first split() outputs. Piece 0 has split() entries, so it
    // cannot run out before they are written; piece 1 can.
    void mergeForward()
    {
        const int* left = m_begin;
        const int* right = m_begin + split();
        const int* rightEnd = m_end;
        int* out = m_merged.get();
        int* outEnd = out + split();
        while (out != outEnd)
        {
            if (right != rightEnd && m_less(*right, *left))
                *out++ = *right++;
            else
                *out++ = *left++;
        }
    }

    // Writes the outputs from the last one down to split(). Fewer than
    // size() - split() <= split() entries are taken before each step, so neither
    // piece can run out.
    void mergeBackward()
    {
        if (size() == split())
            return;  // nothing for this half (n <= 1)
        const int* left = m_begin + split() - 1;
        const int* right = m_end - 1;
        int* out = m_merged.get() + size();
        int* outBegin = m_merged.get() + split();
        while (out != outBegin)
        {
            if (m_less(*right, *left))
                *--out = *left--;
            else
                *--out = *right--;
        }
    }

    int* m_begin;
    int* m_end;
    Less m_less;
    std::unique_ptr<int[]> m_merged;
};

/// Sorts the ints [begin, end) by `less` on ThreadPool::get().
///
/// Inputs: the range (n ints) and `less`, a strict weak order over its values,
/// callable from two threads at once.
/// Output: the range sorted by `less`. Entries that compare equal end up in an
/// unspecified order (the pieces are sorted with std::sort), so callers that
/// need one fixed result make `less` a total order or treat equal entries alike.
/// How: a pool of one thread sorts serially with std::sort; any larger pool runs
/// SMPSortPiecewise and then SMPSortMerge over the range (two busy threads).
/// Empty input: n = 0 or 1 leaves the range as it is.
/// Thread safety: safe to call from several host threads on distinct ranges.
/// Cost: O(n log n) comparisons; about half the serial time on two free cores
/// plus one merge pass; n ints of scratch memory with more than one thread.
template <class Less>
void smpSort(int* begin, int* end, Less less)
{
    ThreadPool& pool = ThreadPool::get();
    if (pool.getNumThreads() == 1)
    {
        std::sort(begin, end, less);
        return;
    }
    SMPSortPiecewise<Less> pieces(begin, end, less);
    pool.run(pieces);
    SMPSortMerge<Less> merge(begin, end, less);
    pool.run(merge);
}
}  // namespace oxUtil
