#pragma once

#include <array>

namespace kal {

/// What the host sets of one reverb.
struct ReverbSetting {
    float level;    ///< linear output gain
    float size;     ///< length of the shortest line, seconds
    float rt60;     ///< time in which the tail falls by 60 dB, seconds
    float preDelay; ///< seconds
};

/// Of the short, the middle and the long reverb.
using ReverbSettings = std::array<ReverbSetting, 3>;

inline constexpr ReverbSettings kDefaultReverbSettings = {{
    {0.3f, 0.001f, 0.1f, 0.0f},
    {0.2f, 0.013f, 1.0f, 0.0f},
    {0.17f, 0.036f, 3.0f, 0.0f},
}};

} // namespace kal
