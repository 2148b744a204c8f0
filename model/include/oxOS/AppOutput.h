#pragma once
// oxOS::AppOutput: the user-facing messages of the library (information and
// errors a host application shows its user), as opposed to the developer
// diagnostics of the debug channel. Always on; the host decides where it goes.

#include <cstdio>
#include <functional>
#include <mutex>

#include "oxString/CString.h"

namespace oxOS
{
/// The process-wide application output.
/// info() goes to stdout and error() to stderr by default; each can be sent to
/// another FILE* (not owned; null discards), or both to one callback that
/// receives the level and the formatted text of each call.
/// Thread safety: every member may be called from any thread; delivery of one
/// call's text is done under a mutex, so texts never interleave. A callback must
/// not write to AppOutput itself (it would deadlock).
class AppOutput
{
public:
    enum class Level
    {
        Info,
        Error
    };
    using Callback = std::function<void(Level level, const char* text)>;

    /// The one instance, created on first use and never destroyed, so that code
    /// running at process exit may still report.
    static AppOutput& getInstance();

    AppOutput(const AppOutput&) = delete;
    AppOutput& operator=(const AppOutput&) = delete;

    /// printf-style message of the given level; the text is formatted in full
    /// (any length) and delivered. Cost: one formatting pass plus delivery.
    void info(const char* fmt, ...) OX_PRINTF_FORMAT(2, 3);
    void error(const char* fmt, ...) OX_PRINTF_FORMAT(2, 3);

    void setInfoFile(std::FILE* file);
    void setErrorFile(std::FILE* file);
    /// Sends both levels to `callback`; an empty callback returns to the files.
    void setCallback(Callback callback);

private:
    AppOutput();
    void deliver(Level level, const char* text);

    std::mutex m_mutex;
    std::FILE* m_infoFile;
    std::FILE* m_errorFile;
    Callback m_callback;
};
}  // namespace oxOS
