#pragma once
// oxString::CString: the library's string value. It wraps std::string so that
// it copies, compares and orders like one, and adds printf-style formatting for
// the diagnostic and message texts the library builds.

#include <cstdarg>
#include <cstddef>
#include <string>
#include <utility>

#if defined(__GNUC__) || defined(__clang__)
#define OX_PRINTF_FORMAT(formatIndex, firstArg) \
    __attribute__((format(printf, formatIndex, firstArg)))
#else
#define OX_PRINTF_FORMAT(formatIndex, firstArg)
#endif

namespace oxString
{
/// Formats `fmt` with the arguments in `args` (printf rules) into a new string
/// of any length. A null `fmt` gives the empty string. `args` is consumed as by
/// vprintf; the caller ends it with va_end.
/// Thread safety: reentrant. Cost: one formatting pass for short texts, two for
/// texts longer than a small stack buffer.
std::string formatV(const char* fmt, std::va_list args);

/// A string value holding UTF-8 (or any) bytes.
/// Inputs: a const char* (null means the empty string) or a std::string.
/// Comparison is byte-wise (std::string order), so CString is usable as a key
/// of ox::set and ox::map.
/// Thread safety: a value type; distinct objects may be used on distinct threads.
class CString
{
public:
    /// The empty string.
    CString() = default;
    /// Copies the zero-terminated text; a null pointer gives the empty string.
    CString(const char* text) : m_text(text ? text : "") {}
    /// Copies the bytes of `text`.
    CString(std::string text) : m_text(std::move(text)) {}

    /// The zero-terminated content; valid until the string is next changed.
    const char* c_str() const { return m_text.c_str(); }
    /// Number of bytes, without the terminating zero.
    std::size_t length() const { return m_text.length(); }
    bool empty() const { return m_text.empty(); }
    /// The content as a standard string.
    const std::string& str() const { return m_text; }

    CString& operator+=(const CString& other)
    {
        m_text += other.m_text;
        return *this;
    }
    CString& operator+=(const char* text)
    {
        if (text)
            m_text += text;
        return *this;
    }
    CString& operator+=(char c)
    {
        m_text += c;
        return *this;
    }

    /// Replaces the content with the printf-style formatting of `fmt` and its
    /// arguments. Output of any length is produced (no truncation). A null
    /// `fmt` gives the empty string.
    /// Returns *this. Cost: two formatting passes when the text is longer than
    /// a small stack buffer, one otherwise.
    CString& format(const char* fmt, ...) OX_PRINTF_FORMAT(2, 3);

    friend bool operator==(const CString& a, const CString& b) { return a.m_text == b.m_text; }
    friend bool operator!=(const CString& a, const CString& b) { return a.m_text != b.m_text; }
    friend bool operator<(const CString& a, const CString& b) { return a.m_text < b.m_text; }
    friend bool operator>(const CString& a, const CString& b) { return a.m_text > b.m_text; }
    friend bool operator<=(const CString& a, const CString& b) { return a.m_text <= b.m_text; }
    friend bool operator>=(const CString& a, const CString& b) { return a.m_text >= b.m_text; }
    friend CString operator+(CString a, const CString& b)
    {
        a += b;
        return a;
    }

private:
    std::string m_text;
};
}  // namespace oxString
