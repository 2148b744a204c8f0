// Number parsing and scanning of the text formats: correctly rounded floats with signs and range
// limits, refused malformed numbers, line numbers for every line-break convention, and quoting
// that keeps file content from breaking a one-line message.

#if defined(TRELM_FORMAT_TESTS)

#include <TextScanner.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace trelm::files::detail;

namespace
{
float floatOf(const std::string& text)
{
    float value = 12345.0f;
    const char* end = parseFloat(text.data(), text.data() + text.size(), value);
    EXPECT_EQ(end, text.data() + text.size()) << text;
    return value;
}

// Runs `action` on a scanner over `text` and returns the FileError message and line it throws.
template <typename Action>
std::string errorOf(const std::string& text, Action action)
{
    trelm::files::ReadOptions options;
    ReadContext context(text.c_str(), text.size(), options);
    TextScanner in(context);
    try
    {
        action(in);
    }
    catch (const FileError& error)
    {
        return "line " + std::to_string(lineOfOffset(text.c_str(), error.offset)) + ": " +
               error.what;
    }
    return "no error";
}
}  // namespace

TEST(TextScanner, floatsAreCorrectlyRoundedWithSignsAndRangeLimits)
{
    EXPECT_EQ(floatOf("0.1"), 0.1f);
    EXPECT_EQ(floatOf("+2.5e1"), 25.0f);
    EXPECT_EQ(floatOf(".5"), 0.5f);
    EXPECT_EQ(floatOf("5."), 5.0f);
    EXPECT_EQ(floatOf("3.4028235e38"), FLT_MAX);
    EXPECT_EQ(floatOf("1.4e-45"), std::nextafter(0.0f, 1.0f));
    EXPECT_TRUE(std::signbit(floatOf("-0")));
    // Beyond the float range: infinities of the value's sign; below it: zeros of its sign.
    EXPECT_EQ(floatOf("1e39"), INFINITY);
    EXPECT_EQ(floatOf("-1e39"), -INFINITY);
    EXPECT_EQ(floatOf("1e400"), INFINITY);
    EXPECT_EQ(floatOf("-123456789e400"), -INFINITY);
    EXPECT_EQ(floatOf("1e-50"), 0.0f);
    EXPECT_TRUE(std::signbit(floatOf("-1e-50")));
    EXPECT_TRUE(std::signbit(floatOf("-0.00001e-400")));
    EXPECT_EQ(floatOf("-Infinity"), -INFINITY);
    EXPECT_TRUE(std::isnan(floatOf("nan")));
    double wide = 0.0;
    const std::string third = "0.333333333333333314829616256247";
    parseDouble(third.data(), third.data() + third.size(), wide);
    EXPECT_EQ(wide, 1.0 / 3.0);
}

TEST(TextScanner, shortDecimalsRoundExactlyAsTheGeneralParserRoundsThem)
{
    // Halfway between the floats 2^24 and 2^24 + 2: ties to even; just above: up.
    EXPECT_EQ(floatOf("16777217"), 16777216.0f);
    EXPECT_EQ(floatOf("16777217.0000001"), 16777218.0f);
    EXPECT_EQ(floatOf("-16777219e0"), -16777220.0f);
    // Decimals of 15 digits whose nearest double is exactly halfway between two floats, while
    // they are not: rounding that double again would pick the wrong float for some of them.
    std::vector<std::string> texts = {"1.90711909532547", "11.6304030418396", "35.4565372467041"};
    std::mt19937 random(3);
    for (int k = 0; k < 200000; ++k)
    {
        std::string text = random() % 4 == 0 ? "-" : "";
        const int digits = 1 + static_cast<int>(random() % 17);
        const int point = static_cast<int>(random() % (digits + 1));
        for (int d = 0; d < digits; ++d)
            text += (d == point ? "." : "") + std::to_string(random() % 10);
        if (random() % 2)
            text += "e" + std::to_string(static_cast<int>(random() % 61) - 30);
        texts.push_back(text);
    }
    for (const std::string& text : texts)
    {
        float expected = 0.0f;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), expected);
        if (result.ec != std::errc())
            continue;
        const float actual = floatOf(text);
        ASSERT_EQ(std::memcmp(&actual, &expected, 4), 0) << text;
    }
}

TEST(TextScanner, malformedNumbersAreRefusedWithTheOffendingText)
{
    for (const char* text : {"", "+", "-", "+-1", "e5", "x1", "."})
    {
        float value = 7.0f;
        const char* end = parseFloat(text, text + std::strlen(text), value);
        EXPECT_EQ(end, nullptr) << text;
        EXPECT_EQ(value, 7.0f) << text;
    }
    auto readThree = [](TextScanner& in)
    {
        for (int k = 0; k < 3; ++k, in.skipWhiteSpace())
            in.readFloat("a number");
    };
    EXPECT_EQ(errorOf("1 2\n1,5", readThree), "line 2: expected a number, found \"1,5\"");
    EXPECT_EQ(errorOf("1 3.1+e2 4", readThree), "line 1: expected a number, found \"3.1+e2\"");
    EXPECT_EQ(errorOf("1 2", readThree), "line 1: expected a number, found the end of the file");
    auto readOnLine = [](TextScanner& in)
    {
        in.readFloat("x");
        in.skipBlanks();
        in.readFloat("y");
    };
    EXPECT_EQ(errorOf("1\n2", readOnLine), "line 1: expected y, found the end of the line");
}

TEST(TextScanner, integersRefuseOverflowFractionsAndRangeViolations)
{
    long long value = 0;
    const std::string big = "4611686018427387904";  // 2^62: the largest magnitude taken
    EXPECT_NE(parseInteger(big.data(), big.data() + big.size(), value), nullptr);
    EXPECT_EQ(value, 1LL << 62);
    const std::string tooBig = "4611686018427387905";
    EXPECT_EQ(parseInteger(tooBig.data(), tooBig.data() + tooBig.size(), value), nullptr);
    const std::string negative = "-17/";
    EXPECT_EQ(parseInteger(negative.data(), negative.data() + 4, value), negative.data() + 3);
    EXPECT_EQ(value, -17);
    auto readCount = [](TextScanner& in) { in.readInteger("a count", 0, 10); };
    EXPECT_EQ(errorOf("2.5", readCount), "line 1: expected a count, found \"2.5\"");
    EXPECT_EQ(errorOf("11", readCount), "line 1: a count 11 out of range [0, 10]");
    EXPECT_EQ(errorOf("+7", readCount), "no error");
}

TEST(TextScanner, linesCountLfCrLfAndLoneCrBreaks)
{
    const std::string text = "a\nb\r\nc\rd\r\n\ne";
    EXPECT_EQ(lineOfOffset(text.c_str(), text.find('a')), 1u);
    EXPECT_EQ(lineOfOffset(text.c_str(), text.find('b')), 2u);
    EXPECT_EQ(lineOfOffset(text.c_str(), text.find('c')), 3u);
    EXPECT_EQ(lineOfOffset(text.c_str(), text.find('d')), 4u);
    EXPECT_EQ(lineOfOffset(text.c_str(), text.find('e')), 6u);
    // Between the \r and the \n of one break the line has not ended yet.
    EXPECT_EQ(lineOfOffset(text.c_str(), text.find('\n', 3)), 2u);
    EXPECT_EQ(errorOf("x\r\ny\rz",
                      [](TextScanner& in)
                      {
                          in.skipLine();
                          in.skipLine();
                          in.fail("here");
                      }),
              "line 3: here");
}

TEST(TextScanner, quotedEscapesControlBytesAndCutsLongText)
{
    EXPECT_EQ(quoteForMessage("abc"), "\"abc\"");
    EXPECT_EQ(quoteForMessage(std::string("a\nb\0\"\xff", 6)), "\"a\\x0ab\\x00\\x22\\xff\"");
    EXPECT_EQ(quoteForMessage(std::string(40, 'x'), 4), "\"xxxx...\"");
    const std::string withZero("v 1 2 3\nv 1\0 2 3\n", 17);
    EXPECT_EQ(errorOf(withZero,
                      [](TextScanner& in) { rejectZeroBytes(ReadContext(in.position(), 17, {})); }),
              "line 2: zero byte in a text file (binary or UTF-16 data?)");
}

#endif
