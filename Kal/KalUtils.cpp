#include "Kal/KalUtils.h"

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

} // namespace kal
