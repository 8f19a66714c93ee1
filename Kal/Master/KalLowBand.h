#pragma once

#include "Kal/Master/KalUtilsBiquad.h"

namespace kal {

/// Lifts the lowest octaves: the low send through a band-pass at 70 Hz, then through a soft saturation that adds
/// harmonics. One thread at a time.
class LowBand {
public:
    /// [control] @param samplingRate Hz, above 140
    explicit LowBand(double samplingRate);

    /// [render] Adds the band v = 0.05 y of the next block, with 7/8 v^3 of it where |v| <= 2 and 7 with its sign
    /// beyond, to both channels. Samples that are not usable count as 0; a state that is not finite is cleared.
    /// @param lowSend numFrames  @param mix numFrames of interleaved stereo
    void Render(unsigned numFrames, const float* lowSend, float* mix);

private:
    SingleBiquadFilter section;
};

} // namespace kal
