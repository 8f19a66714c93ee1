#include "Kal/Master/KalUtilsBiquad.h"

#include "Kal/Kernels/KalKernels.h"

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

void DualBiquadFilter::ProcessCascade(std::array<DualBiquadFilter, kNumSections>& cascade, unsigned numFrames,
                                      float* frames)
{
    kernels::Cascade run;
    for (int k = 0; k < kNumSections; ++k) {
        const DualBiquadFilter& f = cascade[k];
        const auto& [left, right] = f.states;
        run.sections[k] = {f.b0,
                           f.b1,
                           f.b2,
                           f.c1,
                           f.c2,
                           {left.x1, right.x1},
                           {left.x2, right.x2},
                           {left.y1, right.y1},
                           {left.y2, right.y2}};
    }
    kernels::ActiveTable().runCascade(run, static_cast<int>(numFrames), frames);
    for (int k = 0; k < kNumSections; ++k) {
        const auto& [b0, b1, b2, c1, c2, x1, x2, y1, y2] = run.sections[k];
        for (int i = 0; i < 2; ++i) cascade[k].states[i] = {x1[i], x2[i], y1[i], y2[i]};
    }
}

} // namespace kal
