// Printf-style formatting into strings of any length. A first pass formats into
// a stack buffer, which holds nearly every diagnostic line; only longer texts
// pay for the second pass into an exactly sized heap string.

#include "oxString/CString.h"

#include <cstdio>

namespace oxString
{
std::string formatV(const char* fmt, std::va_list args)
{
    if (!fmt)
        return std::string();
    char buffer[512];
    std::va_list retry;
    va_copy(retry, args);
    const int needed = std::vsnprintf(buffer, sizeof(buffer), fmt, args);
    std::string text;
    if (needed < 0)
    {
        // An encoding error: there is no text to return.
    }
    else if (static_cast<std::size_t>(needed) < sizeof(buffer))
    {
        text.assign(buffer, static_cast<std::size_t>(needed));
    }
    else
    {
        text.resize(static_cast<std::size_t>(needed));
        std::vsnprintf(&text[0], text.size() + 1, fmt, retry);
    }
    va_end(retry);
    return text;
}

CString& CString::format(const char* fmt, ...)
{
    std::va_list args;
    va_start(args, fmt);
    m_text = formatV(fmt, args);
    va_end(args);
    return *this;
}
}  // namespace oxString
