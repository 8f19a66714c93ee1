#include "Kal/Master/KalLowBand.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalInternals.h"

#include <algorithm>
#include <array>

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
    if (!IsUsable(section.Level())) section.Mute();
    if (section.Level() < kDecayed && Peak(numFrames, lowSend) == 0.0f) return;

    std::array<float, kSpan> span;
    for (unsigned done = 0; done < numFrames; done += kSpan) {
        const unsigned n = std::min(kSpan, numFrames - done);
        for (unsigned i = 0; i < n; ++i) span[i] = UsableOrZero(lowSend[done + i]);
        section.Process(n, span.data());
        for (unsigned i = 0; i < n; ++i) {
            const float y = Saturated(0.05f * span[i]);
            mix[2 * (done + i)] += y;
            mix[2 * (done + i) + 1] += y;
        }
    }
}

} // namespace kal
