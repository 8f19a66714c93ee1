#include "Kal/Master/KalLowBand.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalInternals.h"

#include <algorithm>

namespace kal {

namespace {

/// v and the harmonics that go with it, which stop growing at |v| = 2.
float Saturated(float v)
{
    // not std::clamp, of which compilers make branches
    const float bounded = std::max(std::min(v, 2.0f), -2.0f);
    return v + 0.875f * bounded * bounded * bounded;
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
    if (!IsUsable(section.Level())) section.Mute();
    if (section.Level() < kDecayed && Peak(numFrames, lowSend) == 0.0f) return;

    // On a copy, whose state is not in memory that the mix could overlap.
    SingleBiquadFilter filter = section;
    for (unsigned i = 0; i < numFrames; ++i) {
        const float y = Saturated(0.05f * filter.ProcessSample(UsableOrZero(lowSend[i])));
        mix[2 * i] += y;
        mix[2 * i + 1] += y;
    }
    section = filter;
}

} // namespace kal
