#include "Kal/Room/KalReverb.h"

#include "Kal/Base/KalFlushToZero.h"
#include "tests/support/Measure.h"
#include "tests/support/SendNetworkModel.h"

#include <gtest/gtest.h>

#include <numeric>

namespace kal::test {
namespace {

Reverb Configured(double rate, float size, float delayRange, float rt60, float hfRatio, float hfReference)
{
    Reverb reverb(rate);
    reverb.SetSize(size);
    reverb.SetDelayRange(delayRange);
    reverb.SetRT60Time(rt60);
    reverb.SetHFReverbTimeRatio(hfRatio, hfReference);
    reverb.Update();
    return reverb;
}

// Every tap, the lengths of all lines, the decay, the damping and the output stage at once.
TEST(Reverb, FollowsItsDifferenceEquations)
{
    struct Case {
        double rate;
        float size, delayRange, rt60, hfRatio, hfReference;
    };
    for (const Case c : {Case{44100, 0.07f, 0.5f, 2.3f, 0.8f, 4410}, // the defaults
                         {48000, 0.036f, 1.65f, 3, 0.8f, 8000},      // long
                         {48000, 0.013f, 1.8f, 0.9f, 0.95f, 8000},   // middle
                         {48000, 0.001f, 1.65f, 0.1f, 0.9f, 8000},   // short
                         {44100, 0.0001f, 0.0f, 0.05f, 0.5f, 3000},  // lines from 4 frames on, all primes in a row
                         {11025, 0.036f, 1.65f, 1.2f, 0.8f, 8000},   // reference beyond half the rate
                         {48000, 0.036f, 1.65f, 8, 0.99f, 20000}}) { // hardly damped
        SCOPED_TRACE(testing::Message() << c.rate << " Hz, size " << c.size);
        Reverb reverb = Configured(c.rate, c.size, c.delayRange, c.rt60, c.hfRatio, c.hfReference);
        ReverbModel model;
        model.Set(c.rate, c.size, c.delayRange, c.rt60, c.hfRatio, c.hfReference);
        std::vector<float> actual;
        std::vector<double> expected;
        for (float x : Noise(12000, 1)) {
            const auto taps = reverb.ProcessSample(x);
            actual.insert(actual.end(), taps.begin(), taps.end());
            const auto modelTaps = model.ProcessSample(x);
            expected.insert(expected.end(), modelTaps.begin(), modelTaps.end());
        }
        EXPECT_GT(SignalToErrorDb(actual, expected), 105.0);
    }
}

// 0.07 s are 3087 frames, the next prime is 3089, and a line lags one frame more.
TEST(Reverb, LetsAnImpulseThroughOnTwoTapsAndThenWaitsForItsFirstLine)
{
    Reverb reverb(44100);
    const auto now = reverb.ProcessSample(1.0f);
    EXPECT_GT(now[0], 1.0f);
    EXPECT_EQ(now[2], -now[0]);
    EXPECT_EQ(std::count(now.begin(), now.end(), 0.0f), 6);
    reverb.ProcessSample(0.0f); // the output stage remembers one frame
    for (int i = 2; i < 3090; ++i)
        for (float tap : reverb.ProcessSample(0.0f)) ASSERT_EQ(tap, 0.0f) << i;
    for (float tap : reverb.ProcessSample(0.0f)) EXPECT_NE(tap, 0.0f);
}

/// Seconds for 60 dB of decay around a frequency: shifted to 0 Hz, averaged twice over 64 frames, integrated backwards
/// and fitted between -5 and -35 dB.
double MeasuredRt60(const std::vector<double>& h, double rate, double frequency)
{
    std::vector<std::complex<double>> band(h.size());
    for (std::size_t i = 0; i < h.size(); ++i)
        band[i] = h[i] * std::polar(1.0, -2.0 * std::acos(-1.0) * frequency / rate * static_cast<double>(i));
    for (int pass = 0; pass < 2; ++pass) {
        std::complex<double> sum = 0.0;
        std::vector<std::complex<double>> smooth(band.size());
        for (std::size_t i = 0; i < band.size(); ++i) smooth[i] = sum += band[i] - (i < 64 ? 0.0 : band[i - 64]);
        band.swap(smooth);
    }
    std::vector<double> energy(h.size());
    double sum = 0.0;
    for (std::size_t i = h.size(); i-- > 0;) energy[i] = sum += std::norm(band[i]);
    const auto reaches = [&](double dB) {
        const double level = energy[0] * std::pow(10.0, dB / 10.0);
        return std::find_if(energy.begin(), energy.end(), [&](double e) { return e < level; }) - energy.begin();
    };
    return 2.0 * static_cast<double>(reaches(-35.0) - reaches(-5.0)) / rate;
}

TEST(Reverb, DecaysInItsReverberationTime)
{
    for (const double rate : {44100.0, 48000.0})
        for (const float rt60 : {1.2f, 3.0f, 8.0f}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << rt60 << " s");
            Reverb reverb = Configured(rate, 0.036f, 1.65f, rt60, 0.8f, 8000);
            const auto n = static_cast<std::size_t>(rate * rt60);
            const auto h = ImpulseResponse(n, [&](float x) { return reverb.ProcessSample(x)[6]; });
            // A pass takes the mean of the lines. At the reference the damping takes its part, too.
            ReverbModel model;
            model.Set(rate, 0.036, 1.65, rt60, 0.8, 8000);
            const double pass = std::accumulate(model.delays.begin(), model.delays.end(), 0.0) / 16.0 / rate;
            const double implied = -3.0 * pass / std::log10(model.decay);
            const double damping = 0.25 * std::log10(model.decay / 4.0); // q = gain^(1 / 0.8 - 1)
            const double impliedHigh = -3.0 * pass / (std::log10(model.decay) + damping);
            EXPECT_NEAR(MeasuredRt60(h, rate, 500), implied, 0.1 * implied);
            EXPECT_NEAR(MeasuredRt60(h, rate, 8000), impliedHigh, 0.15 * impliedHigh);
            EXPECT_NEAR(implied, rt60, 0.05 * rt60);
        }
}

// Around a size of 0.8 ms the shortest decay takes the gains through the denormals to 0.
TEST(Reverb, SoundsAlikeWhereDenormalsAreKept)
{
    for (float size = 0.0006f; size < 0.001f; size += 1e-6f) {
        const auto response = [size] {
            Reverb reverb = Configured(48000, size, 1.65f, 0.0f, 0.9f, 8000);
            return ImpulseResponse(1000, [&](float x) { return reverb.ProcessSample(x)[0]; });
        };
        const auto kept = response();
        const ScopedFlushToZero flushToZero;
        const auto flushed = response();
        for (std::size_t i = 0; i < kept.size(); ++i) ASSERT_NEAR(kept[i], flushed[i], 1e-25) << size << " at " << i;
    }
}

TEST(Reverb, RecoversFromSamplesThatAreNotFinite)
{
    for (const float bad : {NAN, INFINITY, -INFINITY, 3e38f}) {
        Reverb reverb = Configured(48000, 0.001f, 1.65f, 3, 0.8f, 8000);
        for (int i = 0; i < 1000; ++i) reverb.ProcessSample(bad);
        EXPECT_FALSE(reverb.IsFinite()) << bad;
        reverb.Mute();
        EXPECT_TRUE(reverb.IsFinite());
        for (int i = 0; i < 40000; ++i) ASSERT_EQ(reverb.ProcessSample(0.0f)[0], 0.0f) << bad;
    }
}

// Nothing that could still be heard goes: up to then it sounds as one that is not asked.
TEST(Reverb, ForgetsWhatHasDecayedSinceTheLastSound)
{
    constexpr unsigned kBlock = 512;
    Reverb asked = Configured(48000, 0.001f, 1.65f, 0.1f, 0.9f, 8000);
    Reverb other = Configured(48000, 0.001f, 1.65f, 0.1f, 0.9f, 8000);
    for (int sound = 0; sound < 2; ++sound) {
        for (unsigned i = 0; i < 3 * 48000 / kBlock * kBlock; ++i) {
            const float x = i < 5000 ? 0.5f : 0.0f;
            const auto heard = asked.ProcessSample(x), expected = other.ProcessSample(x);
            for (std::size_t k = 0; k < heard.size(); ++k) ASSERT_NEAR(heard[k], expected[k], 1e-29f) << i;
            if (i % kBlock == kBlock - 1) asked.MuteOnceDecayed(kBlock);
        }
        EXPECT_EQ(asked.WrittenPeak(32768), 0.0f);
    }
}

TEST(ReverbDeathTest, RefusesParametersThatMakeNoReverb)
{
    Reverb reverb(48000);
    EXPECT_DEATH_IF_SUPPORTED(Reverb(-1.0), "Kal/KalReverb.*samplingRate >= 0.0");
    EXPECT_DEATH_IF_SUPPORTED(reverb.SetSize(-1.0f), "Kal/KalReverb.*v >= 0.f");
    EXPECT_DEATH_IF_SUPPORTED(reverb.SetRT60Time(NAN), "Kal/KalReverb.*seconds >= 0.f");
    reverb.SetSize(1.0f);
    EXPECT_DEATH_IF_SUPPORTED(reverb.Update(), "Kal/KalInternals.*this->delay <= size");
}

} // namespace
} // namespace kal::test
