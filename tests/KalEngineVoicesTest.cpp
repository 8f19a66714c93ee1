#include "Kal/KalEngine.h"

#include "Kal/Space/KalHrtf.h"
#include "tests/support/Allocations.h"
#include "tests/support/Measure.h"
#include "tests/support/TestBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kal::test {
namespace {

constexpr int kBlock = 512;

std::shared_ptr<Engine> MakeEngine()
{
    return std::make_shared<Engine>(EngineParam{48000.0, 2, 1, hrtfData, hrtfDataSize});
}

std::shared_ptr<TestBuffer> Buffer(const std::vector<float>& frames)
{
    return std::make_shared<TestBuffer>(AudioFormat::Float32, 1, 48000.0,
                                        std::vector<double>(frames.begin(), frames.end()));
}

std::vector<float> Block(Engine& engine)
{
    std::vector<float> out(2 * kBlock);
    engine.Prerender();
    engine.Render(out.data(), kBlock);
    return out;
}

ChannelParam Looped(std::size_t frames, bool isSpatialized)
{
    ChannelParam param;
    param.gain = 0.2f;
    param.lowpassCoef = 0.5f;
    param.isLooped = true;
    param.loopEnd = static_cast<std::int32_t>(frames);
    param.isSpatialized = isSpatialized;
    param.sourcePosition = {1, 0, 1};
    param.referenceDistanceSq = 4;
    return param;
}

// One bad sample in a loop of twelve blocks. The block that plays it and the two after it may differ; in all others the
// voice, which goes on, sounds as if nothing had been.
TEST(EngineVoices, SoundBetweenTheBadSamplesOfTheirLoop)
{
    constexpr std::size_t kLoop = 12 * kBlock;
    for (const bool isSpatialized : {false, true})
        for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
            SCOPED_TRACE(testing::Message() << isSpatialized << bad);
            auto frames = Noise(kLoop, 3);
            const auto clean = MakeEngine(), hurt = MakeEngine();
            clean->CreateChannel(0.0, Buffer(frames), Looped(kLoop, isSpatialized));
            frames[2 * kBlock + 100] = bad;
            hurt->CreateChannel(0.0, Buffer(frames), Looped(kLoop, isSpatialized));
            for (int block = 0; block < 36; ++block) {
                const auto expected = Block(*clean), actual = Block(*hurt);
                if (block % 12 >= 2 && block % 12 <= 5) continue;
                EXPECT_GT(SignalToErrorDb(actual, expected), 60.0) << block;
            }
        }
}

// A voice that has ended leaves with the next block and takes its samples along; the host may keep its handle.
TEST(EngineVoices, ReleaseTheirSamplesWhenTheyEnd)
{
    const auto engine = MakeEngine();
    auto samples = Buffer(Noise(100, 1));
    const std::weak_ptr<TestBuffer> watched = samples;
    engine->CreateChannel(0.0, std::move(samples), {});
    Block(*engine);
    EXPECT_FALSE(engine.get() == nullptr);
    engine->Prerender();
    EXPECT_TRUE(watched.expired());
}

// A listener who never rests: a change for every block, in some blocks several, and then for blocks of no frames.
TEST(EngineVoices, DoNotPileUpChanges)
{
    const auto engine = MakeEngine();
    ChannelParam param = Looped(1000, true);
    const auto channel = engine->CreateChannel(0.0, Buffer(Noise(1000, 1)), param);
    const auto held = [] {
        const Allocations now = AllocationsSoFar();
        return static_cast<std::int64_t>(now.count) - static_cast<std::int64_t>(now.releases);
    };
    std::int64_t early = 0;
    for (int block = 0; block < 400; ++block) {
        for (int i = 0; i <= block % 3; ++i) {
            param.sourcePosition.x += 0.01f;
            channel->UpdateChannelParam(100.0 * i, param);
        }
        Block(*engine);
        if (block == 20) early = held();
    }
    EXPECT_LE(held(), early + 8); // what one block schedules
    for (int round = 0; round < 400; ++round) {
        param.sourcePosition.x += 0.01f;
        channel->UpdateChannelParam(0.0, param);
        engine->Prerender();
        engine->Render(nullptr, 0);
    }
    EXPECT_LE(held(), early + 8);
}

// Whatever the processor does with denormals: a muffled sound that goes on in silence leaves none.
TEST(EngineVoices, AreSilentSoonAfterTheirSamples)
{
    std::vector<double> frames(480000);
    std::fill_n(frames.begin(), 4800, 0.5);
    const auto engine = MakeEngine();
    ChannelParam param;
    param.gain = 1.0f;
    param.lowpassCoef = 0.1f;
    const auto voice =
        engine->CreateChannel(0, std::make_shared<test::TestBuffer>(AudioFormat::Float32, 1, 48000.0, frames), param);
    std::vector<float> out(std::size_t{2} * 48000);
    engine->Prerender();
    engine->Render(out.data(), 48000);
    EXPECT_GT(out[9599], 0.4f);
    engine->Prerender();
    engine->Render(out.data(), 48000);
    EXPECT_TRUE(voice->IsPlaying());
    EXPECT_TRUE(std::all_of(out.begin() + 4096, out.end(),
                            [](float x) { return std::fabs(x) < 1e-30f && std::fpclassify(x) != FP_SUBNORMAL; }));
}

} // namespace
} // namespace kal::test
