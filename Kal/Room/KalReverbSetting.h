#pragma once

#include <array>

namespace kal {

/// How one of the three reverbs sounds.
struct ReverbSetting {
    float level = 0.0f;    ///< linear output gain
    float size = 0.0f;     ///< s, length of the shortest line
    float rt60 = 0.0f;     ///< s, time for the tail to fall by 60 dB
    float preDelay = 0.0f; ///< s, 0 ... 1
};

/// Lengths of the shortest lines that the three reverbs are given, s: the largest that their rings have to hold.
inline constexpr float kShortSize = 0.001f, kMidSize = 0.013f, kLongSize = 0.036f;

/// Of the short, the middle and the long reverb.
using ReverbSettings = std::array<ReverbSetting, 3>;

inline constexpr ReverbSettings kDefaultReverbSettings = {{
    {0.3f, kShortSize, 0.1f, 0.0f},
    {0.2f, kMidSize, 1.0f, 0.0f},
    {0.17f, kLongSize, 3.0f, 0.0f},
}};

} // namespace kal
