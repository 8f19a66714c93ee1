#include "Kal/Room/KalDiffusers.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

namespace kal::test {
namespace {

TEST(ExactDelayLine, LagsByTheWholePartOfItsDelay)
{
    const auto x = Noise(500, 1);
    for (const float delay : {0.0f, 1.0f, 10.7f, 63.0f, 63.5f}) {
        SCOPED_TRACE(delay);
        ExactDelayLine line(delay, 64.9f);
        const auto lag = static_cast<std::size_t>(delay);
        for (std::size_t i = 0; i < x.size(); ++i)
            ASSERT_EQ(line.ProcessSample(x[i]), i < lag ? 0.0f : x[i - lag]) << i;
    }
}

// Below a twentieth of the rate both delay by the whole d, and the all-pass leaves every level alone. The linear one
// errs by f (1 - f) w^2 / 2 at most; the all-pass by w^3 / 12 in phase.
TEST(InterpolatingDelayLines, DelayByAFractionOfAFrame)
{
    const double kPi = std::acos(-1.0);
    for (const float delay : {0.0f, 5.0f, 5.25f, 7.5f, 62.9f}) {
        SCOPED_TRACE(delay);
        LinearDelayLine linear(delay, 64.0f);
        AllpassDelayLine allpass(delay, 64.0f);
        const auto hLinear = ImpulseResponse(512, [&](float x) { return linear.ProcessSample(x); });
        const auto hAllpass = ImpulseResponse(512, [&](float x) { return allpass.ProcessSample(x); });
        for (const double w : {0.01, 0.1, 0.3}) {
            const auto ideal = std::polar(1.0, -w * delay);
            EXPECT_NEAR(std::abs(Response(hLinear, w) - ideal), 0.0, w * w / 8 + 1e-5) << w;
            EXPECT_NEAR(std::abs(Response(hAllpass, w) - ideal), 0.0, w * w * w / 12 + 1e-5) << w;
        }
        for (const double w : {0.5, 2.0, 0.9 * kPi}) EXPECT_NEAR(std::abs(Response(hAllpass, w)), 1.0, 1e-5) << w;
    }
}

TEST(DelayLinesDeathTest, RefuseDelaysThatTheirRingsCannotHold)
{
    EXPECT_DEATH_IF_SUPPORTED(ExactDelayLine(0.0f, 64.0f).SetDelay(64.0f), "Kal/KalUtils.*this->delay <= this->size");
    EXPECT_DEATH_IF_SUPPORTED(ExactDelayLine(0.0f, 64.0f).SetDelay(-1), "Kal/KalUtils.*this->delay > 0");
    EXPECT_DEATH_IF_SUPPORTED(LinearDelayLine(0.0f, 64.0f).SetDelay(NAN), "!std::isnan\\(coef\\)");
    EXPECT_DEATH_IF_SUPPORTED(AllpassDelayLine(1e30f, 64.0f), "this->delay <= this->size");
}

// The recursion by its closed form: a series of g and (1 - g^2) (-g)^(k-1) at the multiples k of the length.
TEST(Diffusers, HaveTheImpulseResponseOfAnAllPass)
{
    const auto check = [](std::size_t length, auto processSample) {
        const auto h = ImpulseResponse(600, processSample);
        for (std::size_t i = 0; i < h.size(); ++i) {
            const std::size_t k = i / length;
            const double expected = i % length != 0 ? 0.0 : k == 0 ? 0.6 : 0.64 * std::pow(-0.6, k - 1.0);
            ASSERT_NEAR(h[i], expected, 1e-6) << length << " frames, at " << i;
        }
    };
    unsigned time = ~0u - 300; // goes around
    check(1, [&, filter = ShortAllpass<1>(0.6f)](float x) mutable { return filter.ProcessSample(x, time++); });
    check(3, [&, filter = ShortAllpass<3>(0.6f)](float x) mutable { return filter.ProcessSample(x, time++); });
    check(7, [&, filter = ShortAllpass<7>(0.6f)](float x) mutable { return filter.ProcessSample(x, time++); });
    check(55, [filter = AllpassFilter1(55, 0.6f)](float x) mutable { return filter.ProcessSample(x); });
}

} // namespace
} // namespace kal::test
