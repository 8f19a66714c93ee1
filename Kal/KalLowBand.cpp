#include "Kal/KalLowBand.h"

#include "Kal/KalInternals.h"

#include <cmath>

namespace kal {

namespace {

/// v and the harmonics that go with it, which stop growing at |v| = 2.
float Saturated(float v)
{
    const float harmonics = v > 2.0f ? 7.0f : v < -2.0f ? -7.0f : 0.875f * v * v * v;
    return v + harmonics;
}

} // namespace

// The shelf is replaced at once: only the band-pass takes effect.
LowBand::LowBand(double samplingRate)
{
    const auto rate = static_cast<float>(samplingRate);
    section.HighShelf(rate, 70.0f, 0.01f, 0.2f);
    section.BandpassFilter(rate, 70.0f, 0.4f);
}

void LowBand::Render(unsigned numFrames, const float* lowSend, float* mix)
{
    if (!internals::IsSound(section.Level())) section.Mute();
    if (section.Level() < internals::kSilence && internals::Peak(numFrames, lowSend) == 0.0f) return;

    for (unsigned i = 0; i < numFrames; ++i) {
        const float y = Saturated(0.05f * section.ProcessSample(internals::SoundOrZero(lowSend[i])));
        mix[2 * i] += y;
        mix[2 * i + 1] += y;
    }
}

} // namespace kal
