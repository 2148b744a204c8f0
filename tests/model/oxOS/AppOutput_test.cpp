// Application output: info and error reach their own files, or one callback
// with their level.

#include "oxOS/AppOutput.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using oxOS::AppOutput;

TEST(AppOutput, levelsReachTheirFilesOrTheCallback)
{
    std::FILE* infoFile = std::tmpfile();
    std::FILE* errorFile = std::tmpfile();
    ASSERT_TRUE(infoFile && errorFile);
    AppOutput& out = AppOutput::getInstance();
    out.setInfoFile(infoFile);
    out.setErrorFile(errorFile);
    out.info("mesh not changed: %s\n", "genus 1");
    out.error("error %d\n", 7);
    std::string log;
    out.setCallback(
        [&](AppOutput::Level level, const char* text)
        { log += (level == AppOutput::Level::Info ? "I:" : "E:") + std::string(text); });
    out.info("%d%%", 50);
    out.error("x");
    out.setCallback(nullptr);
    out.setInfoFile(stdout);
    out.setErrorFile(stderr);
    EXPECT_EQ(log, "I:50%E:x");
    char buffer[64] = {};
    std::rewind(infoFile);
    EXPECT_STREQ(std::fgets(buffer, sizeof buffer, infoFile), "mesh not changed: genus 1\n");
    std::rewind(errorFile);
    EXPECT_STREQ(std::fgets(buffer, sizeof buffer, errorFile), "error 7\n");
    std::fclose(infoFile);
    std::fclose(errorFile);
}
