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
