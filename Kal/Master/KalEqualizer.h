#pragma once

#include "Kal/Master/KalUtilsBiquad.h"

#include <array>

namespace kal {

/// Evens out the colour of the spatialized path: six bells, one after the other, over both channels. One thread at a
/// time.
class Equalizer {
public:
    /// [control] Bells whose centre is not below half the rate stay flat. @param samplingRate Hz
    explicit Equalizer(double samplingRate);

    /// [render] Adds the next block's equalised signal to `mix`. A frame counts as 0 when either of its samples is not
    /// usable; states that are not finite are cleared.
    /// @param in, mix numFrames of interleaved stereo, two arrays
    void Render(unsigned numFrames, const float* in, float* mix);

private:
    std::array<DualBiquadFilter, DualBiquadFilter::kNumSections> sections;
};

} // namespace kal
