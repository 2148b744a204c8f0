// The application's user-facing output. Messages are formatted outside the
// lock and delivered under it, so concurrent messages never interleave and a
// slow formatter does not hold up other threads.

#include "oxOS/AppOutput.h"

#include <cstdarg>
#include <string>
#include <utility>

namespace oxOS
{
AppOutput::AppOutput() : m_infoFile(stdout), m_errorFile(stderr) {}

AppOutput& AppOutput::getInstance()
{
    // Never destroyed: messages from other static destructors must still work.
    static AppOutput* const instance = new AppOutput;
    return *instance;
}

void AppOutput::info(const char* fmt, ...)
{
    std::va_list args;
    va_start(args, fmt);
    const std::string text = oxString::formatV(fmt, args);
    va_end(args);
    deliver(Level::Info, text.c_str());
}

void AppOutput::error(const char* fmt, ...)
{
    std::va_list args;
    va_start(args, fmt);
    const std::string text = oxString::formatV(fmt, args);
    va_end(args);
    deliver(Level::Error, text.c_str());
}

void AppOutput::setInfoFile(std::FILE* file)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_infoFile = file;
}

void AppOutput::setErrorFile(std::FILE* file)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_errorFile = file;
}

void AppOutput::setCallback(Callback callback)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_callback = std::move(callback);
}

void AppOutput::deliver(Level level, const char* text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_callback)
    {
        m_callback(level, text);
        return;
    }
    std::FILE* file = level == Level::Info ? m_infoFile : m_errorFile;
    if (file)
    {
        std::fputs(text, file);
        std::fflush(file);
    }
}
}  // namespace oxOS
