#include "Kal/Room/KalSendNetwork.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalInternals.h"

#include <algorithm>
#include <cmath>

namespace kal {

namespace {

using Span = std::array<float, kSpan>;

constexpr double kLowestRate = 4000.0;

/// What sets one of the reverbs apart from the others.
struct Character {
    float delayRange;
    float hfRatio; ///< at kHfReference
    float size;    ///< s, the largest that rooms are given
};

constexpr Character kShort{1.65f, 0.9f, kShortSize}, kMid{1.8f, 0.95f, kMidSize}, kLong{1.65f, 0.8f, kLongSize};
constexpr float kHfReference = 8000.0f;

/// x, or 0 when it is negative or not a number.
float AtLeastZero(float x)
{
    return x > 0.0f ? x : 0.0f;
}

void Set(Reverb& reverb, const Character& character, const ReverbSetting& setting)
{
    reverb.SetRT60Time(AtLeastZero(setting.rt60));
    reverb.SetSize(AtLeastZero(setting.size));
    reverb.SetDelayRange(character.delayRange);
    reverb.SetHFReverbTimeRatio(character.hfRatio, kHfReference);
    reverb.Update();
}

/// The delay lines hold one second; the latest frame that they can give is one frame less ago.
void Set(ExactDelayLine& line, float samplingRate, const ReverbSetting& setting)
{
    line.SetDelay(std::min(samplingRate * AtLeastZero(setting.preDelay), std::floor(samplingRate) - 1.0f));
}

/// A band-pass: the difference of two one-pole low-passes.
struct Band {
    float fastCoef, slowCoef;
    float fast, slow;

    float ProcessSample(float x)
    {
        fast += (x - fast) * fastCoef;
        slow += (fast - slow) * slowCoef;
        return fast - slow;
    }
};

/// The smoothed gain of every frame; `gain` is moved on. Rounding stops
/// the movement after some 160 frames, from where on the gain stays.
void SmoothGain(unsigned numFrames, float target, float& gain, float* gains)
{
    for (unsigned i = 0; i < numFrames; ++i) {
        gains[i] = gain;
        const float next = gain + (target - gain) * kGainStep;
        if (next == gain) return std::fill(gains + i, gains + numFrames, gain);
        gain = next;
    }
}

} // namespace

struct SendNetwork::Levels {
    float shortLevel, midLevel, longLevel;
};

SendNetwork::SendNetwork(double rate)
    : samplingRate(static_cast<float>(rate)),
      reverbLong(rate),
      reverbMid(rate),
      reverbShort(rate),
      delayLong(0.0f, samplingRate),
      delayMid(0.0f, samplingRate),
      delayShort(0.0f, samplingRate)
{
}

bool SendNetwork::CanServe(double samplingRate)
{
    const auto fits = [&](const Character& c) { return Reverb::Fits(c.size, c.delayRange, samplingRate); };
    return samplingRate >= kLowestRate && fits(kShort) && fits(kMid) && fits(kLong) &&
           Reverb::Fits(Reverb::kDefaultSize, Reverb::kDefaultDelayRange, samplingRate);
}

void SendNetwork::Render(unsigned numFrames, const ReverbSettings& settings, const float* reverbSend, float* lowSend,
                         float* mix)
{
    Configure(settings);
    ClearUnusableStates();
    const Levels levels{UsableOrZero(settings[0].level), UsableOrZero(settings[1].level),
                        UsableOrZero(settings[2].level)};
    for (unsigned done = 0; done < numFrames; done += kSpan)
        RenderSpan(std::min(kSpan, numFrames - done), levels, reverbSend + done, lowSend + done, mix + 2 * done);
}

void SendNetwork::Configure(const ReverbSettings& settings)
{
    Set(reverbLong, kLong, settings[2]);
    Set(reverbMid, kMid, settings[1]);
    Set(reverbShort, kShort, settings[0]);
    Set(delayLong, samplingRate, settings[2]);
    Set(delayMid, samplingRate, settings[1]);
    Set(delayShort, samplingRate, settings[0]);
}

void SendNetwork::ClearUnusableStates()
{
    for (float* state : {&fastLong, &fastMid, &slowLong, &slowMid}) *state = LastingOrZero(UsableOrZero(*state));
    for (float* gain : {&gainLong, &gainMid, &gainShort}) *gain = LastingOrZero(FiniteOrZero(*gain));
    for (Reverb* reverb : {&reverbLong, &reverbMid, &reverbShort})
        if (!reverb->IsFinite()) reverb->Mute();
}

// Once nothing has come in or gone around for longer than anything is kept, nothing can come out.
bool SendNetwork::IsAsleep() const
{
    return quietFrames > static_cast<unsigned>(samplingRate) + ReverbDelayLine::size;
}

void SendNetwork::RenderSpan(unsigned numFrames, const Levels& levels, const float* reverbSend, float* lowSend,
                             float* mix)
{
    alignas(64) Span gainsShort, gainsMid, gainsLong;
    SmoothGain(numFrames, levels.shortLevel, gainShort, gainsShort.data());
    SmoothGain(numFrames, levels.midLevel, gainMid, gainsMid.data());
    SmoothGain(numFrames, levels.longLevel, gainLong, gainsLong.data());

    const bool isSilent = Peak(numFrames, reverbSend) == 0.0f;
    if (!isSilent) quietFrames = 0;
    if (IsAsleep()) return;
    for (const Reverb* reverb : {&reverbShort, &reverbMid, &reverbLong}) reverb->Prefetch(numFrames);

    alignas(64) Span x, y, z, shortLeft, shortRight, midLeft, midRight, longLeft, longRight;
    std::transform(reverbSend, reverbSend + numFrames, x.begin(), UsableOrZero);

    delayShort.Process(numFrames, x.data(), y.data());
    reverbShort.Process(numFrames, y.data(), 0, 2, shortLeft.data(), shortRight.data());

    diffusers.Process(numFrames, x.data());
    delayMid.Process(numFrames, x.data(), y.data());
    delayLong.Process(numFrames, x.data(), z.data());
    Band bandMid{0.3f, 0.01f, fastMid, slowMid}, bandLong{0.1f, 0.02f, fastLong, slowLong};
    for (unsigned i = 0; i < numFrames; ++i) {
        y[i] = bandMid.ProcessSample(y[i]);
        z[i] = bandLong.ProcessSample(z[i]);
    }
    fastMid = bandMid.fast;
    slowMid = bandMid.slow;
    fastLong = bandLong.fast;
    slowLong = bandLong.slow;
    reverbMid.Process(numFrames, y.data(), 1, 5, midLeft.data(), midRight.data());
    reverbLong.Process(numFrames, z.data(), 6, 7, longLeft.data(), longRight.data());

    for (unsigned i = 0; i < numFrames; ++i) {
        const float left = longLeft[i] * gainsLong[i] + midLeft[i] * gainsMid[i] + shortLeft[i] * gainsShort[i];
        const float right = longRight[i] * gainsLong[i] + midRight[i] * gainsMid[i] + shortRight[i] * gainsShort[i];
        mix[2 * i] += left;
        mix[2 * i + 1] += right;
        lowSend[i] += left;
    }

    if (!isSilent) return;
    if constexpr (!platform::kFlushesDenormals) {
        diffusers.MuteDecayed();
        for (Reverb* reverb : {&reverbLong, &reverbMid, &reverbShort}) reverb->MuteOnceDecayed(numFrames);
    }
    const bool isQuiet = reverbShort.WrittenPeak(numFrames) < kDecayed && reverbMid.WrittenPeak(numFrames) < kDecayed &&
                         reverbLong.WrittenPeak(numFrames) < kDecayed;
    quietFrames = isQuiet ? quietFrames + numFrames : 0;
}

} // namespace kal
