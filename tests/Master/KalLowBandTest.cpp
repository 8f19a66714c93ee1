#include "Kal/Master/KalLowBand.h"

#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <numbers>

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

// A sine through the band-pass, whose response is that of the analog prototype at frequencies warped as the bilinear
// transform does it, then the curve: v + 7/8 v^3 up to 2 and v +- 7 beyond. Rounding the coefficients moves the band's
// square frequency by up to 2^-23 of the rate's.
TEST(LowBand, SaturatesTheSeventyHertzBandAtEveryRate)
{
    constexpr double kTwoPi = 2.0 * std::numbers::pi, kCentre = 70.0, kQ = 0.4;
    for (const double rate : {8000.0, 44100.0, 192000.0})
        for (const unsigned block : {1u, 100u, 1u << 20})
            for (const double frequency : {20.0, 70.0, 700.0})
                for (const double amplitude : {1.0, 30.0, 100.0}) {
                    SCOPED_TRACE(testing::Message() << rate << " Hz, blocks of " << block << ": " << amplitude << " at "
                                                    << frequency << " Hz");
                    const auto frames = static_cast<std::size_t>(0.25 * rate); // rings for Q / 70 s
                    std::vector<float> send(frames);
                    for (std::size_t i = 0; i < frames; ++i)
                        send[i] = static_cast<float>(amplitude * std::sin(kTwoPi * frequency / rate * double(i)));
                    LowBand band(rate);
                    const auto mix = Rendered(band, send, block);

                    const double warp = std::tan(kTwoPi / 2 * frequency / rate) / std::tan(kTwoPi / 2 * kCentre / rate);
                    const std::complex<double> s(0.0, warp);
                    const auto h = s / kQ / (s * s + s / kQ + 1.0);
                    const double shift = 0x1p-23 / std::pow(kTwoPi * kCentre / rate, 2.0);
                    for (std::size_t i = frames / 2; i < frames; i += 7) {
                        const double v = 0.05 * amplitude * std::abs(h) *
                                         std::sin(kTwoPi * frequency / rate * double(i) + std::arg(h));
                        const double expected = v + (std::fabs(v) > 2 ? std::copysign(7.0, v) : 0.875 * v * v * v);
                        const double slope = 1.0 + 3 * 0.875 * v * v;
                        ASSERT_NEAR(mix[2 * i], expected, slope * 0.05 * amplitude * (2 * shift + 1e-5)) << i;
                        ASSERT_EQ(mix[2 * i + 1], mix[2 * i]);
                    }
                }
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
