#pragma once
// Test helpers for the library's diagnostics and its thread pool: capture the
// geometry debug channel with the seconds masked, and run a block with a given
// pool size.

#include <oxGeom/debugChannel.h>
#include <oxUtil/ThreadPool.h>

#include <mutex>
#include <string>

namespace testsupport
{
/// Replaces every "%f"-formatted time followed by " s" with "# s", so lines can be
/// compared exactly: "meshBoundingBox: 8 vertices  0.000012 s\n" -> "... 8 vertices  # s\n".
inline std::string maskSeconds(const std::string& text)
{
    auto isDigit = [&](size_t i) { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
    std::string masked;
    size_t i = 0;
    while (i < text.size())
    {
        // A time is digits, '.', exactly six digits, then " s".
        size_t end = i;
        while (isDigit(end))
            ++end;
        bool isTime = end > i && end < text.size() && text[end] == '.';
        if (isTime)
        {
            size_t fraction = end + 1;
            while (isDigit(fraction))
                ++fraction;
            isTime = fraction - end - 1 == 6 && text.compare(fraction, 2, " s") == 0;
            end = fraction;
        }
        if (isTime)
        {
            masked += "# s";
            i = end + 2;
        }
        else
        {
            masked += text[i];
            ++i;
        }
    }
    return masked;
}

/// Enables the geometry debug channel for its lifetime and collects what is printed.
class DebugCapture
{
public:
    DebugCapture()
    {
        oxGeom::debugChannel().setCallback(
            [this](const char* text)
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_text += text;
            });
        oxGeom::debugChannel().enable();
    }
    ~DebugCapture()
    {
        oxGeom::debugChannel().disable();
        oxGeom::debugChannel().setCallback(nullptr);
    }
    DebugCapture(const DebugCapture&) = delete;
    DebugCapture& operator=(const DebugCapture&) = delete;

    /// Everything printed so far, seconds masked.
    std::string text() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return maskSeconds(m_text);
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_text.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::string m_text;
};

/// Sets the shared pool's thread count for its lifetime and restores it after.
class PoolThreads
{
public:
    explicit PoolThreads(int numThreads) : m_previous(oxUtil::ThreadPool::get().getNumThreads())
    {
        oxUtil::ThreadPool::get().setNumThreads(numThreads);
    }
    ~PoolThreads() { oxUtil::ThreadPool::get().setNumThreads(m_previous); }
    PoolThreads(const PoolThreads&) = delete;
    PoolThreads& operator=(const PoolThreads&) = delete;

private:
    int m_previous;
};

/// The thread counts every threaded result is checked under.
constexpr int threadCounts[] = {1, 2, 3, 7};
}  // namespace testsupport
