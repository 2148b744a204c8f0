// Accumulating stop watch on the steady clock: intervals add up across
// start/stop pairs, so one watch can time a phase that is interrupted.

#include "oxOS/StopWatch.h"

namespace oxOS
{
namespace
{
double toSeconds(StopWatch::Clock::duration d)
{
    return std::chrono::duration<double>(d).count();
}
}  // namespace

double StopWatch::getElapsed() const
{
    Clock::duration total = m_accumulated;
    if (m_running)
        total += Clock::now() - m_startTime;
    return toSeconds(total);
}

double StopWatch::start()
{
    const double elapsed = getElapsed();
    if (!m_running)
    {
        m_startTime = Clock::now();
        m_running = true;
    }
    return elapsed;
}

double StopWatch::stop()
{
    if (m_running)
    {
        m_accumulated += Clock::now() - m_startTime;
        m_running = false;
    }
    return toSeconds(m_accumulated);
}

double StopWatch::clear()
{
    const Clock::time_point now = Clock::now();
    Clock::duration total = m_accumulated;
    if (m_running)
    {
        total += now - m_startTime;
        m_startTime = now;
    }
    m_accumulated = Clock::duration::zero();
    return toSeconds(total);
}
}  // namespace oxOS
