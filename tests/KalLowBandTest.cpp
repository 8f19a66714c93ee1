#include "Kal/KalLowBand.h"

#include "tests/support/Measure.h"

#include <gtest/gtest.h>

namespace kal::test {
namespace {

std::vector<float> Rendered(LowBand& band, const std::vector<float>& send, unsigned block = 512)
{
    std::vector<float> mix(2 * send.size());
    for (std::size_t done = 0; done < send.size(); done += block)
        band.Render(static_cast<unsigned>(std::min<std::size_t>(block, send.size() - done)), send.data() + done,
                    mix.data() + 2 * done);
    return mix;
}

/// What the settled band adds to either channel when fed with a sine of 70 Hz, where the band-pass has a gain of 1 and
/// no phase: v = amplitude / 20 sin(w n), saturated.
TEST(LowBand, SaturatesTheSeventyHertzBand)
{
    const double rate = 48000, w = 2 * std::acos(-1.0) * 70 / rate;
    for (const double amplitude : {1.0, 10.0, 39.0, 100.0}) {
        SCOPED_TRACE(amplitude);
        std::vector<float> send(30000);
        std::vector<double> expected(send.size()), actual(send.size());
        for (std::size_t i = 0; i < send.size(); ++i) {
            const double sine = amplitude * std::sin(w * static_cast<double>(i)), v = 0.05 * sine;
            send[i] = static_cast<float>(sine);
            expected[i] = v + (std::fabs(v) > 2 ? std::copysign(7.0, v) : 0.875 * v * v * v);
        }
        LowBand band(rate);
        const auto mix = Rendered(band, send);
        for (std::size_t i = 0; i < send.size(); ++i) {
            ASSERT_EQ(mix[2 * i], mix[2 * i + 1]);
            actual[i] = mix[2 * i];
        }
        const auto settled = [](const std::vector<double>& x) { return std::vector(x.begin() + 20000, x.end()); };
        EXPECT_GT(SignalToErrorDb(settled(actual), settled(expected)),
                  60.0); // rounded coefficients move the phase by 1e-3
    }
}

TEST(LowBand, PassesNothingFarFromItsBand)
{
    LowBand band(48000);
    std::vector<float> send(20000, 1.0f); // a step: 0 Hz once it has settled
    EXPECT_LT(std::fabs(Rendered(band, send).back()), 1e-5f);
}

TEST(LowBand, BlocksAndBadSamplesMakeNoDifference)
{
    auto send = Noise(3000, 1);
    send.resize(6000);
    for (std::size_t i = 0; i < 2000; i += 50) send[i] = 0.0f;
    LowBand whole(48000);
    const auto expected = Rendered(whole, send, 6000);
    LowBand inBlocks(48000);
    EXPECT_EQ(Rendered(inBlocks, send, 37), expected);
    for (const float bad : {NAN, INFINITY, -3e38f}) {
        for (std::size_t i = 0; i < 2000; i += 50) send[i] = bad;
        LowBand hurt(48000);
        EXPECT_EQ(Rendered(hurt, send), expected) << bad;
    }
}

} // namespace
} // namespace kal::test
