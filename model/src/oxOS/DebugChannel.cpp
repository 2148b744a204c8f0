// A switchable diagnostic channel. The enabled flag is checked before the
// variable arguments are touched, so disabled diagnostics cost one atomic load;
// formatting happens outside the lock and only delivery is serialised.

#include "oxOS/DebugChannel.h"

#include <cstdarg>
#include <string>
#include <utility>

namespace oxOS
{
DebugChannel::DebugChannel() : m_file(stderr) {}

void DebugChannel::setFile(std::FILE* file)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_file = file;
}

std::FILE* DebugChannel::getFile() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_file;
}

void DebugChannel::setCallback(Callback callback)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_callback = std::move(callback);
}

void DebugChannel::print(const char* fmt, ...)
{
    if (!enabled())
        return;
    std::va_list args;
    va_start(args, fmt);
    const std::string text = oxString::formatV(fmt, args);
    va_end(args);
    deliver(text.c_str());
}

void DebugChannel::deliver(const char* text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_callback)
    {
        m_callback(text);
    }
    else if (m_file)
    {
        std::fputs(text, m_file);
        std::fflush(m_file);
    }
}
}  // namespace oxOS
