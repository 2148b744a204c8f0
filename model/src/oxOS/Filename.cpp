// Wide-to-UTF-8 conversion for file names. wchar_t is UTF-16 on some platforms
// and UTF-32 on others; the decoder handles both by its width and replaces
// anything that is not a valid code point with U+FFFD instead of failing.

#include "oxOS/Filename.h"

#include <cstddef>
#include <cstdint>
#include <cwchar>

namespace oxOS
{
namespace
{
constexpr std::uint32_t replacementCharacter = 0xFFFD;

bool isHighSurrogate(std::uint32_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}
bool isLowSurrogate(std::uint32_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

void appendUtf8(std::uint32_t c, std::string& out)
{
    if (c > 0x10FFFF || isHighSurrogate(c) || isLowSurrogate(c))
        c = replacementCharacter;
    if (c < 0x80)
    {
        out += static_cast<char>(c);
    }
    else if (c < 0x800)
    {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

/// Decodes the code point at text[i] and advances i past it.
std::uint32_t nextCodePoint(const wchar_t* text, std::size_t length, std::size_t& i)
{
    std::uint32_t c = static_cast<std::uint32_t>(text[i++]);
    if (sizeof(wchar_t) == 2)
    {
        c &= 0xFFFF;
        if (isHighSurrogate(c) && i < length)
        {
            const std::uint32_t low = static_cast<std::uint32_t>(text[i]) & 0xFFFF;
            if (isLowSurrogate(low))
            {
                ++i;
                return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            }
        }
    }
    return c;
}

std::string wideToUtf8(const wchar_t* text, std::size_t length)
{
    std::string out;
    out.reserve(length);
    for (std::size_t i = 0; i < length;)
        appendUtf8(nextCodePoint(text, length, i), out);
    return out;
}
}  // namespace

Filename::Filename(const wchar_t* path)
{
    if (path)
        m_utf8 = wideToUtf8(path, std::wcslen(path));
}

Filename::Filename(const std::wstring& path) : m_utf8(wideToUtf8(path.data(), path.size())) {}

std::string Filename::asMultibyte(Encoding) const
{
    // Both encodings are UTF-8 bytes: the library treats the platform's narrow
    // file-name encoding as UTF-8.
    return m_utf8;
}
}  // namespace oxOS
