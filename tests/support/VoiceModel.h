#pragma once

#include "Kal/Voice/KalChannelRenderer.h"
#include "tests/support/TestBuffer.h"

#include <vector>

namespace kal::test {

/// The straightforward form of a voice, frame by frame in double: what every renderer, kernel and span has to match.
class VoiceModel {
public:
    enum class Kind { Spatialized, Mono, Stereo };

    /// What a span adds to the buses; one entry a frame rendered.
    struct Span {
        std::vector<double> left, right, reverbSend, lowSend;
        bool goesOn = true;
    };

    VoiceModel(Kind output, Interpolation how, const TestBuffer& sound, double engineRate, const ChannelParam& initial)
        : param(initial),
          kind(output),
          interpolation(how),
          buffer(sound),
          rateRatio(sound.GetSamplingRate() / engineRate)
    {
    }

    Span Render(int count);

    ChannelParam param; ///< its position moves

private:
    double Frame(long long index, int channel) const;
    double Sample(double x, int channel) const;
    double Wrapped(double x) const;

    Kind kind;
    Interpolation interpolation;
    const TestBuffer& buffer;
    double rateRatio;
    bool reachedLoopStart = false;
    bool hasGains = false;
    double directGain = 0.0, sendGain = 0.0, filterState = 0.0;
};

} // namespace kal::test
