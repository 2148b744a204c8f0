// Stop watch: accumulation across start/stop, freezing, clearing as a lap.

#include "oxOS/StopWatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

TEST(StopWatch, stopFreezesStartResumesClearResets)
{
    const auto nap = [] { std::this_thread::sleep_for(std::chrono::milliseconds(5)); };
    oxOS::StopWatch w;
    nap();
    EXPECT_EQ(w.start(), 0.0);  // a new watch is stopped at zero
    nap();
    const double first = w.stop();
    EXPECT_GE(first, 0.004);
    nap();
    EXPECT_EQ(w.start(), first);
    nap();
    const double lap = w.clear();
    EXPECT_GE(lap, first + 0.004);
    EXPECT_TRUE(w.isRunning());
    EXPECT_LT(w.stop(), lap);
}
