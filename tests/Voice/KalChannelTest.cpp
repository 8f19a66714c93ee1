#include "Kal/Voice/KalChannel.h"

#include "Kal/Base/KalException.h"
#include "Kal/KalEngine.h"
#include "tests/support/Allocations.h"
#include "tests/support/TestBuffer.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace kal {
namespace {

using test::TestBuffer;

constexpr int kBlock = 512;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Both channels of a ramp: a frame's value tells its number.
std::shared_ptr<TestBuffer> Ramp()
{
    std::vector<double> frames;
    for (int i = 0; i < 8192; ++i) frames.insert(frames.end(), 2, i / 8192.0);
    return std::make_shared<TestBuffer>(AudioFormat::Float32, 2, 48000.0, frames);
}

std::shared_ptr<TestBuffer> Constant()
{
    return std::make_shared<TestBuffer>(AudioFormat::Float32, 2, 48000.0, std::vector<double>(32768, 1.0));
}

// An engine without spatializer whose voices are heard as they are: one number a frame.
class Stage {
public:
    std::shared_ptr<Channel> Play(const std::shared_ptr<Buffer>& buffer, double delay = 0.0)
    {
        return engine->CreateChannel(delay, buffer, {});
    }

    std::vector<float> Block(
        int numFrames = kBlock, const std::function<void()>& meanwhile = [] {})
    {
        engine->Prerender();
        meanwhile();
        std::vector<float> stereo(2 * static_cast<std::size_t>(numFrames)), left;
        engine->Render(stereo.data(), numFrames);
        for (std::size_t i = 0; i < stereo.size(); i += 2) left.push_back(stereo[i]);
        return left;
    }

    std::shared_ptr<Engine> engine = std::make_shared<Engine>(EngineParam{});
};

ChannelParam WithGain(float gain)
{
    ChannelParam param;
    param.gain = gain;
    return param;
}

// The gains heard as (first frame, gain) where they change.
using Steps = std::vector<std::pair<int, float>>;

Steps StepsOf(const std::vector<float>& heard)
{
    Steps steps;
    for (std::size_t i = 0; i < heard.size(); ++i)
        if (i == 0 || std::fabs(heard[i] - heard[i - 1]) > 1e-3f)
            steps.emplace_back(static_cast<int>(i), std::round(heard[i] * 1000.0f) / 1000.0f);
    return steps;
}

TEST(Channel, AppliesChangesAtTheirSamples)
{
    Stage stage;
    const auto channel = stage.Play(Constant());
    channel->UpdateChannelParam(100.9, WithGain(0.5f)); // keys are whole samples
    channel->UpdateChannelParam(50.0, WithGain(0.75f));
    channel->UpdateChannelParam(300.0, WithGain(0.1f)); // of two at the same time the later one holds
    channel->UpdateChannelParam(300.0, WithGain(0.2f));
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 1.0f}, {50, 0.75f}, {100, 0.5f}, {300, 0.2f}}));
    channel->UpdateChannelParam(0.0, WithGain(0.25f));
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 0.25f}}));
}

// A change beyond the block holds from the block's end and is applied again when it is due; of several, one.
TEST(Channel, LetsNoChangeWaitLongerThanTheBlock)
{
    Stage stage;
    const auto channel = stage.Play(Constant());
    channel->UpdateChannelParam(kBlock + 188.0, WithGain(0.5f));
    channel->UpdateChannelParam(kBlock + 288.0, WithGain(0.125f));
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 1.0f}}));
    channel->UpdateChannelParam(20.0, WithGain(0.25f));
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 0.5f}, {20, 0.25f}, {188, 0.5f}, {288, 0.125f}}));
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 0.125f}}));
}

TEST(Channel, PutsCarriedChangesBehindNewerOnesOfTheSameTime)
{
    Stage stage;
    const auto channel = stage.Play(Constant());
    channel->UpdateChannelParam(kBlock + 100.0, WithGain(0.5f));
    stage.Block(kBlock, [&] { channel->UpdateChannelParam(100.0, WithGain(0.25f)); });
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 0.5f}}));
}

// Of several changes of one frame the last one holds, from the end of the block at the latest. A seek or a block
// between them keeps both.
TEST(Channel, KeepsOneChangeAFrameUntilABlockHasSeenIt)
{
    Stage stage;
    const auto channel = stage.Play(Ramp());
    const auto held = [] { return test::AllocationsSoFar().count - test::AllocationsSoFar().releases; };
    const auto schedule = [&](float gain) { channel->UpdateChannelParam(kBlock + 100.0, WithGain(gain)); };
    schedule(0.75f);
    const auto before = held();
    for (int i = 0; i < 1000; ++i) schedule(0.5f);
    EXPECT_EQ(held(), before);
    stage.Block();
    channel->UpdateChannelParam(100.0, WithGain(0.75f)); // when the one that the block has seen is due
    stage.Block(50);
    EXPECT_FLOAT_EQ(stage.Block(20)[0], 0.5f * 562 / 8192);
    EXPECT_FLOAT_EQ(stage.Block()[31], 0.75f * 613 / 8192);
    schedule(0.25f);
    channel->Seek(kBlock + 100.0, 4096.0);
    schedule(0.125f);
    stage.Block();
    EXPECT_FLOAT_EQ(stage.Block()[101], 0.125f * 4097 / 8192);

    // Voices that end before they begin leave while no block comes; those that are heard for a frame do not.
    for (const double end : {100.0, 101.0}) {
        std::weak_ptr<TestBuffer> first;
        for (int i = 0; i < 100; ++i) {
            const auto sound = Constant();
            if (i == 0) first = sound;
            stage.Play(sound, 100.0)->Stop(end);
        }
        EXPECT_EQ(first.expired(), end == 100.0);
    }
}

TEST(Channel, StopsWithoutAFadeAndForGood)
{
    Stage stage;
    const auto inside = stage.Play(Constant());
    inside->Stop(200.0);
    inside->Stop(200.0);
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 1.0f}, {200, 0.0f}}));
    EXPECT_FALSE(inside->IsPlaying());
    inside->Stop(0.0); // accepted, without effect
    const auto beyond = stage.Play(Constant());
    beyond->Stop(3 * kBlock); // holds from the end of the first block
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 1.0f}}));
    EXPECT_TRUE(beyond->IsPlaying());
    EXPECT_EQ(StepsOf(stage.Block()), (Steps{{0, 0.0f}}));
    EXPECT_FALSE(beyond->IsPlaying());
}

TEST(Channel, SeeksAtAnyTime)
{
    Stage stage;
    const auto channel = stage.Play(Ramp());
    const auto frameAt = [](const std::vector<float>& heard, std::size_t i) { return std::lround(heard[i] * 8192.0f); };
    channel->Seek(10.0, 4096.0);
    auto heard = stage.Block();
    EXPECT_EQ(frameAt(heard, 9), 9);
    EXPECT_EQ(frameAt(heard, 10), 4096);
    channel->Seek(-5.0, 1000.0);
    heard = stage.Block();
    EXPECT_EQ(frameAt(heard, 0), 1000);
    EXPECT_EQ(frameAt(heard, 511), 1511);
    ChannelParam param;
    param.position = 77.0; // an ordinary change moves nothing
    channel->UpdateChannelParam(0.0, param);
    EXPECT_EQ(frameAt(stage.Block(), 0), 1512);
    channel->Seek(kNaN, kNaN); // now, to nowhere: the voice ends
    stage.Block();
    EXPECT_FALSE(channel->IsPlaying());
}

// A block of no frames carries what is due from now on and drops what was due before.
TEST(Channel, CarriesChangesOverABlockOfNoFrames)
{
    Stage stage;
    const auto channel = stage.Play(Ramp());
    channel->UpdateChannelParam(0.0, WithGain(0.5f));
    channel->Seek(-1.0, 4000.0);
    stage.Block(0);
    const auto heard = stage.Block();
    EXPECT_NEAR(heard[100], 0.5f * 100.0f / 8192.0f, 1e-6f);
}

TEST(Channel, StartsOnTheWholeSampleAfterItsDelay)
{
    Stage stage;
    stage.Play(Constant(), 2.5);
    EXPECT_EQ(StepsOf(stage.Block(8)), (Steps{{0, 0.0f}, {2, 1.0f}}));
    Stage late;
    const auto channel = late.Play(Ramp(), 700.0);
    channel->Stop(900.0); // a block's end comes first: it never sounds
    late.Block(256);
    late.Block(256);
    EXPECT_TRUE(channel->IsPlaying());
    EXPECT_EQ(StepsOf(late.Block(256)), (Steps{{0, 0.0f}}));
    EXPECT_FALSE(channel->IsPlaying());
    const auto again = late.Play(Ramp(), 300.0);
    late.Block(256);
    EXPECT_NEAR(late.Block(256)[45], 1.0f / 8192.0f, 1e-7f);
}

TEST(Channel, RefusesWhatCannotBeInItsOrder)
{
    Stage stage;
    ChannelParam looped;
    looped.isLooped = true;
    looped.loopEnd = 100;
    const auto channel = stage.engine->CreateChannel(0.0, Constant(), looped);
    struct Case {
        std::function<void(ChannelParam&)> spoil;
        double time;
        std::string message;
    };
    const Case cases[] = {
        {[](ChannelParam& p) { p.speed = 0.0, p.position = kNaN; }, -1.0, "Speed is not positive."},
        {[](ChannelParam& p) { p.speed = kNaN, p.position = kNaN; }, -1.0, "NaN speed."},
        {[](ChannelParam& p) { p.position = kNaN, p.gain = std::nanf(""); }, -1.0, "NaN position."},
        {[](ChannelParam& p) { p.gain = std::nanf(""), p.loopEnd = 0; }, -1.0, "NaN gain."},
        {[](ChannelParam& p) { p.loopEnd = p.loopStart; }, -1.0, "Invalid loop position."},
        {[](ChannelParam& p) { p.isLooped = false; }, -1.0, "Delay is negative."},
        {[](ChannelParam& p) { p.isLooped = false; }, kNaN, "NaN delay"},
        {[](ChannelParam& p) { p.isLooped = false; }, 2147483647.0, "Too big delay value."},
        {[](ChannelParam& p) { p.isLooped = false, p.isSpatialized = true; }, 0.0,
         "Cannot modify the value of 'isLooped' of ChannelParam."},
        {[](ChannelParam& p) { p.isSpatialized = true; }, 0.0,
         "Cannot modify the value of 'isSpatialized' of ChannelParam."},
        {[](ChannelParam& p) { p.loopStart = 50; }, 2147483646.9, ""},
        {[](ChannelParam& p) { p.shouldStop = true; }, 0.0, ""},
        {[](ChannelParam&) {}, 0.0, "Cannot cancel stopping the channel (shouldStop set to false)."},
    };
    for (const Case& c : cases) {
        ChannelParam param = looped;
        c.spoil(param);
        std::string message;
        try {
            channel->UpdateChannelParam(c.time, param);
        } catch (const Exception& error) {
            message = error.what();
        }
        EXPECT_EQ(message, c.message);
    }
    EXPECT_THROW(channel->Stop(kNaN), Exception);
}

TEST(Channel, DoesNothingOnceItsEngineIsGone)
{
    Stage stage;
    const auto channel = stage.Play(Constant());
    stage.Block();
    stage.engine.reset();
    channel->Stop(kNaN);
    channel->UpdateChannelParam(-1.0, {});
    channel->Seek(0.0, 0.0);
    EXPECT_TRUE(channel->IsPlaying());
}

} // namespace
} // namespace kal
