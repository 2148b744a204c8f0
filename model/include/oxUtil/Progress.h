#pragma once
// oxUtil::Progress: progress reporting and cancellation for long operations.
// An operation divides its progress into sub-phases; every report travels up
// to the root, whose host callback shows it, and a cancel anywhere above a
// phase is seen by that phase. Reports are advisory: when several pool threads
// report at once, only one reaches the host and the others are skipped.

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

namespace oxUtil
{
/// A node of a progress tree.
/// Inputs: an optional host callback (fraction in 0..1, caption text; the
/// caption pointer is valid during the call only).
/// A root (no parent) reports to its callback; a child attached with
/// subPhase() maps its own 0..1 onto its share of the parent and forwards every
/// report up the chain; each node along the way that has a callback receives
/// the report with its own fraction.
///
/// Thread safety:
/// - set(), get(), cancel() and cancelled() may be called from any thread, at
///   the same time; fractions and flags are atomics. A callback is invoked
///   under a try-lock of the node: a report arriving while another thread is
///   inside the callback is skipped, never queued.
/// - subPhase() and setCaption() are called from the thread that drives the
///   operation only (not from pool threads), and not while pool threads may
///   call set() on the child being attached.
/// - A child must not outlive its parent, and must not be attached while one of
///   its own children is still in use.
class Progress
{
public:
    using Callback = std::function<void(double fraction, const char* caption)>;

    /// A root without callback: it records fractions and cancellation only.
    Progress() = default;
    /// A root reporting to `callback` (an empty callback behaves like none).
    explicit Progress(Callback callback);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Attaches `child` to this progress: the child's 0..1 covers this
    /// progress's [get(), get() + fraction] (fraction clamped to 0..1). The
    /// child's fraction restarts at 0, and its cancellation flag is kept.
    /// Attaching a progress to itself or to one of its descendants is ignored.
    void subPhase(double fraction, Progress& child);

    /// Sets the caption shown with the reports and reports it at once with the
    /// current fraction (a null caption is the empty caption). A child passes
    /// its caption to its parent. The caption report is never skipped: it
    /// waits for a report in progress on another thread.
    void setCaption(const char* caption);

    /// Sets the fraction done within this progress (clamped to 0..1; NaN counts
    /// as 0), moves the parent to offset + share * fraction (and so on up to
    /// the root) and reports. Cost: O(depth) plus the callbacks.
    void set(double fraction);
    /// The fraction done within this progress (0..1).
    double get() const { return m_fraction.load(std::memory_order_relaxed); }

    /// Asks the operation to stop. Callable from any thread; never undone.
    void cancel() { m_cancelled.store(true, std::memory_order_relaxed); }
    /// True when this progress or any of its ancestors was cancelled.
    bool cancelled() const;

private:
    void report(bool waitForLock);
    bool isSelfOrAncestor(const Progress* other) const;

    Callback m_callback;
    Progress* m_parent = nullptr;
    double m_parentOffset = 0.0;
    double m_parentShare = 0.0;
    std::atomic<double> m_fraction{0.0};
    std::atomic<bool> m_cancelled{false};
    std::mutex m_reportMutex;
    std::string m_caption;  // guarded by m_reportMutex
};
}  // namespace oxUtil
