// Progress trees: sub-phases map onto the parent's range, captions travel to
// the root, cancels reach descendants only, and concurrent reports never
// enter the host callback twice at once.

#include "oxUtil/Progress.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

using oxUtil::Progress;

TEST(Progress, subPhaseMapsChildFractionsToParentRangeAndCancelGoesDown)
{
    double lastFraction = -1;
    std::string lastCaption;
    Progress root(
        [&](double f, const char* c)
        {
            lastFraction = f;
            lastCaption = c;
        });
    root.set(0.2);
    Progress child, grandchild;
    root.subPhase(0.5, child);  // root's [0.2, 0.7]
    child.set(0.5);
    EXPECT_DOUBLE_EQ(root.get(), 0.45);
    EXPECT_DOUBLE_EQ(lastFraction, 0.45);
    child.subPhase(0.5, grandchild);  // child's [0.5, 1] = root's [0.45, 0.7]
    grandchild.set(0.5);
    EXPECT_DOUBLE_EQ(child.get(), 0.75);
    EXPECT_DOUBLE_EQ(root.get(), 0.575);
    grandchild.setCaption("Welding");
    EXPECT_EQ(lastCaption, "Welding");
    EXPECT_DOUBLE_EQ(lastFraction, 0.575);
    grandchild.set(7.0);  // clamped to 1
    EXPECT_DOUBLE_EQ(root.get(), 0.7);
    grandchild.set(std::nan(""));
    EXPECT_EQ(grandchild.get(), 0.0);
    child.subPhase(0.5, root);  // a cycle: ignored
    child.set(1.0);
    EXPECT_DOUBLE_EQ(root.get(), 0.7);
    child.cancel();
    EXPECT_TRUE(grandchild.cancelled());
    EXPECT_FALSE(root.cancelled());
}

TEST(ThreadPoolProgress, concurrentSetsNeverEnterCallbackTwice)
{
    std::atomic<int> inside{0}, overlaps{0}, calls{0};
    Progress root(
        [&](double, const char*)
        {
            overlaps += ++inside > 1;
            ++calls;
            std::this_thread::yield();
            --inside;
        });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&root]
            {
                for (int i = 0; i <= 2000; ++i)
                    root.set(i / 2000.0);
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(overlaps, 0);
    EXPECT_GT(calls, 0);
    EXPECT_EQ(root.get(), 1.0);
}
