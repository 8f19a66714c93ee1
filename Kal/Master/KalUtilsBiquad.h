#pragma once

#include "Kal/Kernels/KalKernelTable.h"

#include <array>
#include <cmath>

namespace kal {

/// Second-order filter, y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] + c1 y[n-1] + c2 y[n-2]: the coefficients and their
/// designs (cookbook forms, bilinear transform). Passes its input through until it is designed.
///
/// All designs are [control]: they change the coefficients between two samples, without a ramp; `samplingRate` and
/// `frequency` are in Hz and `frequency` lies below half the rate, or the filter may be unstable; `gain` is linear and
/// positive, `q` is positive. Arithmetic is in double and each coefficient is rounded once, because an all-float design
/// of a low frequency is out by as much as -72 dB.
class BiquadFilter {
public:
    /// Called after every design: a filter that keeps its coefficients in a second layout brings it up to date.
    virtual void Prepare() = 0;

    /// Bell of the given gain at `frequency`, 0 dB far from it.
    void PeakingEQ(float samplingRate, float frequency, float gain, float q);

    /// 0 dB at `frequency`, falling on both sides.
    void BandpassFilter(float samplingRate, float frequency, float q);

    /// The given gain far above `frequency`, 0 dB far below it, half of its decibels at it.
    void HighShelf(float samplingRate, float frequency, float gain, float q);

protected:
    ~BiquadFilter() = default;

    /// One channel's past: the inputs and outputs of the last two frames.
    struct State {
        double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;

        float Level() const
        {
            return static_cast<float>(std::fabs(x1) + std::fabs(x2) + std::fabs(y1) + std::fabs(y2));
        }
    };

    /// One frame of one channel, in double: in float, the rounding noise of a low band is 10 dB louder, and rounding
    /// the state from frame to frame takes longer than the rest.
    double ProcessSample(State& state, double x) const
    {
        const double y = b0 * x + b1 * state.x1 + b2 * state.x2 + c1 * state.y1 + c2 * state.y2;
        state = {x, state.x1, y, state.y1};
        return y;
    }

    float b0 = 1.0f, b1 = 0.0f, b2 = 0.0f; ///< weights of x[n], x[n-1], x[n-2]
    float c1 = 0.0f, c2 = 0.0f;            ///< weights of y[n-1], y[n-2]

private:
    struct Prototype;
    void Store(const Prototype& prototype);
};

/// A biquad of one channel. One thread at a time.
class SingleBiquadFilter final : public BiquadFilter {
public:
    void Prepare() override {}

    /// [render] Filters one sample.
    float ProcessSample(float x) { return static_cast<float>(BiquadFilter::ProcessSample(state, x)); }

    /// [render] Forgets past input; the design stays.
    void Mute() { state = {}; }

    /// [render] The sum of the magnitudes of the last two inputs and outputs.
    float Level() const { return state.Level(); }

private:
    State state;
};

/// Two channels through the same biquad. One thread at a time.
class DualBiquadFilter final : public BiquadFilter {
public:
    void Prepare() override {}

    /// [render] Filters one frame in place.
    void ProcessSample(float& left, float& right)
    {
        left = static_cast<float>(BiquadFilter::ProcessSample(states[0], left));
        right = static_cast<float>(BiquadFilter::ProcessSample(states[1], right));
    }

    /// Number of sections of a cascade.
    static constexpr int kNumSections = kernels::Cascade::kSections;

    /// [render] Filters a block of interleaved stereo in place through a cascade of filters, one after the other:
    /// as frame by frame but for rounding between the filters, faster.
    static void ProcessCascade(std::array<DualBiquadFilter, kNumSections>& cascade, unsigned numFrames, float* frames);

    /// [render] Forgets past input; the design stays.
    void Mute() { states = {}; }

    /// [render] The sum of the magnitudes of the last two inputs and outputs of both channels.
    float Level() const { return states[0].Level() + states[1].Level(); }

private:
    std::array<State, 2> states; ///< left, right
};

} // namespace kal
