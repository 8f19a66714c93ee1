#include "Kal/Master/KalEqualizer.h"

#include "tests/support/Measure.h"

#include <gtest/gtest.h>

namespace kal::test {
namespace {

std::vector<float> Rendered(Equalizer& equalizer, const std::vector<float>& in, unsigned block = 512)
{
    std::vector<float> mix(in.size());
    for (std::size_t done = 0; done < in.size() / 2; done += block)
        equalizer.Render(static_cast<unsigned>(std::min<std::size_t>(block, in.size() / 2 - done)),
                         in.data() + 2 * done, mix.data() + 2 * done);
    return mix;
}

/// The six bells as analog prototypes at frequencies warped as the bilinear transform does it.
double IdealGain(double rate, double frequency)
{
    const double kPi = std::acos(-1.0);
    const double bells[6][3] = {{380, 0.1, 16}, {7900, 0.4, 7}, {1700, 1.4, 7},
                                {6000, 1.4, 7}, {3000, 0.3, 1}, {9000, 0.3, 10}};
    double gain = 1.0;
    for (const auto& [centre, linear, q] : bells) {
        if (centre >= rate / 2) continue;
        const std::complex<double> s(0.0, std::tan(kPi * frequency / rate) / std::tan(kPi * centre / rate));
        const double a = std::sqrt(linear);
        gain *= std::abs((s * s + s * (a / q) + 1.0) / (s * s + s / (a * q) + 1.0));
    }
    return gain;
}

TEST(Equalizer, HasTheResponseOfItsBells)
{
    const unsigned blocks[] = {1, 100, 1 << 20, 512};
    int variant = 0;
    for (const double rate : {8000.0, 16000.0, 44100.0, 48000.0, 96000.0, 192000.0, 8000.0, 44100.0}) {
        SCOPED_TRACE(rate);
        std::vector<float> in(2 << 16);
        in[0] = 1.0f;
        in[1] = -0.5f;
        Equalizer equalizer(rate);
        const auto mix = Rendered(equalizer, in, blocks[variant++ % 4]);
        std::vector<double> left, right;
        for (std::size_t i = 0; i < mix.size(); i += 2) {
            left.push_back(mix[i]);
            right.push_back(mix[i + 1]);
        }
        for (const double f : {0.0, 100.0, 370.0, 380.0, 400.0, 1700.0, 3000.0, 6000.0, 7900.0, 9000.0, 15000.0}) {
            if (f >= rate / 2) continue;
            const double w = 2 * std::acos(-1.0) * f / rate;
            EXPECT_NEAR(std::abs(Response(left, w)), IdealGain(rate, f), 1e-3) << f; // rounding of the coefficients
            EXPECT_NEAR(std::abs(Response(right, w)), 0.5 * IdealGain(rate, f), 1e-3) << f;
        }
    }
}

// Around twice each centre, where a bell that should be flat would ring for ever.
TEST(Equalizer, DiesAwayAtEveryRate)
{
    for (const double rate :
         {4000.0, 7999.0, 12000.0, 15799.0, 15801.0, 17999.9, 18000.0, 18001.0, 18050.0, 320000.0}) {
        auto in = Noise(2000, 1);
        in.resize(2 * static_cast<std::size_t>(rate) + 20000);
        Equalizer equalizer(rate);
        EXPECT_LT(std::fabs(Rendered(equalizer, in).back()), 1e-3f) << rate;
    }
}

// The plain loop over the sections, frame by frame, is the reference. It rounds between them.
TEST(Equalizer, EqualsItsSectionsInBlocksOfAnyDivision)
{
    const float bells[6][3] = {{380, 0.1f, 16}, {7900, 0.4f, 7}, {1700, 1.4f, 7},
                               {6000, 1.4f, 7}, {3000, 0.3f, 1}, {9000, 0.3f, 10}};
    DualBiquadFilter sections[6];
    for (std::size_t k = 0; k < 6; ++k) sections[k].PeakingEQ(48000, bells[k][0], bells[k][1], bells[k][2]);
    auto expected = Noise(4000, 1);
    std::fill_n(expected.begin() + 1000, 2400, 0.0f); // which the sections ring over
    const auto in = expected;
    for (std::size_t i = 0; i < expected.size(); i += 2)
        for (auto& section : sections) section.ProcessSample(expected[i], expected[i + 1]);
    Equalizer whole(48000);
    const auto actual = Rendered(whole, in, 2000);
    EXPECT_GT(SignalToErrorDb(actual, expected), 130.0);
    for (const unsigned block : {1u, 2u, 5u, 10u, 11u, 100u}) {
        Equalizer equalizer(48000);
        EXPECT_EQ(Rendered(equalizer, in, block), actual) << block;
    }
}

TEST(Equalizer, SilencesBothChannelsOfABadFrameAndNothingElse)
{
    auto in = Noise(3000, 1);
    for (std::size_t i = 0; i < 2000; i += 100) in[i] = in[i + 1] = 0.0f;
    Equalizer clean(48000);
    const auto expected = Rendered(clean, in);
    for (const float bad : {NAN, INFINITY, -3e38f}) {
        for (std::size_t i = 0; i < 2000; i += 100) {
            in[i + i / 100 % 2] = bad;
            in[i + 1 - i / 100 % 2] = 1.0f;
        }
        Equalizer hurt(48000);
        EXPECT_EQ(Rendered(hurt, in), expected) << bad;
    }
}

} // namespace
} // namespace kal::test
