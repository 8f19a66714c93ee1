#pragma once

#include <cstdint>

namespace kal {

/// The peak limiter at the end of the mix: a frame that would exceed full scale is scaled to it at once, and the gain
/// then returns to 1 as 1 - exp(-t / 1 s).
class Compressor {
public:
    /// [control] @param samplingRate Hz, > 0
    explicit Compressor(double samplingRate);

    /// [render] Limits numFrames interleaved stereo frames in place. A sample that is not finite becomes 0 and leaves
    /// the gain alone; every sample is within -1 ... 1 but for rounding afterwards.
    void Process(float* frames, unsigned numFrames);

    /// [render] For measurements: how many frames so far would have exceeded full scale.
    std::uint64_t NumLimitedFrames() const { return numLimitedFrames; }

private:
    float releaseCoef;
    float releaseStep;
    float gain = 1.0f;
    std::uint64_t numLimitedFrames = 0;
};

} // namespace kal
