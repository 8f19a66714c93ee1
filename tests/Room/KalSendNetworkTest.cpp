#include "Kal/Room/KalSendNetwork.h"

#include "Kal/Base/KalFlushToZero.h"
#include "Kal/Base/KalInternals.h"
#include "tests/support/EveryTable.h"
#include "tests/support/Measure.h"
#include "tests/support/SendNetworkModel.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kal::test {
namespace {

using Settings = ReverbSettings;

constexpr Settings kRoom = kDefaultReverbSettings;

/// What the network adds to silent buses, rendered in blocks whose lengths are repeated in turn.
struct Wet {
    std::vector<float> mix, lowSend;
};

Wet Rendered(SendNetwork& network, const Settings& settings, const std::vector<float>& send,
             std::initializer_list<unsigned> blocks = {512})
{
    const ScopedFlushToZero flushToZero;
    Wet wet{std::vector<float>(2 * send.size()), std::vector<float>(send.size())};
    auto block = blocks.begin();
    for (std::size_t done = 0; done < send.size();) {
        const auto n = static_cast<unsigned>(std::min<std::size_t>(*block, send.size() - done));
        network.Render(n, settings, send.data() + done, wet.lowSend.data() + done, wet.mix.data() + 2 * done);
        done += n;
        if (++block == blocks.end()) block = blocks.begin();
    }
    return wet;
}

float PeakOf(const std::vector<float>& x, std::size_t from, std::size_t to)
{
    return Peak(to - from, x.data() + from);
}

/// A burst of noise, then silence.
std::vector<float> Burst(std::size_t frames, std::size_t silence)
{
    auto burst = Noise(frames, 7);
    burst.resize(frames + silence);
    return burst;
}

TEST(SendNetwork, FollowsItsModel)
{
    struct Case {
        double rate;
        Settings settings;
    };
    const Case cases[] = {
        {48000, {{{0.3f, 0.001f, 0.1f, 0}, {0.2f, 0.013f, 1.0f, 0}, {0.17f, 0.036f, 3.0f, 0}}}},
        {44100, {{{0.1f, 0.001f, 0.1f, 0}, {0.2f, 0.013f, 2.4f, 0}, {0.2f, 0.036f, 8.0f, 0}}}},
        {44100, {{{0.1f, 0.001f, 0.1f, 0.011f}, {0.2f, 0.013f, 0.36f, 0.02f}, {0.2f, 0.036f, 1.2f, 0.03f}}}},
        {4000, {{{0.25f, 0.001f, 0.1f, 0}, {0.5f, 0.013f, 4.5f, 0}, {0.5f, 0.036f, 15.0f, 0}}}},
        {16000, {{{0.25f, 0.001f, 0.1f, 0}, {0.5f, 0.013f, 0.36f, 0}, {0.5f, 0.036f, 1.2f, 0}}}},
        {192000, {{{0.25f, 0.001f, 0.1f, 0}, {0.5f, 0.013f, 0.36f, 0}, {0.5f, 0.036f, 1.2f, 0}}}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.rate);
        const auto send = Burst(5000, 25000);
        SendNetworkModel model(c.rate, c.settings);
        std::vector<double> stereo, left;
        for (float x : send) {
            const auto frame = model.ProcessSample(x);
            stereo.insert(stereo.end(), {frame.left, frame.right});
            left.push_back(frame.left);
        }
        SendNetwork network(c.rate);
        const Wet wet = Rendered(network, c.settings, send, {512, 1, 441, 1000});
        EXPECT_GT(SignalToErrorDb(wet.mix, stereo), 100.0);
        EXPECT_GT(SignalToErrorDb(wet.lowSend, left), 100.0);
    }
}

// Takes a minute or two, so it runs on request: errors might gather in what never rests.
TEST(SendNetwork, DISABLED_FollowsItsModelForAnHour)
{
    constexpr int kRate = 8000, kBlock = 4000;
    const Settings room = {{{0.25f, 0.001f, 0.1f, 0}, {0.5f, 0.013f, 2.4f, 0}, {0.5f, 0.036f, 8.0f, 0}}};
    SendNetwork network(kRate);
    SendNetworkModel model(kRate, room);
    double error = 0.0, power = 0.0;
    for (int block = 0; block < 3600 * kRate / kBlock; ++block) {
        const auto send = block % 4 == 3 ? std::vector<float>(kBlock) : Noise(kBlock, block);
        const Wet wet = Rendered(network, room, send);
        for (std::size_t i = 0; i < kBlock; ++i) {
            const auto frame = model.ProcessSample(send[i]);
            error += std::norm(std::complex(wet.mix[2 * i] - frame.left, wet.mix[2 * i + 1] - frame.right));
            power += std::norm(std::complex(frame.left, frame.right));
        }
    }
    EXPECT_GT(10.0 * std::log10(power / error), 120.0);
}

// Lines, gains and pre-delays that move at every block, into the silence after the last sound.
TEST(SendNetwork, FollowsItsModelThroughRoomsThatChangeEveryBlock)
{
    const Settings rooms[] = {
        kRoom,
        {{{0.1f, 0.001f, 0.1f, 0.02f}, {0.4f, 0.0081f, 2.4f, 0.005f}, {0.3f, 0.0213f, 8.0f, 0.1f}}},
        {{{0.5f, 0.0005f, 0.3f, 0}, {0.1f, 0.013f, 0.36f, 0.3f}, {0.2f, 0.036f, 1.2f, 0}}}};
    const auto send = Burst(5000, 15000);
    SendNetwork network(44100);
    SendNetworkModel model(44100, kRoom);
    std::vector<double> expected;
    std::vector<float> actual;
    const unsigned blocks[] = {512, 1, 300, 1000};
    for (std::size_t done = 0, block = 0, n; done < send.size(); done += n, ++block) {
        n = std::min<std::size_t>(blocks[block % 4], send.size() - done);
        const Settings& room = rooms[block % 3];
        const std::vector<float> part(send.begin() + done, send.begin() + done + n);
        const auto mix = Rendered(network, room, part).mix;
        actual.insert(actual.end(), mix.begin(), mix.end());
        model.Set(room);
        for (const float x : part) {
            const auto frame = model.ProcessSample(x);
            expected.insert(expected.end(), {frame.left, frame.right});
        }
    }
    EXPECT_GT(SignalToErrorDb(actual, expected), 100.0);
}

class SendNetworks : public EveryTable {};

INSTANTIATE_TEST_SUITE_P(Tables, SendNetworks, kEveryTable, NameOfTable);

TEST_P(SendNetworks, GiveTheSameForEveryTableAndDivision)
{
    const auto send = Burst(3000, 20000);
    SendNetwork network(48000), reference(48000);
    const Wet actual = Rendered(network, kRoom, send, {1, 64, 441, 0, 1000, 3, 257});
    qfft::cpu::SelectInstructionSet(qfft::cpu::InstructionSet::Generic);
    const Wet expected = Rendered(reference, kRoom, send);
    EXPECT_EQ(actual.mix, expected.mix);
    EXPECT_EQ(actual.lowSend, expected.lowSend);
}

// Adds to what the buses hold, and follows a new level by a tenth of the distance a frame.
TEST(SendNetwork, AddsToItsBusesAndSmoothsNewLevels)
{
    const auto send = Noise(4096, 7);
    Settings quiet = {{{0, 0.001f, 0.1f, 0}, {0, 0.013f, 1, 0}, {0, 0.036f, 3, 0}}};
    SendNetwork network(48000), reference(48000);
    EXPECT_EQ(PeakOf(Rendered(network, quiet, send).mix, 0, 8192), 0.0f);
    Rendered(reference, kRoom, send);
    const Wet full = Rendered(reference, kRoom, send);
    std::vector<float> low(64, 1.0f), mix(128, 1.0f);
    network.Render(64, kRoom, send.data(), low.data(), mix.data());
    for (std::size_t i = 0; i < 64; ++i) {
        const double gain = 1.0 - std::pow(0.9, static_cast<double>(i));
        ASSERT_NEAR(mix[2 * i] - 1.0, gain * full.mix[2 * i], 1e-5);
        ASSERT_NEAR(low[i] - 1.0, gain * full.lowSend[i], 1e-5);
    }
}

// A long tail takes some 85 s from 0 to -600 dB. Then the network sleeps, and wakes as if it were new.
TEST(SendNetwork, FallsSilentAfterTheWholeTailAndWakesUnchanged)
{
    Settings room = {{{0.25f, 0.001f, 0.1f, 0}, {0.5f, 0.013f, 4.5f, 0}, {0.5f, 0.036f, 8.0f, 0}}};
    constexpr std::size_t kSecond = 8000;
    SendNetwork used(kSecond), fresh(kSecond);
    Rendered(fresh, room, std::vector<float>(1000));
    Rendered(used, room, Noise(kSecond, 7));
    const auto tail = Rendered(used, room, std::vector<float>(kSecond * 120)).mix;
    for (std::size_t second = 1; second < 40; ++second) // 7.5 dB a second
        ASSERT_GT(PeakOf(tail, 2 * kSecond * second, 2 * kSecond * (second + 1)),
                  0.01 * std::pow(10.0, -0.375 * second));
    EXPECT_EQ(PeakOf(tail, tail.size() - 8000, tail.size()), 0.0f);
    const auto send = Burst(100, 10000);
    EXPECT_GT(SignalToErrorDb(Rendered(used, room, send).mix, Rendered(fresh, room, send).mix), 100.0);

    for (ReverbSetting& setting : room) setting.preDelay = 0.9f; // what waits there is no silence
    SendNetwork late(48000);
    EXPECT_GT(PeakOf(Rendered(late, room, Burst(100, 48000)).mix, 96000, 96200), 0.01f);
}

// Bad samples count as 0, wherever they stand.
TEST(SendNetwork, KeepsBadSamplesOut)
{
    for (const float bad : {NAN, INFINITY, -INFINITY, 3e38f}) {
        SCOPED_TRACE(bad);
        auto send = Burst(2000, 4000);
        for (std::size_t i = 0; i < 1500; i += 100) send[i] = 0.0f;
        SendNetwork clean(48000), hurt(48000);
        const auto expected = Rendered(clean, kRoom, send).mix;
        for (std::size_t i = 0; i < 1500; i += 100) send[i] = bad;
        EXPECT_EQ(Rendered(hurt, kRoom, send).mix, expected);
    }
}

// Nothing that a setting can hold ends the process, reaches the mix as something other than a number, or stays behind.
TEST(SendNetwork, SurvivesAnySetting)
{
    const auto send = Noise(2000, 7);
    for (const double rate : {4000.0, 4000.5, 11025.0})
        for (const float bad : {NAN, INFINITY, -INFINITY, -1.0f, 1e9f}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << bad);
            SendNetwork network(rate);
            Settings settings = {{{bad, 0.001f, bad, bad}, {bad, 0.013f, bad, bad}, {bad, 0.036f, bad, bad}}};
            EXPECT_TRUE(std::isfinite(PeakOf(Rendered(network, settings, send).mix, 0, 4000)));
            SendNetwork fresh(rate);
            Rendered(network, kRoom, std::vector<float>(static_cast<std::size_t>(rate) * 40));
            const auto actual = Rendered(network, kRoom, send).mix, expected = Rendered(fresh, kRoom, send).mix;
            EXPECT_GT(SignalToErrorDb(std::vector(actual.begin() + 400, actual.end()),
                                      std::vector(expected.begin() + 400, expected.end())),
                      100.0);
        }
}

TEST(SendNetwork, ServesEveryRateWhoseLongestLineFits)
{
    for (const double rate : {-1.0, 0.0, 1000.0, 3999.9, 325000.0, 1e9, 1e300, double(INFINITY), double(NAN)})
        EXPECT_FALSE(SendNetwork::CanServe(rate)) << rate;
    for (const double rate : {4000.0, 8000.0, 11025.5, 96000.0, 192000.0, 310000.0})
        EXPECT_TRUE(SendNetwork::CanServe(rate)) << rate;
    // Whatever it accepts it can build and run, up to the very last; a thinned-out walk over the whole range.
    double highest = 310000.0;
    while (SendNetwork::CanServe(highest + 1.0)) highest += 1.0;
    for (double rate = 4000.0; rate < highest; rate *= 1.9) {
        SendNetwork network(rate);
        Settings latest = {{{0.5f, 0.001f, 0.1f, 1.0f}, {0.5f, 0.013f, 0.36f, 0.5f}, {0.5f, 0.036f, 15.0f, 0.0f}}};
        EXPECT_GT(PeakOf(Rendered(network, latest, Noise(40000, 1)).mix, 0, 80000), 0.0f) << rate;
    }
    SendNetwork last(highest);
    EXPECT_GT(PeakOf(Rendered(last, kRoom, Noise(40000, 1)).mix, 0, 80000), 0.0f) << highest;
}

} // namespace
} // namespace kal::test
