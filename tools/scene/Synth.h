#pragma once

#include "Kal/Base/KalTypes.h"

#include <cstdint>
#include <memory>
#include <string>

namespace kalscene {

/// A sound that a scene makes itself: mono, at 48 kHz whatever the output's rate.
struct Synth {
    std::string kind;         ///< "noise", "tone", "sweep", "pluck", "step" or "click"
    double duration = 1.0;    ///< s
    double frequency = 440.0; ///< Hz: of a tone or a pluck, where a sweep begins
    double to = 440.0;        ///< Hz: where a sweep ends
    int harmonics = 1;        ///< of a tone; the k-th is 1 / k as loud as the first
    double attack = 0.0;      ///< s in which it rises from silence
    double decay = 0.0;       ///< s in which it then falls by 60 dB; 0: it does not
    std::uint32_t seed = 1;   ///< of what is random
};

/// Within -1 ... 1, the same on every machine but for the last bits of a sine.
///     noise   white
///     tone    a sine and its harmonics, its peak about 1
///     sweep   a sine whose frequency moves from `frequency` to `to`, as many octaves in every second
///     pluck   a string of noise that rings out
///     step    a shoe on gravel: two bursts of dull noise
///     click   one frame of 1, then silence
std::shared_ptr<const kal::Buffer> Synthesize(const Synth& synth);

} // namespace kalscene
