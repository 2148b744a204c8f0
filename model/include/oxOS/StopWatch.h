#pragma once
// oxOS::StopWatch: wall-clock timing of the library's operations for the
// diagnostic lines. Uses the steady clock, so changes of the system time never
// show up as negative or inflated durations.

#include <chrono>

namespace oxOS
{
/// Accumulates elapsed seconds over the intervals during which it runs.
/// A new watch is stopped at zero.
/// - start(): (re)starts timing, keeping what was accumulated; no effect if running.
/// - stop(): freezes the accumulated time; no effect if stopped.
/// - clear(): resets the accumulated time to zero; a running watch keeps running
///   from now, so clear() also serves as a lap reading.
/// Each returns the seconds accumulated before the call took effect on the
/// reading (start() and stop() return the total up to now, clear() the total
/// that it discards).
/// Thread safety: one thread at a time per watch. Cost: one clock read per call.
class StopWatch
{
public:
    using Clock = std::chrono::steady_clock;

    double start();
    double stop();
    double clear();
    /// Seconds accumulated up to now, without changing the state.
    double getElapsed() const;
    bool isRunning() const { return m_running; }

private:
    Clock::duration m_accumulated{0};
    Clock::time_point m_startTime{};
    bool m_running = false;
};
}  // namespace oxOS
