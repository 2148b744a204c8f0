// Locale-free number parsing and line scanning for the text mesh formats. std::from_chars does
// the conversion (correctly rounded, no locale); this file adds what the formats need around it:
// a leading '+', values beyond the float range, and messages that quote the offending text.

#include "TextScanner.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>

namespace trelm::files::detail
{
namespace
{
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// For a number that from_chars found beyond the range of double: whether it is too large (as
// opposed to too small), from the position of its first significant digit and its exponent.
bool isHugeMagnitude(const char* first, const char* last)
{
    const char* p = first;
    if (p != last && (*p == '-' || *p == '+'))
        ++p;
    long long magnitude = 0;
    bool significant = false;
    for (; p != last && isDigit(*p); ++p)
    {
        significant = significant || *p != '0';
        magnitude += significant ? 1 : 0;
    }
    if (p != last && *p == '.')
        for (++p; p != last && isDigit(*p); ++p)
        {
            if (significant)
                continue;
            --magnitude;
            significant = *p != '0';
        }
    long long exponent = 0;
    if (p != last && (*p == 'e' || *p == 'E'))
        parseInteger(p + 1, last, exponent);
    return magnitude + exponent > 0;
}

template <typename Real>
const char* parseReal(const char* first, const char* last, Real& value)
{
    const char* start = first;
    if (first != last && *first == '+')
    {
        ++first;
        if (first != last && (*first == '-' || *first == '+'))
            return nullptr;
    }
    Real parsed;
    const std::from_chars_result result = std::from_chars(first, last, parsed);
    if (result.ec == std::errc())
    {
        value = parsed;
        return result.ptr;
    }
    if (result.ec != std::errc::result_out_of_range)
        return nullptr;
    double wide;
    const std::from_chars_result wideResult = std::from_chars(first, last, wide);
    const bool negative = *first == '-';
    if (wideResult.ec == std::errc())
        value = static_cast<Real>(wide);
    else if (isHugeMagnitude(start, result.ptr))
        value = negative ? -std::numeric_limits<Real>::infinity()
                         : std::numeric_limits<Real>::infinity();
    else
        value = negative ? -Real(0) : Real(0);
    return result.ptr;
}
// Powers of ten that doubles hold exactly.
constexpr double exactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                       1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The common short decimal ("-1234.5678", "0.25", "1e-3"), correctly rounded without the general
// algorithm: when the digits make an integer m <= 2^53 it is an exact double, and for
// |exponent| <= 22 so is 10^|exponent|, so d = m * 10^e or m / 10^-e is the double nearest to the
// decimal value x. Rounding d to float gives the float nearest to x unless d is exactly halfway
// between two floats (any other float rounding boundary between x and d would be a double
// nearer to x than d). That case, results outside the normal float range, and anything unusual
// return null: the caller then takes the general path, which also decides what is malformed.
const char* parseShortFloat(const char* p, const char* last, float& value)
{
    bool negative = false;
    if (p != last && (*p == '-' || *p == '+'))
        negative = *p++ == '-';
    const char* digitsStart = p;
    std::uint64_t mantissa = 0;
    for (; p != last && isDigit(*p); ++p)
        mantissa = 10 * mantissa + static_cast<unsigned>(*p - '0');
    int digits = static_cast<int>(p - digitsStart);
    int exponent = 0;
    if (p != last && *p == '.')
    {
        const char* fraction = ++p;
        for (; p != last && isDigit(*p); ++p)
            mantissa = 10 * mantissa + static_cast<unsigned>(*p - '0');
        exponent = -static_cast<int>(p - fraction);
        digits -= exponent;
    }
    // 19 digits cannot overflow the mantissa; 2^53 keeps it exact as a double.
    if (digits == 0 || digits > 19 || mantissa > (std::uint64_t(1) << 53))
        return nullptr;
    if (p != last && (*p == 'e' || *p == 'E'))
    {
        long long written = 0;
        const char* end = parseInteger(p + 1, last, written);
        if (!end || end - p > 6)
            return nullptr;
        exponent += static_cast<int>(written);
        p = end;
    }
    if (exponent < -22 || exponent > 22)
        return nullptr;
    const double power = exactPowersOfTen[exponent < 0 ? -exponent : exponent];
    const double nearest = exponent < 0 ? static_cast<double>(mantissa) / power
                                        : static_cast<double>(mantissa) * power;
    // Zero, or a normal float: 29 of the double's 52 fraction bits lie beyond the float's 23,
    // and d is halfway between two floats exactly when they read 1000...0.
    if (nearest != 0.0 && (nearest < 0x1p-126 || nearest >= 0x1p+128))
        return nullptr;
    std::uint64_t bits;
    std::memcpy(&bits, &nearest, sizeof bits);
    constexpr std::uint64_t beyondFloat = (std::uint64_t(1) << 29) - 1;
    if ((bits & beyondFloat) == (std::uint64_t(1) << 28))
        return nullptr;
    const float rounded = static_cast<float>(nearest);
    if (std::isinf(rounded))
        return nullptr;
    value = negative ? -rounded : rounded;
    return p;
}
}  // namespace

const char* parseFloat(const char* first, const char* last, float& value)
{
    if (const char* end = parseShortFloat(first, last, value))
        return end;
    return parseReal(first, last, value);
}

const char* parseDouble(const char* first, const char* last, double& value)
{
    return parseReal(first, last, value);
}

std::string nonFiniteMessage(float value)
{
    const char* text = value != value ? "nan" : value > 0 ? "inf" : "-inf";
    return std::string("coordinate ") + text + " is not finite";
}

void rejectZeroBytes(const ReadContext& context)
{
    const void* zero = std::memchr(context.data(), 0, context.size());
    if (zero)
        failAtLine(context.offsetOf(static_cast<const char*>(zero)),
                   "zero byte in a text file (binary or UTF-16 data?)");
}

void TextScanner::skipByteOrderMark()
{
    if (m_end - m_position >= 3 && static_cast<unsigned char>(m_position[0]) == 0xef &&
        static_cast<unsigned char>(m_position[1]) == 0xbb &&
        static_cast<unsigned char>(m_position[2]) == 0xbf)
        m_position += 3;
}

void TextScanner::skipLine()
{
    while (!atLineEnd())
        ++m_position;
    if (*m_position == '\r')
        ++m_position;
    if (*m_position == '\n' && m_position < m_end)
        ++m_position;
}

std::string_view TextScanner::token() const
{
    const char* p = m_position;
    while (p < m_end && !isWhiteSpace(*p))
        ++p;
    return std::string_view(m_position, static_cast<std::size_t>(p - m_position));
}

bool TextScanner::tryReadFloat(float& value)
{
    const char* next = parseFloat(m_position, m_end, value);
    if (!next || !endsToken(*next))
        return false;
    m_position = next;
    return true;
}

float TextScanner::readFloat(const char* what)
{
    float value = 0.0f;
    if (!tryReadFloat(value))
        failExpected(what);
    return value;
}

long long TextScanner::readInteger(const char* what, long long minimum, long long maximum)
{
    long long value = 0;
    const char* next = parseInteger(m_position, m_end, value);
    if (!next || !endsToken(*next))
        failExpected(what);
    if (value < minimum || value > maximum)
        fail(std::string(what) + " " + std::to_string(value) + " out of range [" +
             std::to_string(minimum) + ", " + std::to_string(maximum) + "]");
    m_position = next;
    return value;
}

void TextScanner::failExpected(const std::string& what) const
{
    if (atEnd())
        fail("expected " + what + ", found the end of the file");
    if (isLineBreak(*m_position))
        fail("expected " + what + ", found the end of the line");
    fail("expected " + what + ", found " + quoteForMessage(token()));
}
}  // namespace trelm::files::detail
