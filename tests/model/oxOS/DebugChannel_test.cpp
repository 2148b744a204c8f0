// Debug channel: silent and not formatting while disabled, exact delivery to a
// callback or file, one delivery at a time, and the geometry channel.

#include "oxOS/DebugChannel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "oxGeom/debugChannel.h"

using oxOS::DebugChannel;

TEST(DebugChannel, disabledChannelFormatsNothingAndGeometryChannelIsShared)
{
    DebugChannel channel;
    int calls = 0;
    channel.setCallback([&](const char*) { ++calls; });
    // Formatting %s with this pointer would crash: it must not be touched.
    const char* badPointer = reinterpret_cast<const char*>(std::uintptr_t(16));
    channel.print("%s\n", badPointer);
    channel.enable();
    channel.disable();
    channel.print("%s\n", badPointer);
    EXPECT_EQ(calls, 0);
    oxOS::DebugChannel* fromOtherThread = nullptr;  // the geometry channel is process-wide
    std::thread([&] { fromOtherThread = &oxGeom::debugChannel(); }).join();
    EXPECT_EQ(&oxGeom::debugChannel(), fromOtherThread);
}

TEST(DebugChannel, textsReachCallbackExactlyThenFile)
{
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    DebugChannel channel;
    EXPECT_EQ(channel.getFile(), stderr);
    channel.setFile(file);
    channel.enable();
    std::vector<std::string> texts;
    channel.setCallback([&](const char* text) { texts.push_back(text); });
    channel.print("meshBoundingBox: %d vertices  %f s\n", 8, 0.25);
    channel.setCallback(nullptr);
    channel.print("to file %d\n", 1);
    EXPECT_EQ(texts, std::vector<std::string>{"meshBoundingBox: 8 vertices  0.250000 s\n"});
    char buffer[64] = {};
    std::rewind(file);
    EXPECT_STREQ(std::fgets(buffer, sizeof buffer, file), "to file 1\n");
    std::fclose(file);
}

TEST(DebugChannel, concurrentPrintsAreDeliveredOneAtATime)
{
    DebugChannel channel;
    channel.enable();
    std::atomic<int> inside{0}, overlaps{0};
    int delivered = 0;
    channel.setCallback(
        [&](const char*)
        {
            overlaps += ++inside > 1;
            ++delivered;
            std::this_thread::yield();
            --inside;
        });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&channel, t]
            {
                for (int i = 0; i < 200; ++i)
                    channel.print("thread %d line %d\n", t, i);
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(delivered, 800);
}
