#include "Kal/Master/KalLowBand.h"

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

// The section itself has its own test; here it is the one that is meant, and what follows it is exact.
TEST(LowBand, SaturatesTheSeventyHertzBand)
{
    for (const float amplitude : {1.0f, 100.0f, 1000.0f}) {
        SCOPED_TRACE(amplitude);
        auto send = Noise(20000, 1);
        for (float& x : send) x *= amplitude;
        LowBand band(48000);
        const auto mix = Rendered(band, send);
        SingleBiquadFilter section;
        section.BandpassFilter(48000, 70, 0.4f);
        int beyond = 0;
        for (std::size_t i = 0; i < send.size(); ++i) {
            const double v = 0.05 * section.ProcessSample(send[i]);
            const double expected = v + (std::fabs(v) > 2 ? std::copysign(7.0, v) : 0.875 * v * v * v);
            ASSERT_NEAR(mix[2 * i], expected, 1e-6 * (1.0 + std::fabs(expected))) << i;
            ASSERT_EQ(mix[2 * i + 1], mix[2 * i]);
            beyond += std::fabs(v) > 2;
        }
        EXPECT_EQ(beyond > 0, amplitude == 1000.0f);
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
