// Whole-file input and the crash-safe output: what a read refuses, that an uncommitted output
// leaves nothing behind while a committed one replaces the destination, and that floats are
// written in the shortest text that reads back to the same bits.

#if defined(TRELM_FORMAT_TESTS)

#include <FileIO.h>
#include <TextScanner.h>

#include "formatTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

using namespace trelm::files::detail;
using formatTests::ScratchDir;

namespace
{
std::string loadError(const std::string& path)
{
    try
    {
        FileBytes bytes(path);
    }
    catch (const FileError& error)
    {
        EXPECT_EQ(error.place, Place::None);
        return error.what;
    }
    return "no error";
}
}  // namespace

TEST(FileIO, fileBytesEndInAZeroAndRefuseEmptyMissingAndDirectoryPaths)
{
    ScratchDir dir;
    formatTests::writeBytes(dir.file("three"), "abc");
    FileBytes bytes(dir.file("three"));
    ASSERT_EQ(bytes.size(), 3u);
    EXPECT_EQ(std::memcmp(bytes.data(), "abc", 4), 0);
    formatTests::writeBytes(dir.file("empty"), "");
    EXPECT_EQ(loadError(dir.file("empty")), "empty file");
    EXPECT_EQ(loadError(dir.file("missing")), "cannot open: No such file or directory");
    EXPECT_EQ(loadError(dir.path()), "cannot read: Is a directory");
}

TEST(FileIO, outputReplacesTheDestinationOnlyWhenCommitted)
{
    ScratchDir dir;
    const std::string path = dir.file("out.txt");
    formatTests::writeBytes(path, "old");
    {
        OutputFile file(path, nullptr);
        file.putText("new content");
        EXPECT_EQ(dir.entries().size(), 2u);  // the destination and the hidden temporary
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"out.txt"});
    EXPECT_EQ(formatTests::readBytes(path), "old");
    {
        OutputFile file(path, nullptr);
        // More than one buffer's worth, so that flushing in the middle is exercised.
        const std::string block(OutputFile::bufferSize / 3 + 7, 'x');
        for (int k = 0; k < 4; ++k)
            file.putText(block);
        file.putInt(-1234567890123LL);
        file.commit();
        EXPECT_EQ(formatTests::readBytes(path),
                  std::string(4 * block.size(), 'x') + "-1234567890123");
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"out.txt"});
}

TEST(FileIO, floatsAreWrittenShortestAndReadBackToTheSameBits)
{
    ScratchDir dir;
    const std::string path = dir.file("floats.txt");
    std::mt19937 random(7);
    std::vector<float> values = {0.1f, 1e-45f, -0.0f, 3.4028235e38f, 1.0f, 100.0f};
    for (int k = 0; k < 2000; ++k)
    {
        const std::uint32_t bits = random();
        float value;
        std::memcpy(&value, &bits, 4);
        if (std::isfinite(value))
            values.push_back(value);
    }
    {
        OutputFile file(path, nullptr);
        for (float value : values)
        {
            file.putFloat(value);
            file.putChar(' ');
        }
        file.commit();
    }
    const std::string text = formatTests::readBytes(path);
    EXPECT_EQ(text.rfind("0.1 1e-45 -0 3.4028235e+38 1 100 ", 0), 0u) << text.substr(0, 40);
    std::istringstream tokens(text);
    std::string token;
    for (float value : values)
    {
        ASSERT_TRUE(tokens >> token);
        float back = 0.0f;
        parseFloat(token.data(), token.data() + token.size(), back);
        EXPECT_EQ(std::memcmp(&back, &value, 4), 0) << token;
        // Never longer than printf's "%.9g", which every float survives.
        char classic[32];
        std::snprintf(classic, sizeof classic, "%.9g", value);
        EXPECT_LE(token.size(), std::strlen(classic)) << token << " vs " << classic;
    }
}

#endif
