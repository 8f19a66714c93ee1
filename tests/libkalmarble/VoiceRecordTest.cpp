#include "libkalmarble/VoiceRecord.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kalmarble::test {
namespace {

// Volume 0.5, speed 1.5. The listener at (1, 2, 3) looks along +x with -z on its left, so (0, 0, 4) of its frame is at
// (5, 2, 3) in the world.
TEST(VoiceRecord, FollowsDistanceRoomAndWall)
{
    constexpr bool kMono = true, kStereo = false, kInWorld = false, kToListener = true;
    constexpr float kNan = NAN, kRoot = 0.70710678f;
    Listener listener;
    listener.Place({1, 2, 3}, {1, 0, 0}, {0, 1, 0});
    struct Case {
        const char* what;
        bool isMono, isRelative;
        kal::Vector3 origin;
        float referenceDistanceSq, roomSize, wall;
        kal::Vector3 place;
        float gain, send, lowpass; ///< gain and send as parts of the volume
    };
    for (const Case& c : {
             Case{"one channel in the world", kMono, kInWorld, {5, 3, 5}, 4, 9, 0.3f, {2, 1, 4}, 1, 1, 0.3f},
             {"one channel at the listener", kMono, kToListener, {2, 1, 4}, 4, 9, 0.3f, {2, 1, 4}, 1, 1, 1},
             {"one channel beyond the room", kMono, kToListener, {0, 0, 6}, 4, 2, 1, {0, 0, 6}, 1, 0.5f, 1},
             {"two channels at twice the distance", kStereo, kInWorld, {5, 2, 3}, 4, 9, 1, {0, 0, 4}, 0.5f, kRoot, 1},
             {"on the reference distance", kStereo, kToListener, {0, 2, 0}, 4, 9, 1, {0, 2, 0}, 1, 1, 1},
             {"on the edge of the room", kStereo, kToListener, {3, 0, 0}, 9, 2, 1, {3, 0, 0}, 1, 1, 1},
             {"beyond it", kStereo, kToListener, {-4, 0, 0}, 1, 2, 1, {-4, 0, 0}, 0.25f, 0.375f, 1},
             {"in no room", kStereo, kToListener, {0, 0.5f, 0}, 4, 0, 1, {0, 0.5f, 0}, 1, 0, 1},
             {"at the listener, in no room", kMono, kToListener, {}, 4, 0, 1, {}, 1, 1, 1},
             {"no reference distance", kStereo, kToListener, {0, 0, 1}, 0, 9, 1, {0, 0, 1}, 0, 0, 1},
             {"and no distance", kStereo, kToListener, {}, 0, 9, 1, {}, 0, 0, 1},
             {"a negative one", kStereo, kToListener, {0, 0, 2}, -1, 9, 1, {0, 0, 2}, 1, 1, 1},
             {"a place that is none", kStereo, kToListener, {kNan, 0, 0}, 1, 9, 1, {kNan, 0, 0}, 0, 0, 1},
             {"a room that is none", kMono, kToListener, {0, 0, 9}, 1, kNan, 1, {0, 0, 9}, 1, 1, 1},
             {"a wall that is none", kMono, kInWorld, {1, 2, 3}, 1, 9, kNan, {}, 1, 1, 0},
         }) {
        SCOPED_TRACE(c.what);
        const PlacedSound sound{{0.5f, 1.5f, c.referenceDistanceSq}, c.origin, c.isRelative, c.isMono};
        const kal::ChannelParam p = VoiceRecord(sound, listener, c.roomSize, c.wall);
        EXPECT_EQ(p.isSpatialized, c.isMono);
        EXPECT_EQ(p.speed, 1.5);
        EXPECT_EQ(p.referenceDistanceSq, c.referenceDistanceSq);
        EXPECT_FLOAT_EQ(p.gain, 0.5f * c.gain);
        EXPECT_FLOAT_EQ(p.reverbSendGain, 0.5f * c.send);
        EXPECT_EQ(p.lowpassCoef, c.lowpass);
        const float seen[] = {p.sourcePosition.x, p.sourcePosition.y, p.sourcePosition.z};
        const float place[] = {c.place.x, c.place.y, c.place.z};
        for (const int i : {0, 1, 2}) EXPECT_TRUE(seen[i] == place[i] || (std::isnan(seen[i]) && std::isnan(place[i])));
    }
}

} // namespace
} // namespace kalmarble::test
