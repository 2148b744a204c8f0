// Progress trees: fractions are atomics so pool threads may report at once;
// the host callback is invoked under a try-lock, so a thread that finds another
// one reporting skips its report instead of waiting (progress is advisory).

#include "oxUtil/Progress.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace oxUtil
{
namespace
{
double clampFraction(double fraction)
{
    if (std::isnan(fraction))
        return 0.0;
    return std::clamp(fraction, 0.0, 1.0);
}
}  // namespace

Progress::Progress(Callback callback) : m_callback(std::move(callback)) {}

bool Progress::isSelfOrAncestor(const Progress* other) const
{
    for (const Progress* p = this; p; p = p->m_parent)
        if (p == other)
            return true;
    return false;
}

void Progress::subPhase(double fraction, Progress& child)
{
    if (isSelfOrAncestor(&child))
        return;
    child.m_parent = this;
    child.m_parentOffset = get();
    child.m_parentShare = clampFraction(fraction);
    child.m_fraction.store(0.0, std::memory_order_relaxed);
}

void Progress::setCaption(const char* caption)
{
    {
        std::lock_guard<std::mutex> lock(m_reportMutex);
        m_caption = caption ? caption : "";
    }
    report(true);
    if (m_parent)
        m_parent->setCaption(caption);
}

void Progress::set(double fraction)
{
    const double value = clampFraction(fraction);
    m_fraction.store(value, std::memory_order_relaxed);
    report(false);
    if (m_parent)
        m_parent->set(m_parentOffset + m_parentShare * value);
}

bool Progress::cancelled() const
{
    for (const Progress* p = this; p; p = p->m_parent)
        if (p->m_cancelled.load(std::memory_order_relaxed))
            return true;
    return false;
}

void Progress::report(bool waitForLock)
{
    if (!m_callback)
        return;
    std::unique_lock<std::mutex> lock(m_reportMutex, std::defer_lock);
    if (waitForLock)
        lock.lock();
    else if (!lock.try_lock())
        return;
    // Report the latest fraction, which may be newer than the one that
    // triggered this report.
    m_callback(get(), m_caption.c_str());
}
}  // namespace oxUtil
