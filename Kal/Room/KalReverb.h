#pragma once

#include "Kal/Room/KalDelayLines.h"

#include <array>
#include <memory>

namespace kal {

/// Room reverberator: a feedback delay network of 16 lines whose lengths are distinct primes in geometric progression,
/// mixed by a Hadamard matrix, with one decay gain and one damping filter for all of them. One sample in, eight
/// decorrelated taps out. One thread at a time; parameters change between samples.
class Reverb {
public:
    static constexpr int kNumLines = 16;
    static constexpr int kNumTaps = 8;

    /// What a new reverb has for `size` and `delayRange`.
    static constexpr float kDefaultSize = 0.07f;
    static constexpr float kDefaultDelayRange = 0.5f;

    /// [control] Silent reverb with the defaults.
    /// Asserts "samplingRate >= 0.0", "!std::isnan(samplingRate)" and that Fits() holds for the defaults.
    explicit Reverb(double samplingRate);

    /// [any] Whether the lines of such a reverb fit into their rings.
    static bool Fits(float size, float delayRange, double samplingRate);

    /// [render] Length of the shortest line in seconds, clamped to 0.0001 ... 100. Asserts "v >= 0.f",
    /// "!std::isnan(v)".
    void SetSize(float v);

    /// [render] The longest line takes about size (1 + v). Asserts "v >= 0.f", "!std::isnan(v)".
    void SetDelayRange(float v);

    /// [render] Seconds in which the tail falls by 60 dB, clamped to 0.0001 ... 100.
    /// Asserts "seconds >= 0.f", "!std::isnan(seconds)".
    void SetRT60Time(float seconds);

    /// [render] At `frequency` in Hz the tail falls in `ratio` times the reverberation time; ratio is below 1.
    void SetHFReverbTimeRatio(float ratio, float frequency);

    /// [render] Makes the parameters set before take effect, between two samples. What is in the lines stays. Costs
    /// nothing when no parameter has changed. Asserts that the lines fit and that the damping coefficient lies within 0
    /// ... 1.
    void Update();

    /// [render] Advances by one sample.
    std::array<float, kNumTaps> ProcessSample(float x);

    /// [render] Asks for what the next numFrames samples will need of the lines. Their rings, 128 KB each, are too long
    /// to be in the caches, and too many for the processor to see where they go on.
    void Prefetch(unsigned numFrames) const;

    /// [render] Advances by numFrames samples and gives two of the taps: the same values as ProcessSample, faster.
    void Process(unsigned numFrames, const float* in, int firstTap, int secondTap, float* first, float* second);

    /// [render] The largest magnitude that the last `frames` samples, at most 32768, have put into any line.
    float WrittenPeak(unsigned frames) const;

    /// [render] Whether every past input has left finite values.
    bool IsFinite() const;

    /// [render] Forgets past input; the parameters stay.
    void Mute();

    /// [render] Comes after every `frames` samples, at most 32768, that a processor works on which cannot flush
    /// denormals: mutes once the lines hold nothing but what has decayed (kDecayed).
    void MuteOnceDecayed(unsigned frames);

private:
    using Line = ReverbDelayLine;

    static std::array<int, kNumLines> LineDelays(float size, float delayRange, float samplingRate);

    void SetParameter(float& parameter, float value);
    int RunLength(unsigned numFrames, int numLanes) const;
    void AdvanceRun(int numFrames, const float* in);
    void OutputTap(int tap, int numFrames, float* out) const;
    void FinishRun(int numFrames);

    std::array<std::unique_ptr<Line>, kNumLines> delayLines;
    float size = kDefaultSize;             ///< s
    float delayRange = kDefaultDelayRange; ///< longest line over shortest, less 1
    float rt60 = 2.3f;                     ///< s
    float samplingRate;                    ///< Hz
    float feedbackGain = 0.0f;             ///< of a pass, including the matrix's normalisation by 1/4
    float hfRatio = 0.8f;
    float hfReference; ///< Hz
    float lpfCoef = 0.0f;
    std::array<float, kNumLines> dampState{};
    std::array<float, kNumTaps> outPrev{}; ///< what the output stage was fed with last
    unsigned decayedFrames = 0;            ///< how many have put in nothing more, while that is asked for
    float outA = 0.0f, outB = 0.0f;
    bool changed = true; ///< since the last Update
};

} // namespace kal
