#include "libkalmarble/RoomReverb.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kalmarble::test {
namespace {

constexpr float kNan = NAN, kInfinity = INFINITY;

// rt60 is 0.60375 roomVolume / roomArea, within 1.2 ... 15 s; the middle reverb's is 0.3 of it. The level is
// 0.17 a^4 b^3 + 0.01, within 0.01 ... 0.5, in every room; the short reverb's is half of it.
TEST(RoomReverb, DecaysAsLongAsTheRoomIsLargeAndBareAndIsAsLoudAsBothLevelsSay)
{
    struct Case {
        float volume, area, a, b;
        double rt60, level;
    };
    for (const Case c : {Case{198, 100, 0, 1, 1.2, 0.01},
                         {200, 100, 0.5f, 1, 1.2075, 0.020625},
                         {2484, 100, 1, 0.5f, 14.99715, 0.03125},
                         {2485, 100, 2, 1, 15, 0.5},
                         {0.1f, -5, 1, -1, 6.0375, 0.01},
                         {0.1f, kNan, kNan, 1, 6.0375, 0.01},
                         {kNan, 100, 1, 1, 1.2, 0.18},
                         {kInfinity, 100, kInfinity, 0, 15, 0.01},
                         {kInfinity, kInfinity, kInfinity, 1, 1.2, 0.5},
                         {-100, 1, 0, 0, 1.2, 0.01}}) {
        SCOPED_TRACE(testing::Message() << c.volume << " m3, " << c.area << " m2");
        const auto settings = RoomReverb({c.a, c.volume, c.area, 0, c.b});
        const double times[] = {0.1, 0.3 * c.rt60, c.rt60}, levels[] = {0.5 * c.level, c.level, c.level};
        const float sizes[] = {0.001f, 0.013f, 0.036f};
        for (const int i : {0, 1, 2}) {
            EXPECT_NEAR(settings[i].rt60, times[i], 4e-7 * times[i]); // up to six roundings to float
            EXPECT_NEAR(settings[i].level, levels[i], 1e-7);
            EXPECT_EQ(settings[i].size, sizes[i]);
        }
    }
}

} // namespace
} // namespace kalmarble::test
