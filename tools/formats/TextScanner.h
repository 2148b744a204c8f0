#pragma once
// Internal to trelm_formats: locale-free scanning of text mesh files held in memory. Numbers go
// through std::from_chars (no locale, no allocation, no iostreams); the scanner only moves a
// pointer, and counts lines only when a message needs one.

#include "FileIO.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

namespace trelm::files::detail
{
/// Blank, tab, vertical tab and form feed: the white space inside a line.
inline bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

inline bool isLineBreak(char c)
{
    return c == '\n' || c == '\r';
}

inline bool isWhiteSpace(char c)
{
    return isBlank(c) || isLineBreak(c);
}

/// True for a byte that may follow a number: white space, or the zero byte after the file.
inline bool endsToken(char c)
{
    return isWhiteSpace(c) || c == '\0';
}

/// Parses a float at `first` (bytes up to `last`): an optional sign, then what std::from_chars
/// accepts in general format ("1", "-2.5e3", ".5", "inf", "nan"). A value beyond the float range
/// gives an infinity of its sign, one below it a zero of its sign. Returns the byte after the
/// number, or null (value unchanged) when no number starts at `first`. The caller checks what
/// follows.
const char* parseFloat(const char* first, const char* last, float& value);

/// As parseFloat, for doubles.
const char* parseDouble(const char* first, const char* last, double& value);

/// Parses a decimal integer with an optional sign at `first`. Returns the byte after it, or
/// null (value unchanged) when there is no digit or the magnitude exceeds 2^62. Inline: face
/// indices are the most frequent numbers of most files.
inline const char* parseInteger(const char* first, const char* last, long long& value)
{
    const char* p = first;
    bool negative = false;
    if (p != last && (*p == '-' || *p == '+'))
        negative = *p++ == '-';
    if (p == last || !(*p >= '0' && *p <= '9'))
        return nullptr;
    constexpr long long limit = 1LL << 62;
    long long magnitude = 0;
    for (; p != last && (*p >= '0' && *p <= '9'); ++p)
    {
        const int digit = *p - '0';
        // Tested before the multiplication, which would otherwise overflow past the limit.
        if (magnitude > (limit - digit) / 10)
            return nullptr;
        magnitude = magnitude * 10 + digit;
    }
    value = negative ? -magnitude : magnitude;
    return p;
}

/// Throws at the line of the first zero byte of the context's bytes, if any: text mesh files
/// never hold one, binary and UTF-16 files almost always do. Cost: one memchr over the file.
void rejectZeroBytes(const ReadContext& context);

/// A cursor over the text of a file (the ReadContext's bytes).
class TextScanner
{
public:
    explicit TextScanner(const ReadContext& context)
        : m_begin(context.data()), m_position(context.data()), m_end(context.end())
    {
    }

    const char* position() const { return m_position; }
    void setPosition(const char* position) { m_position = position; }
    std::size_t offset() const { return static_cast<std::size_t>(m_position - m_begin); }
    const char* end() const { return m_end; }
    bool atEnd() const { return m_position >= m_end; }
    char peek() const { return *m_position; }

    /// Skips a UTF-8 byte order mark at the very start.
    void skipByteOrderMark();
    void skipBlanks()
    {
        while (isBlank(*m_position))
            ++m_position;
    }
    void skipWhiteSpace()
    {
        while (isWhiteSpace(*m_position))
            ++m_position;
    }
    /// True at a line break or the end of the file.
    bool atLineEnd() const { return isLineBreak(*m_position) || atEnd(); }
    /// Moves past the next line break ("\n", "\r\n" or "\r"), or to the end of the file.
    void skipLine();
    /// The run of non-white-space bytes at the position (empty at white space or the end).
    std::string_view token() const;
    /// Moves past token().
    void skipToken() { m_position += token().size(); }

    /// Reads a float that ends at white space or the end of the file; fails (see fail) with
    /// "expected <what>, found ..." otherwise.
    float readFloat(const char* what);
    /// As readFloat, for an integer in [minimum, maximum].
    long long readInteger(const char* what, long long minimum, long long maximum);
    /// Tries to read a float as readFloat does; false (position unchanged) when there is none.
    bool tryReadFloat(float& value);

    /// Throws FileError at the current line.
    [[noreturn]] void fail(std::string what) const { failAtLine(offset(), std::move(what)); }
    /// Throws "expected <what>, found <the token here>" (or "found the end of the line/file").
    [[noreturn]] void failExpected(const std::string& what) const;

private:
    const char* m_begin;
    const char* m_position;
    const char* m_end;
};

/// True when `value` may be a coordinate of a position: finite, or the context allows any value.
inline bool acceptsCoordinate(const ReadContext& context, float value)
{
    return std::isfinite(value) || context.allowNonFinite();
}

/// "coordinate nan is not finite" and the like.
std::string nonFiniteMessage(float value);
}  // namespace trelm::files::detail
