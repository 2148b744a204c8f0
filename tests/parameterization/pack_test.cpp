// pack: random chart sets come back inside the unit square, without overlap, in the caller's
// order and at one common scale; the worked cases print their exact lines; the single attempt
// keeps its partial results; empty and unplaceable input is refused without looping.

#include <oxGeom/pack.h>

#include <oxLinear/Tolerance.h>

#include "support/debugCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <regex>

using oxLinear::Point2;
using oxLinear::Range2d;

namespace
{
Range2d rect(double x0, double y0, double x1, double y1)
{
    return Range2d(Point2(x0, y0), Point2(x1, y1));
}

// The capture with the summary's "%.2f seconds" masked as well.
std::string packText(const testsupport::DebugCapture& capture)
{
    return std::regex_replace(capture.text(), std::regex("in [0-9]+\\.[0-9]{2} seconds"),
                              "in # seconds");
}

double overlapArea(const Range2d& a, const Range2d& b)
{
    const double w = std::min(a.max()[0], b.max()[0]) - std::max(a.min()[0], b.min()[0]);
    const double h = std::min(a.max()[1], b.max()[1]) - std::max(a.min()[1], b.min()[1]);
    return w > 0 && h > 0 ? w * h : 0.0;
}
}  // namespace

TEST(pack, randomChartsFitWithoutOverlapAtOneScale)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<double> extent(0.01, 0.6), corner(-3.0, 3.0);
    for (int n : {1, 2, 7, 40, 150})
    {
        std::vector<Range2d> rects, original;
        for (int i = 0; i < n; ++i)
        {
            const double x = corner(random), y = corner(random);
            // Every fifth chart repeats an earlier size, so equal sides occur.
            const double w = i % 5 == 4 ? rects[i - 1].size()[0] : extent(random);
            const double h = i % 5 == 4 ? rects[i - 1].size()[1] : extent(random);
            rects.push_back(rect(x, y, x + w, y + h));
        }
        original = rects;
        oxGeom::pack(rects, 0);

        const double scale = rects[0].size()[0] / original[0].size()[0];
        Range2d bounds;
        int failures = 0;
        for (int i = 0; i < n; ++i)
        {
            bounds.include(rects[i]);
            // Caller order and aspect kept: each rectangle is its own, at the common scale.
            for (int axis = 0; axis < 2; ++axis)
                failures +=
                    std::fabs(rects[i].size()[axis] - scale * original[i].size()[axis]) > 1e-9;
            for (int j = 0; j < i; ++j)
                failures += overlapArea(rects[i], rects[j]) > 1e-12;
        }
        EXPECT_EQ(failures, 0) << n << " charts";
        EXPECT_GE(bounds.min()[0], -1e-9);
        EXPECT_GE(bounds.min()[1], -1e-9);
        // Inside the square, and either touching its far side or within the 1.01 slack.
        const double side = std::max(bounds.max()[0], bounds.max()[1]);
        EXPECT_LE(side, 1.0 + 1e-9);
        EXPECT_GE(side, 1.0 / 1.01 - 1e-9);
    }
}

TEST(pack, workedCasesPrintTheirLines)
{
    testsupport::DebugCapture capture;
    std::vector<Range2d> one = {rect(3.0, 4.0, 3.5, 4.25)};
    oxGeom::pack(one, 0);
    EXPECT_EQ(one[0].min(), Point2(0.0, 0.0));
    EXPECT_EQ(one[0].max(), Point2(1.0, 0.5));
    EXPECT_EQ(packText(capture),
              "Packed (3.0000,4.0000)-(3.5000,4.2500) to (0.0000,0.0000)-(0.5000,0.2500)\n"
              "Scaling packing by 2.00\n"
              "Packed 1 items with 1.00 coverage in 1 iterations in # seconds.\n");

    capture.clear();
    std::vector<Range2d> two = {rect(0, 0, 1, 1), rect(0, 0, 1, 1)};
    oxGeom::pack(two, 0);
    EXPECT_EQ(two[0].min(), Point2(0.0, 0.0));
    EXPECT_NEAR(two[1].min()[0], 0.499, 1e-12);
    EXPECT_EQ(two[1].min()[1], 0.0);
    EXPECT_EQ(packText(capture),
              "Packed (0.0000,0.0000)-(1.0000,1.0000) to (0.0000,0.0000)-(0.4990,0.4990)\n"
              "Packed (0.0000,0.0000)-(1.0000,1.0000) to (0.4990,0.0000)-(0.9980,0.4990)\n"
              "Packed 2 items with 0.50 coverage in 3 iterations in # seconds.\n");

    // Only the first six placements are listed.
    capture.clear();
    std::vector<Range2d> eight(8, rect(0, 0, 0.1, 0.1));
    oxGeom::pack(eight, 0);
    const std::string text = packText(capture);
    int listed = 0;
    for (size_t at = text.find("Packed ("); at != std::string::npos;
         at = text.find("Packed (", at + 1))
        ++listed;
    EXPECT_EQ(listed, 6);
}

TEST(pack, singleAttemptPlacesInOrderAndKeepsPartialResults)
{
    // An exact fit takes the whole leaf: a second rectangle finds no room.
    std::vector<Range2d> rects = {rect(5, 5, 6, 6), rect(0, 0, 0.1, 0.1)};
    EXPECT_FALSE(oxGeom::pack(rects));
    EXPECT_EQ(rects[0].min(), Point2(0.0, 0.0));
    EXPECT_EQ(rects[0].max(), Point2(1.0, 1.0));
    EXPECT_EQ(rects[1].max(), Point2(0.1, 0.1));  // unchanged

    // 0.5 x 0.75 splits the square at x = 0.5 (less slack along x), then takes [0, 0.75] of
    // the left part; 0.5 x 0.5 then fills the lower half of the right part.
    rects = {rect(2, 2, 2.5, 2.75), rect(2, 2, 2.5, 2.5)};
    ASSERT_TRUE(oxGeom::pack(rects));
    EXPECT_EQ(rects[0].min(), Point2(0.0, 0.0));
    EXPECT_EQ(rects[1].min(), Point2(0.5, 0.0));
    EXPECT_EQ(rects[1].max(), Point2(1.0, 0.5));

    // Only the last rectangle is checked against the unit square.
    std::vector<Range2d> hopeless = {rect(0, 0, 0.5, 0.5), rect(0, 0, 1.5, 0.2)};
    const std::vector<Range2d> before = hopeless;
    EXPECT_FALSE(oxGeom::pack(hopeless));
    EXPECT_EQ(hopeless[0].max(), before[0].max());
}

TEST(pack, emptyAndUnplaceableInputIsRefused)
{
    testsupport::DebugCapture capture;
    std::vector<Range2d> none;
    EXPECT_TRUE(oxGeom::pack(none));
    oxGeom::pack(none, 0);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(capture.text(), "");

    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const Range2d& bad :
         {rect(0, 0, nan, 0.1), rect(0, 0, inf, 0.1), Range2d(), rect(-1e308, 0, 1e308, 0.1)})
    {
        std::vector<Range2d> rects = {rect(0, 0, 0.2, 0.2), bad};
        EXPECT_FALSE(oxGeom::pack(rects));
        EXPECT_EQ(rects[0].max(), Point2(0.2, 0.2));
        capture.clear();
        oxGeom::pack(rects, 0);
        EXPECT_EQ(rects[0].max(), Point2(0.2, 0.2));
        EXPECT_EQ(capture.text(),
                  "pack: 2 items, a rectangle is empty or not finite; nothing packed\n");
    }

    // Zero sizes are placed at the origin and never scaled by 1/0.
    std::vector<Range2d> points = {rect(1, 1, 1, 1), rect(2, 3, 2, 3)};
    oxGeom::pack(points, 0);
    for (const Range2d& r : points)
    {
        EXPECT_EQ(r.min(), Point2(0.0, 0.0));
        EXPECT_EQ(r.max(), Point2(0.0, 0.0));
    }
}
