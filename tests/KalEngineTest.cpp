#include "Kal/KalEngine.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtf.h"
#include "tests/support/Allocations.h"
#include "tests/support/Measure.h"
#include "tests/support/TestBuffer.h"

#include <gtest/gtest.h>

#include <functional>

#include <limits>
#include <random>

namespace kal {
namespace {

using test::TestBuffer;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::shared_ptr<TestBuffer> NoiseBuffer(AudioFormat format, int channels, std::size_t numFrames, std::uint32_t seed)
{
    const auto noise = test::Noise(numFrames * static_cast<std::size_t>(channels), seed);
    return std::make_shared<TestBuffer>(format, channels, 44100.0, std::vector<double>(noise.begin(), noise.end()));
}

#ifdef __wasm__
constexpr unsigned kTwoThreads = 1; // as all there is
#else
constexpr unsigned kTwoThreads = 2;
#endif

std::shared_ptr<Engine> MakeEngine(unsigned numThreads = 1)
{
    return std::make_shared<Engine>(EngineParam{48000.0, 2, numThreads, hrtfData, hrtfDataSize});
}

std::string MessageOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const Exception& error) {
        return error.what();
    }
    return "";
}

TEST(Engine, ChecksItsParametersInOrder)
{
    struct Case {
        double rate;
        std::int32_t channels;
        std::uint32_t threads;
        std::string message;
    };
    const Case cases[] = {{0.0, 0, 1, "Invalid channel count: 0"},
                          {-1.0, 2, 1, "Invalid sampling rate: -1.000000"},
                          {0.0, 1, 1, "Invalid sampling rate: 0.000000"},
                          {48000.0, 1, 1, "Unsupported channel count: 1"},
                          {48000.0, 2, 4000000000u, "Invalid thread count: 4000000000"},
                          {3999.0, 2, 1, "Invalid sampling rate: 3999.000000"},
                          {1e6, 2, 1, "Invalid sampling rate: 1000000.000000"},
                          {1e300, 2, 1, "Invalid sampling rate"},
                          {std::nan(""), 2, 1, "Invalid sampling rate"},
                          {4000.0, 2, 1, ""},
                          {11025.0, 2, 1, ""},
                          {315000.0, 2, 1, ""}};
    for (const Case& c : cases) {
        const EngineParam param{c.rate, c.channels, c.threads, nullptr, 0};
        const auto message = MessageOf([&] {
            const auto engine = std::make_shared<Engine>(param);
            std::vector<float> out(2 * 100);
            engine->Prerender();
            engine->Render(out.data(), 100);
        });
        EXPECT_EQ(message.substr(0, c.message.size()), c.message) << c.rate;
        EXPECT_EQ(message.empty(), c.message.empty()) << message;
    }
    EXPECT_EQ(MessageOf([] {
                  std::make_shared<Engine>(EngineParam{48000.0, 2, 1, "KALHRTF?", 8});
              }),
              "Invalid KAL HRTF data: wrong signature.");
    EXPECT_FALSE(std::make_shared<Engine>(EngineParam{48000.0, 2, 1, "KALHRTFD\0\0\0\0", 12})->GetSpatializer());
}

TEST(Engine, ChecksNewVoicesInOrder)
{
    const auto engine = MakeEngine();
    ChannelParam bad;
    bad.speed = 0.0;
    const auto buffer = NoiseBuffer(AudioFormat::Float32, 1, 10, 1);
    EXPECT_EQ(MessageOf([&] { engine->CreateChannel(-1.0, nullptr, bad); }), "Buffer is null.");
    EXPECT_EQ(MessageOf([&] { engine->CreateChannel(-1.0, buffer, bad); }), "Delay is negative.");
    EXPECT_EQ(MessageOf([&] { engine->CreateChannel(std::nan(""), buffer, bad); }), "NaN delay.");
    EXPECT_EQ(MessageOf([&] { engine->CreateChannel(0.0, buffer, bad); }), "Speed is not positive.");
    Engine onTheStack(EngineParam{});
    EXPECT_THROW(onTheStack.CreateChannel(0.0, buffer, {}), std::bad_weak_ptr);
    EXPECT_NO_THROW(engine->CreateChannel(1e300, buffer, {}));
}

using EngineDeathTest = testing::Test;

TEST(EngineDeathTest, NeedsAWorker)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto engine = std::make_shared<Engine>(EngineParam{48000.0, 2, 0, nullptr, 0});
    float out[2];
    EXPECT_DEATH_IF_SUPPORTED(engine->Render(out, 1), "Kal/KalEngine.*maxNumThreads <= bgMutex1.size\\(\\)");
}

// A scene with every kind of voice. Every 371 frames some change, others jump, and in the end some stop; each change is
// scheduled just before the block that it falls into.
std::vector<float> Scene(unsigned numThreads, int blockSize, int numVoices)
{
    const auto engine = MakeEngine(numThreads);
    engine->reverbSettings = {{{0.1f, 0.001f, 0.1f, 0.0f}, {0.2f, 0.013f, 0.8f, 0.01f}, {0.2f, 0.036f, 2.5f, 0.02f}}};
    std::vector<std::shared_ptr<Channel>> channels;
    std::vector<ChannelParam> params;
    for (int i = 0; i < numVoices; ++i) {
        const auto format = static_cast<AudioFormat>(i % 3);
        const int numChannels = i % 5 == 4 ? 2 : 1;
        ChannelParam param;
        param.speed = 0.5 + 0.13 * (i % 11);
        param.gain = param.reverbSendGain = 0.5f / static_cast<float>(numVoices);
        param.lowpassCoef = i % 2 ? 0.4f : 1.0f;
        param.isLooped = i % 3 != 0;
        param.loopStart = 10 * i % 1000;
        param.loopEnd = 1500;
        param.isSpatialized = i % 4 != 3;
        param.sourcePosition = {std::sin(0.7f * i), 0.2f, std::cos(0.7f * i)};
        param.referenceDistanceSq = 0.5f;
        params.push_back(param);
        channels.push_back(engine->CreateChannel(i * 3.0, NoiseBuffer(format, numChannels, 2000, 10 + i), param));
    }
    constexpr int kFrames = 8000, kInterval = 371;
    std::vector<float> out(2 * kFrames);
    int change = kInterval;
    for (int done = 0, n; done < kFrames; done += n) {
        n = std::min(blockSize, kFrames - done);
        for (; change < done + n; change += kInterval)
            for (std::size_t i = change % 2; i < channels.size(); i += 2) {
                params[i].sourcePosition.x += 0.2f;
                params[i].gain *= 0.9f;
                params[i].loopStart += 3;
                params[i].shouldStop |= change >= 3000 && i % 8 == 0;
                channels[i]->UpdateChannelParam(change - done, params[i]);
                if (i % 5 == 0) channels[i]->Seek(change - done + 0.7, 40.25 * static_cast<double>(i));
            }
        engine->Prerender();
        engine->Render(out.data() + 2 * done, n);
    }
    return out;
}

TEST(Engine, SoundsTheSameInBlocksOfAnySizeAndOnAnyNumberOfThreads)
{
    for (const int numVoices : {7, 16, 100}) {
        const auto reference = Scene(1, 1000, numVoices);
        EXPECT_GT(*std::max_element(reference.begin(), reference.end()), 0.01f);
        for (const int blockSize : {1, 64, 127, 512})
            EXPECT_GT(test::SignalToErrorDb(Scene(1, blockSize, numVoices), reference), 100.0) << blockSize;
        for (const unsigned numThreads : {2u, 4u, 7u})
            EXPECT_GT(test::SignalToErrorDb(Scene(numThreads, 1000, numVoices), reference), 100.0) << numThreads;
    }
    const auto crowd = Scene(1, 1000, 1200); // for which more than a few workers are woken
    for (const unsigned numThreads : {4u, 5u, 12u})
        EXPECT_GT(test::SignalToErrorDb(Scene(numThreads, 250, 1200), crowd), 100.0) << numThreads;
}

// Infinities and NaN of one voice spoil what they touch while they last; two blocks later the rest is heard again and
// the spoilt voice's tail is clean.
TEST(Engine, RecoversFromSamplesThatAreNoSound)
{
    for (const bool isSpatialized : {false, true})
        for (const float bad : {kNaN, kInfinity, -kInfinity, 3e38f}) {
            const auto engine = MakeEngine();
            ChannelParam param;
            param.isSpatialized = isSpatialized;
            param.reverbSendGain = 1.0f;
            param.lowpassCoef = 0.5f;
            param.referenceDistanceSq = 1.0f;
            engine->CreateChannel(
                0.0, std::make_shared<TestBuffer>(AudioFormat::Float32, 1, 48000.0, std::vector<double>(700, bad)),
                param);
            param.gain = 0.1f;
            param.reverbSendGain = 0.0f;
            param.isLooped = true;
            param.loopEnd = 4000;
            engine->CreateChannel(0.0, NoiseBuffer(AudioFormat::Float32, 1, 4000, 3), param);
            std::vector<float> out(2 * 512);
            double loudness = 0.0;
            for (int block = 0; block < 6; ++block) {
                engine->Prerender();
                engine->Render(out.data(), 512);
                loudness = 0.0;
                for (const float x : out) {
                    ASSERT_TRUE(std::fabs(x) <= 1.0f);
                    loudness += x * x;
                }
            }
            if (bad != 3e38f) { // which is loud, but a sound: the limiter takes its second to come back
                EXPECT_GT(loudness, 0.01) << bad << isSpatialized;
            }
        }
}

// What a single sample far beyond all sound leaves in a long room would drown everything else for a minute and a half.
TEST(Engine, LetsNoSingleSampleSilenceTheRoom)
{
    const auto loudness = [](float bad, bool isSpatialized, float coef) {
        const auto engine = MakeEngine();
        for (ReverbSetting& setting : engine->reverbSettings) setting.rt60 = 15.0f;
        std::vector<double> sound(9000, 0.0);
        sound[700] = bad;
        ChannelParam param;
        param.isSpatialized = isSpatialized;
        param.reverbSendGain = 1.0f;
        param.lowpassCoef = coef;
        param.referenceDistanceSq = 1.0f;
        engine->CreateChannel(0.0, std::make_shared<TestBuffer>(AudioFormat::Float32, 1, 48000.0, sound), param);
        param.gain = param.reverbSendGain = 0.05f;
        param.isLooped = true;
        param.loopEnd = 4000;
        engine->CreateChannel(0.0, NoiseBuffer(AudioFormat::Float32, 1, 4000, 3), param);
        double energy = 0.0;
        std::vector<float> out(2 * 4800);
        for (int block = 0; block < 50; ++block) {
            engine->Prerender();
            engine->Render(out.data(), 4800);
            energy = 0.0;
            for (const float x : out) energy += x * x;
        }
        return std::sqrt(energy / static_cast<double>(out.size()));
    };
    for (const bool isSpatialized : {false, true})
        for (const float coef : {1.0f, 0.001f}) { // of 1e-3 the filter itself takes a second and a half to forget
            const double usual = loudness(0.0f, isSpatialized, coef);
            for (const float bad : {9e19f, -3e7f}) // 5 s, of which the limiter takes most
                EXPECT_NEAR(loudness(bad, isSpatialized, coef), usual, 0.02 * usual) << bad << isSpatialized << coef;
        }
}

// One voice whose filter would grow without bound, beside one that plays a constant.
TEST(Engine, LetsNoCoefficientDrownTheOthers)
{
    for (const bool isSpatialized : {false, true})
        for (const float coef : {kNaN, kInfinity, -kInfinity, -1.0f, 2.5f, 1e30f}) {
            const auto engine = MakeEngine();
            ChannelParam param;
            param.isLooped = true;
            param.loopEnd = 4000;
            param.gain = param.reverbSendGain = 0.01f;
            param.lowpassCoef = coef;
            param.isSpatialized = isSpatialized;
            param.referenceDistanceSq = 1.0f;
            engine->CreateChannel(0.0, NoiseBuffer(AudioFormat::Float32, 1, 4000, 3), param);
            if (!std::isfinite(coef)) // which is the gain of two channels
                engine->CreateChannel(0.0, NoiseBuffer(AudioFormat::Float32, 2, 4000, 3), param);
            ChannelParam plain;
            plain.gain = 0.5f;
            engine->CreateChannel(
                0.0, std::make_shared<TestBuffer>(AudioFormat::Float32, 2, 48000.0, std::vector<double>(9000, 1.0)),
                plain);
            std::vector<float> out(2 * 4096);
            engine->Prerender();
            engine->Render(out.data(), 4096);
            double mean = 0.0;
            for (const float x : out) mean += x / static_cast<double>(out.size());
            EXPECT_NEAR(mean, 0.5, 0.05) << coef << isSpatialized;
        }
}

// Voices that come while a block is rendered find room without it, and changes are made and dropped without memory.
// What has been scheduled is released by the next call that schedules, ended voices by whoever holds them.
TEST(Engine, AllocatesAndReleasesNothingOnceWarm)
{
    const auto engine = MakeEngine(kTwoThreads);
    std::mt19937 random(1);
    std::vector<std::shared_ptr<Channel>> channels;
    std::vector<float> out(2 * 512);
    ChannelParam param;
    param.gain = param.reverbSendGain = 0.1f;
    param.loopEnd = 500;
    const auto play = [&](int seed) {
        param.isSpatialized = random() % 4 != 0;
        param.isLooped = random() % 3 == 0;
        param.sourcePosition = {static_cast<float>(random() % 9) - 4.0f, 1.0f, static_cast<float>(random() % 9) - 4.0f};
        channels.push_back(engine->CreateChannel(
            random() % 900, NoiseBuffer(AudioFormat::Signed16, random() % 5 ? 1 : 2, 3000, seed), param));
    };
    const auto change = [&] {
        Channel& channel = *channels[random() % channels.size()];
        channel.Seek(random() % 2000, random() % 500);
        if (random() % 2) channel.Stop(random() % 2000);
    };
    for (int block = 0; block < 300; ++block) {
        const bool hasBegun = block % 20 == 3, isEventful = hasBegun || block % 10 == 0;
        if (hasBegun) engine->Prerender();
        for (int i = 0; i < 40 && isEventful; ++i) {
            play(block);
            change();
        }
        if (!hasBegun) engine->Prerender();
        if (!isEventful) change();
        const auto before = test::AllocationsSoFar();
        engine->Render(out.data(), block % 7 ? 512 : 100);
        const bool takesChangesOnly = block % 10 > 5; // and no new voices, for which lists may grow
        if (takesChangesOnly) engine->Prerender();
        const auto after = test::AllocationsSoFar();
        if (block <= 1) continue; // the longest block is behind us then
        ASSERT_EQ(after.count, before.count) << block;
        ASSERT_EQ(after.releases, before.releases) << block;
        if (takesChangesOnly) engine->Render(out.data(), 512);
    }
}

} // namespace
} // namespace kal
