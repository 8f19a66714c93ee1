#include "libkalmarble/RoomReverb.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace kalmarble::test {
namespace {

constexpr float kNan = NAN, kInfinity = INFINITY;

// rt60 is 0.60375 roomVolume / roomArea, within 1.2 ... 15 s; the middle reverb's is 0.3 of it.
TEST(RoomReverb, DecaysAsLongAsTheRoomIsLargeAndBare)
{
    struct Case {
        float volume, area;
        double expected;
    };
    for (const Case c : {Case{198, 100, 1.2},
                         {200, 100, 1.2075},
                         {2484, 100, 14.99715},
                         {2485, 100, 15},
                         {0.1f, -5, 6.0375},
                         {0.1f, kNan, 6.0375},
                         {kNan, 100, 1.2},
                         {kInfinity, 100, 15},
                         {kInfinity, kInfinity, 1.2},
                         {-100, 1, 1.2}}) {
        SCOPED_TRACE(testing::Message() << c.volume << " m3, " << c.area << " m2");
        const auto settings = RoomReverb({0, c.volume, c.area, 0, 0});
        EXPECT_EQ(settings[0].rt60, 0.1f);
        EXPECT_NEAR(settings[1].rt60, 0.3 * c.expected, 1e-6 * c.expected);
        EXPECT_NEAR(settings[2].rt60, c.expected, 3e-7 * c.expected); // five roundings to float
    }
}

TEST(RoomReverb, IsAsLoudAsBothLevelsSay)
{
    struct Case {
        float a, b;
        double wet; // 0.17 a^4 b^3 + 0.01 within 0.01 ... 0.5
    };
    for (const Case c : {Case{0, 1, 0.01},
                         {0.5f, 1, 0.020625},
                         {1, 0.5f, 0.03125},
                         {2, 1, 0.5},
                         {1, -1, 0.01},
                         {kNan, 1, 0.01},
                         {kInfinity, 0, 0.01}}) {
        SCOPED_TRACE(testing::Message() << c.a << ' ' << c.b);
        for (const float volume : {0.0f, 1000.0f, 1e6f, kNan}) { // the same in every room
            const auto settings = RoomReverb({c.a, volume, 100, 0, c.b});
            for (const int i : {0, 1, 2}) {
                EXPECT_NEAR(settings[i].level, i == 0 ? 0.5 * c.wet : c.wet, 1e-7);
                EXPECT_EQ(settings[i].size, (std::array{0.001f, 0.013f, 0.036f}[i]));
            }
        }
    }
}

} // namespace
} // namespace kalmarble::test
