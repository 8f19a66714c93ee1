#include "Kal/Base/KalConstants.h"
#include "Kal/Kernels/KalConvolverKernel.h"
#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/Kernels/KalReverbKernel.h"

#include <cstdint>

// One frame after the other: what the other tables are held against.

namespace kal::kernels {

namespace {

float Number(std::uint8_t element)
{
    return static_cast<float>(element - 128) * kScale8;
}
float Number(std::int16_t element)
{
    return static_cast<float>(element) * kScale16;
}
float Number(float element)
{
    return element;
}

template<class Element>
void Resample(const void* samples, double x, double step, int numFrames, float* out)
{
    const auto* data = static_cast<const Element*>(samples);
    for (int i = 0; i < numFrames; ++i) {
        const double at = x + i * step;
        const auto whole = static_cast<std::int32_t>(at);
        const float first = Number(data[whole]), second = Number(data[whole + 1]);
        out[i] = first + static_cast<float>(at - whole) * (second - first);
    }
}

void Lowpass(float* frames, int numFrames, float coef, float* state)
{
    for (int i = 0; i < numFrames; ++i) frames[i] = *state += (frames[i] - *state) * coef;
}

void AddSmoothed(float* to, const float* from, int numFrames, float* gain, float target)
{
    for (int i = 0; i < numFrames; ++i, *gain += (target - *gain) * kGainStep) to[i] += *gain * from[i];
}

void ScaleSmoothed(float* to, float* sum, const float* from, int numFrames, float* gain, float target)
{
    for (int i = 0; i < numFrames; ++i, *gain += (target - *gain) * kGainStep) sum[i] += to[i] = *gain * from[i];
}

void AddFaded(float* to, const float* from, int numFrames, float gain, float step)
{
    for (int i = 0; i < numFrames; ++i, gain += step) to[i] += gain * from[i];
}

void ScaleFaded(float* to, const float* from, int numFrames, float gain, float step)
{
    for (int i = 0; i < numFrames; ++i, gain += step) to[i] = gain * from[i];
}

void RunCascade(Cascade& cascade, int numFrames, float* frames)
{
    for (int i = 0; i < 2 * numFrames; ++i) {
        const int channel = i % 2;
        double x = frames[i];
        for (Cascade::Section& s : cascade.sections) {
            double &x1 = s.x1[channel], &x2 = s.x2[channel], &y1 = s.y1[channel], &y2 = s.y2[channel];
            const double y = s.b0 * x + s.b1 * x1 + s.b2 * x2 + s.c1 * y1 + s.c2 * y2;
            x2 = x1, x1 = x;
            y2 = y1, y1 = y;
            x = y;
        }
        frames[i] = static_cast<float>(x);
    }
}

void AdvanceNetwork(NetworkRun& run, int numFrames, const float* in)
{
    for (int i = 0; i < numFrames; ++i) {
        float v[16];
        for (int k = 0; k < 16; ++k) v[k] = run.read[k][i];
        AdvanceFrame(v, run.dampState, run.feedbackGain, run.lpfCoef, in[i]);
        for (int k = 0; k < 16; ++k) run.write[k][i] = v[k];
    }
}

} // namespace

constexpr Table kGenericTable{kNumLanes<float>,
                              AdvanceNetwork,
                              {Resample<std::uint8_t>, Resample<std::int16_t>, Resample<float>},
                              Lowpass,
                              AddSmoothed,
                              ScaleSmoothed,
                              AddFaded,
                              ScaleFaded,
                              ApplyTwiddlePairs<float>,
                              Deinterleave<float>,
                              AddProducts<float>,
                              AddPairProducts<float>,
                              RunCascade};

} // namespace kal::kernels
