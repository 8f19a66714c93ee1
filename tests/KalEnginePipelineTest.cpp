#include "Kal/KalEngine.h"

#include "Kal/Base/KalFlushToZero.h"
#include "Kal/Space/KalHrtf.h"
#include "Kal/Space/KalSpatializerSource.h"
#include "tests/support/Measure.h"
#include "tests/support/TestBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kal::test {
namespace {

constexpr double kRate = 48000.0;

/// A room for every block, so that each block's own must arrive.
ReverbSettings RoomOf(int block)
{
    const float x = 0.1f * static_cast<float>(block % 5);
    return {{{0.1f + x, 0.001f, 0.1f, 0.01f * x},
             {0.3f - 0.5f * x, 0.01f, 0.8f + x, 0.02f},
             {0.2f + x, 0.03f, 2.0f, 0.1f - 0.2f * x}}};
}

/// The stages of a block put together by hand, for one placed voice and one that is not.
class Stages {
public:
    Stages()
        : spatializer(std::make_shared<Spatializer>(hrtfData, hrtfDataSize, kRate)), source(spatializer->CreateSource())
    {
    }

    std::vector<float> Render(const ReverbSettings& room, const std::vector<float>& placed,
                              const std::vector<float>& plain)
    {
        const ScopedFlushToZero flushToZero;
        const auto n = static_cast<unsigned>(placed.size());
        std::vector<float> mix(2 * n), reverbSend(n), lowSend(n), spatialOut(2 * n);
        spatializer->BeginRender(n);
        for (unsigned i = 0; i < n; ++i) {
            mix[2 * i] = mix[2 * i + 1] = 0.5f * plain[i];
            reverbSend[i] = 0.6f * placed[i] + 0.8f * plain[i];
            lowSend[i] = placed[i];
        }
        source->Mix(placed.data(), 0, static_cast<int>(n), Vector3{1, 0, 1});
        network.Render(n, room, reverbSend.data(), lowSend.data(), mix.data());
        lowBand.Render(n, lowSend.data(), mix.data());
        if (const unsigned parts = spatializer->PrepareEndRender()) spatializer->EndRender(spatialOut.data(), 0, parts);
        equalizer.Render(n, spatialOut.data(), mix.data());
        limiter.Process(mix.data(), n);
        for (float& x : mix) x = std::clamp(x, -1.0f, 1.0f);
        return mix;
    }

private:
    std::shared_ptr<Spatializer> spatializer;
    std::shared_ptr<Spatializer::Source> source;
    SendNetwork network{kRate};
    LowBand lowBand{kRate};
    Equalizer equalizer{kRate};
    Compressor limiter{kRate};
};

// Noise whose low octaves are strong, so that the low band is heard, and loud enough for the limiter.
std::vector<float> Sound(std::uint32_t seed)
{
    auto sound = Noise(6000, seed);
    float low = 0.0f;
    for (float& x : sound) x += 30.0f * (low += (x - low) * 0.01f);
    return sound;
}

// The stages and their order, a room that is new in every block, and what goes on after the last voice has ended.
TEST(EnginePipeline, IsItsStagesInTheirOrder)
{
    const auto engine = std::make_shared<Engine>(EngineParam{kRate, 2, 1, hrtfData, hrtfDataSize});
    const auto placed = Sound(1), plain = Sound(2);
    const auto play = [&](const std::vector<float>& sound, float gain, float send, bool isSpatialized) {
        ChannelParam param;
        param.gain = gain;
        param.reverbSendGain = send;
        param.isSpatialized = isSpatialized;
        param.sourcePosition = {1, 0, 1};
        param.referenceDistanceSq = 4;
        engine->CreateChannel(0.0,
                              std::make_shared<TestBuffer>(AudioFormat::Float32, 1, kRate,
                                                           std::vector<double>(sound.begin(), sound.end())),
                              param);
    };
    play(placed, 1.0f, 0.6f, true);
    play(plain, 0.5f, 0.8f, false);

    Stages stages;
    std::vector<float> actual, expected;
    std::size_t done = 0;
    for (int block = 0; block < 60; ++block) {
        const std::size_t n = std::vector<std::size_t>{512, 100, 1000}[static_cast<std::size_t>(block) % 3];
        const auto part = [&](const std::vector<float>& sound) {
            std::vector<float> frames(n);
            for (std::size_t i = 0; i < n && done + i < sound.size(); ++i) frames[i] = sound[done + i];
            return frames;
        };
        engine->reverbSettings = RoomOf(block);
        std::vector<float> out(2 * n);
        engine->Prerender();
        engine->Render(out.data(), static_cast<int>(n));
        const auto wanted = stages.Render(RoomOf(block), part(placed), part(plain));
        actual.insert(actual.end(), out.begin(), out.end());
        expected.insert(expected.end(), wanted.begin(), wanted.end());
        done += n;
    }
    EXPECT_GT(SignalToErrorDb(actual, expected), 120.0);
    // The last third, without a voice, on its own scale.
    const auto tail = static_cast<std::ptrdiff_t>(actual.size() * 2 / 3);
    EXPECT_GT(SignalToErrorDb(std::vector(actual.begin() + tail, actual.end()),
                              std::vector(expected.begin() + tail, expected.end())),
              100.0);
}

} // namespace
} // namespace kal::test
