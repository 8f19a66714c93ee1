#include "Kal/Master/KalUtilsBiquad.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

namespace kal::test {
namespace {

const double kPi = std::acos(-1.0);

/// A second-order analog prototype, (b2 s^2 + b1 s + b0) / (a2 s^2 + a1 s + a0) with its centre at 1 rad/s.
struct Analog {
    double b2, b1, b0, a2, a1, a0;
};

/// The prototype's bilinear transform s = K (1 - z^-1) / (1 + z^-1), K = 1 / tan(w0 / 2), with coefficients rounded to
/// float, at the angle w: what a perfect filter with such coefficients does.
std::complex<double> Digital(const Analog& p, double w0, double w)
{
    const double k = 1.0 / std::tan(w0 / 2), a = p.a2 * k * k + p.a1 * k + p.a0;
    const auto rounded = [a](double x) { return double{static_cast<float>(x / a)}; };
    const auto z1 = std::polar(1.0, -w), z2 = std::polar(1.0, -2 * w);
    return (rounded(p.b2 * k * k + p.b1 * k + p.b0) + rounded(2 * (p.b0 - p.b2 * k * k)) * z1 +
            rounded(p.b2 * k * k - p.b1 * k + p.b0) * z2) /
           (1.0 + rounded(2 * (p.a0 - p.a2 * k * k)) * z1 + rounded(p.a2 * k * k - p.a1 * k + p.a0) * z2);
}

// Rounding coefficients to float moves the response of a 70 Hz filter by 1e-3; the oracle does it, too, so that what is
// left is the rounding of the states: 2^-25 a frame, amplified by up to about Q / w0 in the sum over the response.
TEST(BiquadFilter, DesignsFollowTheirAnalogPrototypes)
{
    enum Kind { Peak, Band, Shelf };
    struct Case {
        Kind kind;
        float frequency, gain, q;
    };
    for (const float rate : {11025.0f, 44100.0f, 48000.0f})
        for (const Case c : {Case{Peak, 380, 0.1f, 16},
                             {Peak, 3000, 0.3f, 1},
                             {Peak, 1700, 1.4f, 7},
                             {Band, 70, 1, 0.4f},
                             {Band, 1000, 1, 5},
                             {Shelf, 500, 0.05f, 0.3f},
                             {Shelf, 2000, 4, 0.7f}}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, kind " << c.kind << ", " << c.frequency << " Hz");
            const double w0 = static_cast<float>(2 * kPi * c.frequency / rate);
            const double a = std::sqrt(double{c.gain}), q = c.q, b = std::sqrt(a) / q;
            const Analog prototype = c.kind == Peak   ? Analog{1, a / q, 1, 1, 1 / (a * q), 1}
                                     : c.kind == Band ? Analog{0, 1 / q, 0, 1, 1 / q, 1}
                                                      : Analog{a * a, a * b, a, 1, b, a};
            SingleBiquadFilter filter;
            if (c.kind == Peak) filter.PeakingEQ(rate, c.frequency, c.gain, c.q);
            if (c.kind == Band) filter.BandpassFilter(rate, c.frequency, c.q);
            if (c.kind == Shelf) filter.HighShelf(rate, c.frequency, c.gain, c.q);
            const auto h = ImpulseResponse(1 << 15, [&](float x) { return filter.ProcessSample(x); });
            for (const double ratio : {0.0, 0.1, 0.5, 0.9, 0.98, 1.0, 1.02, 1.1, 2.0, 10.0}) {
                const double w = std::min(ratio * w0, kPi);
                EXPECT_NEAR(std::abs(Response(h, w) - Digital(prototype, w0, w)), 0.0, 1e-6 * std::max(q, 1.0) / w0)
                    << ratio;
            }
        }
}

} // namespace
} // namespace kal::test
