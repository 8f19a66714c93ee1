#include "bench/scene/Workload.h"

#include <cmath>
#include <numbers>

namespace scene {

std::vector<std::int16_t> Sound(int voice, int numFrames)
{
    std::vector<std::int16_t> samples(static_cast<std::size_t>(numFrames));
    const double frequency = 100.0 + 37.0 * (voice % 97);
    for (int i = 0; i < numFrames; ++i)
        samples[static_cast<std::size_t>(i)] =
            static_cast<std::int16_t>(3000.0 * std::sin(2.0 * std::numbers::pi * frequency * i / kSampleRate) +
                                      (i * 7919 + voice * 104729) % 999);
    return samples;
}

std::array<float, 3> Position(int voice, int block, Motion motion)
{
    constexpr double kDegree = std::numbers::pi / 180.0;
    const double turned = motion == Motion::Static ? 0.0 : block;
    const double azimuth = (voice * 137.508 - turned) * kDegree; // the golden angle spreads any number evenly
    const double elevation = (-40.0 + 130.0 * ((voice * 29) % 101) / 100.0) * kDegree;
    const double distance = 1.0 + 9.0 * ((voice * 13) % 89) / 88.0;
    return {static_cast<float>(distance * std::sin(azimuth) * std::cos(elevation)),
            static_cast<float>(distance * std::sin(elevation)),
            static_cast<float>(distance * std::cos(azimuth) * std::cos(elevation))};
}

} // namespace scene
