#pragma once
// oxOS::DebugChannel: developer diagnostics that cost nothing while disabled.
// A channel is silent until enabled; when enabled it formats each print call and
// hands the text to a FILE* or to a host callback, one whole call at a time.

#include <atomic>
#include <cstdio>
#include <functional>
#include <mutex>

#include "oxString/CString.h"

namespace oxOS
{
/// A switchable printf-style output channel.
/// Output goes to a FILE* (stderr by default) or, when a callback is set, to the
/// callback, which receives the complete formatted text of each print call.
/// Thread safety: every member may be called from any thread. enabled() is a
/// lock-free atomic read; the text of one print call is delivered under a mutex,
/// so output of different threads never interleaves within a call. A callback
/// must not print to the same channel (it would deadlock).
class DebugChannel
{
public:
    using Callback = std::function<void(const char* text)>;

    /// A disabled channel writing to stderr.
    DebugChannel();
    DebugChannel(const DebugChannel&) = delete;
    DebugChannel& operator=(const DebugChannel&) = delete;

    void enable() { m_enabled.store(true, std::memory_order_relaxed); }
    void disable() { m_enabled.store(false, std::memory_order_relaxed); }
    bool enabled() const { return m_enabled.load(std::memory_order_relaxed); }

    /// Sends output to `file` (flushed after each print); null sends it nowhere.
    /// The file is not owned. Used while no callback is set.
    void setFile(std::FILE* file);
    std::FILE* getFile() const;
    /// Sends output to `callback`; an empty callback returns output to the file.
    void setCallback(Callback callback);

    /// Formats `fmt` with its arguments (any length) and delivers the text.
    /// A disabled channel returns at once, reading no argument.
    /// Cost: one formatting pass plus delivery under the channel's mutex.
    void print(const char* fmt, ...) OX_PRINTF_FORMAT(2, 3);

private:
    void deliver(const char* text);

    std::atomic<bool> m_enabled{false};
    mutable std::mutex m_mutex;
    std::FILE* m_file;
    Callback m_callback;
};
}  // namespace oxOS
