#include "libkalmarble/RoomReverb.h"

#include <algorithm>
#include <cmath>

namespace kalmarble {

kal::ReverbSettings RoomReverb(const KalReverbParam& room)
{
    const float area = room.roomArea > 0.01f ? room.roomArea : 0.01f;
    float rt = 0.161f * room.roomVolume / area / 0.4f * 1.5f;
    float mid, k;
    if (!(rt >= 1.2f)) { // NaN too
        rt = 1.2f;
        mid = 0.36f;
        k = 0.8f;
    } else if (rt > 15.0f) {
        rt = 15.0f;
        mid = 4.5f;
        k = -13.0f;
    } else {
        mid = 0.3f * rt;
        k = 2.0f - rt;
    }
    const float level = 0.5f * (0.34f * std::pow(room.wetLevelA, 4.0f) * std::pow(room.wetLevelB, 3.0f) + 0.02f);
    const float wet = level >= 0.01f ? std::min(level, 0.5f) : 0.01f;
    const float scale = std::clamp(k, 1.0f, 2.0f);
    return {{{scale * wet * 0.5f, kal::kShortSize, 0.1f, 0.0f},
             {scale * wet, kal::kMidSize, mid, 0.0f},
             {wet, kal::kLongSize, rt, 0.0f}}};
}

} // namespace kalmarble
