#include "Kal/Master/KalUtilsBiquad.h"

#include "Kal/Platform/KalPlatform.h"

#include <algorithm>

namespace kal {

/// A transfer function before its normalisation: (b0 + b1 z^-1 + b2 z^-2) / (a0 + a1 z^-1 + a2 z^-2).
struct BiquadFilter::Prototype {
    double b0, b1, b2, a0, a1, a2;
};

namespace {

/// The angle of a frequency on the unit circle, as its sine and cosine.
struct Angle {
    Angle(float samplingRate, float frequency)
    {
        const double w = static_cast<float>(6.283185307179586 * frequency / samplingRate);
        s = std::sin(w);
        c = std::cos(w);
    }

    double s, c;
};

} // namespace

void BiquadFilter::Store(const Prototype& prototype)
{
    const double scale = 1.0 / prototype.a0;
    b0 = static_cast<float>(prototype.b0 * scale);
    b1 = static_cast<float>(prototype.b1 * scale);
    b2 = static_cast<float>(prototype.b2 * scale);
    c1 = static_cast<float>(-prototype.a1 * scale);
    c2 = static_cast<float>(-prototype.a2 * scale);
    Prepare();
}

void BiquadFilter::PeakingEQ(float samplingRate, float frequency, float gain, float q)
{
    const auto [s, c] = Angle(samplingRate, frequency);
    const double a = std::sqrt(double{gain});
    const double alpha = s / (double{q} + q);
    Store({1.0 + alpha * a, -2.0 * c, 1.0 - alpha * a, 1.0 + alpha / a, -2.0 * c, 1.0 - alpha / a});
}

void BiquadFilter::BandpassFilter(float samplingRate, float frequency, float q)
{
    const auto [s, c] = Angle(samplingRate, frequency);
    const double alpha = s / (double{q} + q);
    Store({alpha, 0.0, -alpha, 1.0 + alpha, -2.0 * c, 1.0 - alpha});
}

void BiquadFilter::HighShelf(float samplingRate, float frequency, float gain, float q)
{
    const auto [s, c] = Angle(samplingRate, frequency);
    const double a = std::sqrt(double{gain});
    const double beta = s / (double{q} + q) * 2.0 * std::sqrt(a);
    Store({.b0 = a * ((a + 1.0) + (a - 1.0) * c + beta),
           .b1 = -2.0 * a * ((a - 1.0) + (a + 1.0) * c),
           .b2 = a * ((a + 1.0) + (a - 1.0) * c - beta),
           .a0 = (a + 1.0) - (a - 1.0) * c + beta,
           .a1 = 2.0 * ((a - 1.0) - (a + 1.0) * c),
           .a2 = (a + 1.0) - (a - 1.0) * c - beta});
}

// On a copy, whose state is not in memory that the block could overlap.
void SingleBiquadFilter::Process(unsigned numFrames, float* block)
{
    SingleBiquadFilter filter = *this;
    for (unsigned i = 0; i < numFrames; ++i) block[i] = filter.ProcessSample(block[i]);
    state = filter.state;
}

/// Both channels of a filter at once, in double.
struct DualBiquadFilter::Pair {
    using Double2 = platform::Double2;

    Pair() = default;

    explicit Pair(const DualBiquadFilter& filter)
        : b0{filter.b0, filter.b0},
          b1{filter.b1, filter.b1},
          b2{filter.b2, filter.b2},
          c1{filter.c1, filter.c1},
          c2{filter.c2, filter.c2},
          x1{filter.states[0].x1, filter.states[1].x1},
          x2{filter.states[0].x2, filter.states[1].x2},
          y1{filter.states[0].y1, filter.states[1].y1},
          y2{filter.states[0].y2, filter.states[1].y2}
    {
    }

    /// The states of the filter that this has been.
    std::array<State, 2> States() const
    {
        const auto channel = [&](int i) {
            return State{static_cast<float>(x1[i]), static_cast<float>(x2[i]), static_cast<float>(y1[i]),
                         static_cast<float>(y2[i])};
        };
        return {channel(0), channel(1)};
    }

    /// As BiquadFilter::ProcessSample, to the last bit.
    void Step(Double2 x)
    {
        const Double2 y = b0 * x + b1 * x1 + b2 * x2 + c1 * y1 + c2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = platform::RoundedToFloat(y);
    }

    Double2 b0, b1, b2, c1, c2, x1, x2, y1, y2;
};

// Each filter is one frame behind the one before it, so that in every step all of them work at the same time, on the
// last results of their neighbours, instead of waiting for each other. The first and last steps are those in which
// some filters have no frame.
void DualBiquadFilter::ProcessCascade(std::array<DualBiquadFilter, kNumSections>& cascade, unsigned numFrames,
                                      float* frames)
{
    constexpr int kLast = kNumSections - 1;
    std::array<Pair, kNumSections> pairs;
    for (int k = 0; k < kNumSections; ++k) pairs[k] = Pair(cascade[k]);

    const int count = static_cast<int>(numFrames);
    const auto read = [&](int i) { return Pair::Double2{frames[2 * i], frames[2 * i + 1]}; };
    const auto step = [&](int t, int first, int last) {
#pragma GCC unroll 8
        for (int k = last; k > first; --k) pairs[k].Step(pairs[k - 1].y1);
        pairs[first].Step(first == 0 ? read(t) : pairs[first - 1].y1);
        if (last < kLast) return;
        frames[2 * (t - kLast)] = static_cast<float>(pairs[kLast].y1[0]);
        frames[2 * (t - kLast) + 1] = static_cast<float>(pairs[kLast].y1[1]);
    };
    int t = 0;
    for (; t < std::min(kLast, count); ++t) step(t, 0, t);
    for (; t < count; ++t) step(t, 0, kLast);
    for (; t < count + kLast; ++t) step(t, t - count + 1, std::min(t, kLast));

    for (int k = 0; k < kNumSections; ++k) cascade[k].states = pairs[k].States();
}

} // namespace kal
