#include "libkalmarble/LoadControl.h"

#include <gtest/gtest.h>

#include <limits>

namespace kalmarble::test {
namespace {

constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(LoadControl, RaisesTheLimitUpToTheMaximum)
{
    struct Case {
        int limit, maximum, expected;
    };
    for (const Case c : {Case{16, 100, 17},
                         {99, 100, 100},
                         {100, 100, 100},
                         {16, 8, 8},
                         {0, 0, 0},
                         {-5, -5, -5},
                         {kMost, kMost, kMost},
                         {kLeast, kLeast, kLeast},
                         {kLeast, kMost, kLeast + 1}}) {
        EXPECT_EQ(RaisedPolyphonyLimit(c.limit, c.maximum), c.expected) << c.limit << ' ' << c.maximum;
    }
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
             {"a count below zero", 9, 1, -1, 20, 100, 20},
             {"headroom, not at the limit", 0.5, 1, 19, 20, 100, 20},
             {"headroom at the limit", 0.5, 1, 20, 20, 100, 22},
             {"one below the maximum", 0.5, 1, 99, 99, 100, 100},
             {"at the greatest maximum", 0, 1, kMost, kMost, kMost, kMost},
             {"full load", 1, 1, 40, 100, 100, 32, 100},
             {"twice the load", 2, 1, 100, 100, 100, 40, 200},
             {"the least limit", 1, 1, 10, 100, 100, 16, 100},
             {"just above the least limit", 1, 1, 22, 100, 100, 17, 100}, // 17.6, cut
             {"a mild overload stops nothing", 0.51, 1, 40, 40, 100, 62, 51},
             {"and is silent when all may play", 0.51, 1, 99, 99, 100, 100},
             {"the least limit above the maximum", 2, 1, 8, 8, 8, 16},
             {"a block without length", 1e-6, 0, 40, 40, 100, 16, kMost},
             {"a block without length, no time taken", 0, 0, 40, 40, 100, 42},
             {"a round without end", kInfinity, 1, 40, 40, 100, 16, kMost},
             {"an endless block", 1, kInfinity, 40, 40, 100, 42},
             {"more than an integer holds", 0.50001, 1, kMost, kMost, kMost, kMost},
         }) {
        SCOPED_TRACE(c.what);
        const auto [limit, percent] = AdjustedPolyphonyLimit(c.elapsed, c.duration, c.count, c.limit, c.maximum);
        EXPECT_EQ(limit, c.expected);
        EXPECT_EQ(percent.value_or(kUnreported), c.percent);
    }
}

TEST(LoadControl, CutsPercentagesToWhatAnIntegerHolds)
{
    EXPECT_EQ(LoadPercent(0.2199, 1.0), 21);
    EXPECT_EQ(LoadPercent(1e9, 1e-9), kMost);
    EXPECT_EQ(LoadPercent(1.0, 0.0), kMost);
    EXPECT_EQ(LoadPercent(0.0, 0.0), 0);
}

} // namespace
} // namespace kalmarble::test
