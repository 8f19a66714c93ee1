#include "Kal/Space/KalArctangent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kal {
namespace {

TEST(Arctangent, IsExactToALittleMoreThanTheLastPlace)
{
    for (int i = -20000; i <= 20000; ++i) {
        const float slope = static_cast<float>(i) * std::exp2(static_cast<float>(i % 40) - 20.0f);
        for (const float x : {-3.0f, -1e-7f, 1e-7f, 3.0f}) {
            const float actual = Arctangent(slope * x, x);
            const double expected = std::atan2(static_cast<double>(slope * x), static_cast<double>(x));
            const float place = std::nextafter(std::abs(actual), 4.0f) - std::abs(actual);
            ASSERT_NEAR(actual, expected, 1.4 * place) << slope << ' ' << x;
        }
    }
}

TEST(Arctangent, KnowsTheAxesAndInfinity)
{
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float y : {-infinity, -1.0f, -0.0f, 0.0f, 1.0f, infinity})
        for (const float x : {-infinity, -1.0f, -0.0f, 0.0f, 1.0f, infinity}) {
            EXPECT_FLOAT_EQ(Arctangent(y, x), std::atan2(y, x)) << y << ' ' << x;
            EXPECT_EQ(std::signbit(Arctangent(y, x)), std::signbit(y)) << y << ' ' << x;
        }
    EXPECT_TRUE(std::isnan(Arctangent(std::nanf(""), 1.0f)));
    EXPECT_TRUE(std::isnan(Arctangent(1.0f, std::nanf(""))));
}

} // namespace
} // namespace kal
