#include "Kal/Master/KalEqualizer.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalInternals.h"
#include "Kal/Kernels/KalVectorKernels.h"

#include <algorithm>
#include <cstddef>

namespace kal {

namespace {

struct Bell {
    float frequency; ///< Hz
    float gain;      ///< linear
    float q;
};

constexpr Bell kBells[] = {{380.0f, 0.1f, 16.0f}, {7900.0f, 0.4f, 7.0f}, {1700.0f, 1.4f, 7.0f},
                           {6000.0f, 1.4f, 7.0f}, {3000.0f, 0.3f, 1.0f}, {9000.0f, 0.3f, 10.0f}};

/// Above this part of the rate a bell is not designed: from half the rate on it would be unstable, and just below that
/// the rounding of its angle can make it so.
constexpr float kHighestCentre = 0.499f;

/// Frames of which both samples are usable, and 0 for the others.
void CopyUsable(unsigned numFrames, const float* in, float* out)
{
    if (IsUsable(Peak(2 * std::size_t{numFrames}, in))) {
        std::copy_n(in, 2 * std::size_t{numFrames}, out);
        return;
    }
    for (const float* end = in + 2 * std::size_t{numFrames}; in != end; in += 2, out += 2) {
        const bool isUsable = IsUsable(in[0]) && IsUsable(in[1]);
        out[0] = isUsable ? in[0] : 0.0f;
        out[1] = isUsable ? in[1] : 0.0f;
    }
}

} // namespace

Equalizer::Equalizer(double samplingRate)
{
    const auto rate = static_cast<float>(samplingRate);
    for (std::size_t k = 0; k < sections.size(); ++k)
        if (kBells[k].frequency < kHighestCentre * rate)
            sections[k].PeakingEQ(rate, kBells[k].frequency, kBells[k].gain, kBells[k].q);
}

void Equalizer::Render(unsigned numFrames, const float* in, float* mix)
{
    float level = 0.0f;
    for (DualBiquadFilter& section : sections) {
        if (!IsUsable(section.Level())) section.Mute();
        level += section.Level();
    }
    if (level < kDecayed && Peak(2 * std::size_t{numFrames}, in) == 0.0f) return;

    alignas(64) std::array<float, 2 * kSpan> span;
    for (unsigned done = 0; done < numFrames; done += kSpan) {
        const unsigned n = std::min(kSpan, numFrames - done);
        CopyUsable(n, in + 2 * done, span.data());
        DualBiquadFilter::ProcessCascade(sections, n, span.data());
        Accumulate(2 * n, mix + 2 * done, span.data());
    }
}

} // namespace kal
