#pragma once

#include "Kal/Room/KalDelayLines.h"
#include "Kal/Room/KalDiffusers.h"
#include "Kal/Room/KalReverb.h"
#include "Kal/Room/KalReverbSetting.h"

namespace kal {

/// What the voices' reverb sends go through: pre-delays, a chain of diffusers and three reverbs of different lengths,
/// mixed to stereo. One thread at a time.
class SendNetwork {
public:
    /// [control] Silent network. `samplingRate` in Hz is one that CanServe() accepts.
    explicit SendNetwork(double samplingRate);

    /// [any] Whether the network works at this rate: 4000 Hz and above, as long as the longest line that the reverbs
    /// are built with or set to fits into its ring.
    static bool CanServe(double samplingRate);

    /// [render] Adds the wet signal of the next block to `mix` and its left channel to `lowSend`, too.
    ///
    /// A setting applies from the first frame; its level is approached by a tenth of the distance every frame. Numbers
    /// that no reverb can follow count as the nearest that one can, NaN as 0; sizes must fit the lines (CanServe()).
    /// Samples that are not usable count as 0, and what is still not finite after a block is cleared before the next.
    /// Blocks of any division give the same output.
    /// @param settings of the short, the middle and the long reverb  @param reverbSend numFrames
    /// @param lowSend numFrames  @param mix numFrames of interleaved stereo
    void Render(unsigned numFrames, const ReverbSettings& settings, const float* reverbSend, float* lowSend,
                float* mix);

    /// [render] True while nothing goes around: then a block costs next to nothing unless something comes in.
    bool IsAsleep() const;

private:
    struct Levels;

    void Configure(const ReverbSettings& settings);
    void ClearUnusableStates();
    void RenderSpan(unsigned numFrames, const Levels& levels, const float* reverbSend, float* lowSend, float* mix);

    float samplingRate;
    Reverb reverbLong, reverbMid, reverbShort;
    float fastLong = 0.0f, fastMid = 0.0f, slowLong = 0.0f, slowMid = 0.0f; ///< one-pole low-passes before the reverbs
    float gainLong = 0.0f, gainMid = 0.0f, gainShort = 0.0f;                ///< smoothed levels
    Diffusers diffusers;
    ExactDelayLine delayLong, delayMid, delayShort;
    unsigned quietFrames = 0; ///< since something came in or went around
};

} // namespace kal
