#include "Kal/Master/KalCompressor.h"

#include "Kal/Base/KalInternals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kal {

Compressor::Compressor(double samplingRate)
    : releaseCoef(std::exp(-1.0f / static_cast<float>(samplingRate))), releaseStep(1.0f - releaseCoef)
{
}

void Compressor::Process(float* frames, unsigned numFrames)
{
    // At rest, unless a peak comes: no frame waits for the gain of the one before.
    if (gain * releaseCoef + releaseStep == gain && Peak(2 * std::size_t{numFrames}, frames) * gain <= 1.0f) {
        std::for_each_n(frames, 2 * std::size_t{numFrames}, [&](float& x) { x *= gain; });
        return;
    }
    for (float* frame = frames; frame != frames + 2 * std::size_t{numFrames}; frame += 2) {
        float left = FiniteOrZero(frame[0]) * gain;
        float right = FiniteOrZero(frame[1]) * gain;
        const float peak = std::max(std::abs(left), std::abs(right));
        if (peak > 1.0f) {
            const float scale = 1.0f / peak;
            left *= scale;
            right *= scale;
            gain *= scale;
            ++numLimitedFrames;
        }
        gain = gain * releaseCoef + releaseStep;
        frame[0] = left;
        frame[1] = right;
    }
}

} // namespace kal
