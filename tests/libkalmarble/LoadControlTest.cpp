#include "libkalmarble/LoadControl.h"

#include <gtest/gtest.h>

#include <limits>

namespace kalmarble::test {
namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(LoadControl, RaisesTheLimitUpToTheMaximum)
{
    EXPECT_EQ(RaisedPolyphonyLimit(99, 100), 100);
    EXPECT_EQ(RaisedPolyphonyLimit(100, 100), 100);
    EXPECT_EQ(RaisedPolyphonyLimit(16, -8), -8);
    EXPECT_EQ(RaisedPolyphonyLimit(kMost, kMost), kMost);
}

TEST(LoadControl, DecidesByTheTimeThatABlockTook)
{
    constexpr int kUnreported = -1;
    struct Case {
        const char* what;
        double elapsed, duration;
        int count, limit, maximum, expected, percent = kUnreported;
    };
    for (const Case c : {
             Case{"nothing tracked", 9, 1, 0, 20, 100, 20},
             {"headroom, not at the limit", 0.5, 1, 19, 20, 100, 20},
             {"headroom at the limit", 0.5, 1, 20, 20, 100, 22},
             {"one below the maximum", 0.5, 1, 99, 99, 100, 100},
             {"twice the load", 2, 1, 100, 100, 100, 40, 200},
             {"the least limit", 1, 1, 10, 100, 100, 16, 100},
             {"just above the least limit", 1, 1, 22, 100, 100, 17, 100}, // 17.6, cut
             {"a mild overload stops nothing", 0.519, 1, 40, 40, 100, 61, 51},
             {"the least limit above the maximum", 2, 1, 8, 8, 8, 16},
             {"a block without length", 1e-6, 0, 40, 40, 100, 16, kMost},
             {"a round without end", kInfinity, 1, 40, 40, 100, 16, kMost},
             {"more than an integer holds", 0.50001, 1, kMost, kMost, kMost, kMost},
         }) {
        SCOPED_TRACE(c.what);
        const auto [limit, percent] = AdjustedPolyphonyLimit(c.elapsed, c.duration, c.count, c.limit, c.maximum);
        EXPECT_EQ(limit, c.expected);
        EXPECT_EQ(percent.value_or(kUnreported), c.percent);
    }
}

TEST(LoadControl, ReportsReadsThatTakeMoreThanAFifthOfTheBlock)
{
    struct Case {
        double elapsed, duration;
        std::optional<int> percent;
    };
    for (const Case& c : {Case{0.2, 1, std::nullopt},
                          {0.2001, 1, 20},
                          {0.0021333, 512 / 48000.0, std::nullopt},
                          {0.0021334, 512 / 48000.0, 20},
                          {3, 1, 300},
                          {1e-6, 0, kMost},
                          {0, 0, std::nullopt}})
        EXPECT_EQ(LateReadPercent(c.elapsed, c.duration), c.percent) << c.elapsed;
}

} // namespace
} // namespace kalmarble::test
