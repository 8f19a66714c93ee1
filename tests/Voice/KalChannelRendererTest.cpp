#include "Kal/Voice/KalChannelRenderer.h"

#include "Kal/Base/KalException.h"
#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "Kal/Voice/KalPlayhead.h"
#include "tests/support/EveryTable.h"
#include "tests/support/Measure.h"
#include "tests/support/TestBuffer.h"
#include "tests/support/VoiceModel.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace kal {
namespace {

using test::TestBuffer;
using test::VoiceModel;
using Kind = VoiceModel::Kind;

constexpr double kEngineRate = 48000.0;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::shared_ptr<Engine> SharedEngine()
{
    static const auto engine = std::make_shared<Engine>(EngineParam{kEngineRate, 2, 1, hrtfData, hrtfDataSize});
    return engine;
}

std::vector<double> NoiseFrames(std::size_t n)
{
    const auto noise = test::Noise(n, 5);
    return {noise.begin(), noise.end()};
}

// One voice beside its model, span by span.
class Pair {
public:
    Pair(Kind kind, Interpolation interpolation, const TestBuffer& buffer, const ChannelParam& initial)
        : param(initial), model(kind, interpolation, buffer, kEngineRate, initial)
    {
        param.isSpatialized = kind == Kind::Spatialized;
        renderer = MakeRenderer(interpolation, *SharedEngine(), buffer, param);
    }

    // Renders a span somewhere in a block whose buses already hold something.
    void Render(int count)
    {
        constexpr int kOffset = 3;
        const auto n = static_cast<unsigned>(kOffset + count);
        SharedEngine()->GetSpatializer()->BeginRender(n);
        ThreadLocalBuffer buses;
        buses.Clear(n);
        const bool goesOn = renderer->Render(SharedEngine().get(), kOffset, count, buses);
        const auto expected = model.Render(count);
        ASSERT_EQ(goesOn, expected.goesOn);
        ASSERT_EQ(param.position, model.param.position) << "not what repeated addition gives";
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            const std::size_t frame = kOffset + i;
            const bool rendered = i < expected.left.size();
            const auto compare = [&](float heard, const std::vector<double>& wanted) {
                actual.push_back(heard);
                reference.push_back(rendered ? wanted[i] : 0.0);
            };
            compare(buses.mix[2 * frame], expected.left);
            compare(buses.mix[2 * frame + 1], expected.right);
            compare(buses.reverbSend[frame], expected.reverbSend);
            compare(buses.lowSend[frame], expected.lowSend);
        }
        for (std::size_t i = 0; i < kOffset; ++i) ASSERT_EQ(buses.mix[2 * i] + buses.reverbSend[i], 0.0f);
    }

    void Change(const ChannelParam& changed)
    {
        const double position = param.position;
        param = model.param = changed;
        param.position = model.param.position = position;
        renderer->ParamUpdated();
    }

    double Decibels() const { return test::SignalToErrorDb(actual, reference); }

    ChannelParam param;
    std::vector<float> actual;
    std::vector<double> reference;

private:
    VoiceModel model;
    std::unique_ptr<Channel::Renderer> renderer;
};

class Voices : public test::EveryTable {};

INSTANTIATE_TEST_SUITE_P(Tables, Voices, test::kEveryTable, test::NameOfTable);

// Speeds from crawling to beyond what kernels take; coefficients with and without a chain, and one that no kernel
// takes.
TEST_P(Voices, MatchesTheModel)
{
    constexpr double kSpeeds[] = {0.01, 0.5, 1.0, 48000.0 / 44100.0, 1.37, 2.0, 7.3, 100.0};
    constexpr float kCoefs[] = {1.0f, 0.3f, 0.01f, 1.9f};
    constexpr double kPositions[] = {0.0, 700.25, -3.5, 2400.0};
    constexpr float kReferences[] = {4.0f, 100.0f, 12.0f, 13.9f}; // of a voice at 14
    constexpr int kSpans[] = {1, 512, 7, 300, 64, 1};
    const auto frames = NoiseFrames(6000);
    int variant = 0;
    for (const auto format : {AudioFormat::Unsigned8, AudioFormat::Signed16, AudioFormat::Float32})
        for (const Kind kind : {Kind::Spatialized, Kind::Mono, Kind::Stereo})
            for (const auto how : {Interpolation::Nearest, Interpolation::Linear, Interpolation::Cubic})
                for (const bool looped : {false, true})
                    for (const double speed : kSpeeds) {
                        SCOPED_TRACE(testing::Message() << "format " << int(format) << " kind " << int(kind) << " how "
                                                        << int(how) << " looped " << looped << " speed " << speed);
                        const TestBuffer buffer(format, kind == Kind::Stereo ? 2 : 1, 44100.0, frames);
                        ChannelParam param;
                        param.speed = speed;
                        param.position = kPositions[variant % 4];
                        param.gain = 0.7f;
                        param.reverbSendGain = 0.4f;
                        param.lowpassCoef = kCoefs[variant / 4 % 4];
                        param.isLooped = looped;
                        param.loopStart = variant % 3 * 100;
                        param.loopEnd = 1000 + variant % 5 * 300;
                        param.sourcePosition = {3.0f, -1.0f, 2.0f};
                        param.referenceDistanceSq = kReferences[variant % 4];
                        ++variant;
                        Pair pair(kind, how, buffer, param);
                        for (const int span : kSpans) pair.Render(span);
                        param.gain = 0.2f;
                        param.reverbSendGain = 0.9f;
                        param.lowpassCoef = kCoefs[variant % 4]; // also from 1, where the filter has not run
                        param.loopStart += 150;
                        param.loopEnd += 77;
                        pair.Change(param);
                        for (const int span : kSpans) pair.Render(span);
                        EXPECT_GT(pair.Decibels(), 100.0);
                    }
}

TEST_P(Voices, LoopsSeamlesslyHoweverShortOrFarAway)
{
    const TestBuffer buffer(AudioFormat::Signed16, 1, 48000.0, NoiseFrames(3000));
    struct Case {
        std::int32_t start, end;
        double position, speed;
    };
    const Case cases[] = {{10, 11, 0, 0.9},         {10, 12, 0, 1.7},       {5, 30, 0, 0.33},
                          {100, 200, 2100.25, 1},   {100, 200, 1e12, 1.1},  {-50, 40, -60, 0.8},
                          {2990, 3100, 2800, 0.97}, {0, 3000, 2999.5, 0.5}, {500, 2500, 1699.0, 3.1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.start << " to " << c.end << " from " << c.position);
        ChannelParam param;
        param.isLooped = true;
        param.loopStart = c.start;
        param.loopEnd = c.end;
        param.position = c.position;
        param.speed = c.speed;
        Pair pair(Kind::Mono, Interpolation::Linear, buffer, param);
        for (int i = 0; i < 12; ++i) pair.Render(400);
        EXPECT_GT(pair.Decibels(), 100.0);
    }
}

TEST_P(Voices, EndsEightFramesPastTheData)
{
    const TestBuffer buffer(AudioFormat::Float32, 1, 48000.0, NoiseFrames(20));
    ChannelParam param;
    struct Case {
        double position;
        int count;
        bool goesOn;
        double after;
    };
    for (const Case& c :
         {Case{28.0, 4, false, 28.0}, {27.0, 4, false, 28.0}, {27.0, 1, true, 28.0}, {19.5, 8, true, 27.5}}) {
        param.position = c.position;
        Pair pair(Kind::Mono, Interpolation::Linear, buffer, param);
        pair.Render(c.count);
        EXPECT_EQ(pair.param.position, c.after);
    }
    param.position = 19.5; // half of the last frame, then silence
    Pair pair(Kind::Mono, Interpolation::Linear, buffer, param);
    pair.Render(8);
    EXPECT_NEAR(pair.actual[0], buffer.Value(19, 0) / 2, 1e-7);
    EXPECT_EQ(pair.actual[4], 0.0f);
}

// The way from one gain to the other does not fit a float.
TEST_P(Voices, HealsGainsThatOverflowed)
{
    const TestBuffer buffer(AudioFormat::Float32, 1, 48000.0, std::vector<double>(3000, 0.5));
    ChannelParam param;
    param.isSpatialized = true;
    param.referenceDistanceSq = 1.0f;
    const auto renderer = MakeRenderer(Interpolation::Linear, *SharedEngine(), buffer, param);
    ThreadLocalBuffer buses;
    for (const float gain : {3e38f, -3e38f, 0.3f}) {
        param.gain = param.reverbSendGain = gain;
        SharedEngine()->GetSpatializer()->BeginRender(512);
        buses.Clear(512);
        renderer->Render(SharedEngine().get(), 0, 512, buses);
    }
    EXPECT_FLOAT_EQ(buses.lowSend[511], 0.15f);
    EXPECT_FLOAT_EQ(buses.reverbSend[511], 0.15f);
}

// Steps of every kind against repeated addition: random ones, ones with few bits, and ones that fall half-way between
// two representable positions.
TEST(Playhead, RunsLandWhereRepeatedAdditionDoes)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    long long skipped = 0;
    for (int i = 0; i < 20000; ++i) {
        const int exponent = static_cast<int>(random() % 30);
        ChannelParam param;
        param.position = std::ldexp(uniform(random), exponent);
        param.speed = 8.0 * uniform(random);
        if (i % 3 == 1) param.speed = std::ldexp(static_cast<double>(1 + random() % 4096), -10);
        if (i % 3 == 2) { // an odd number of half units of the position's
            const double unit = std::nextafter(param.position, 1e300) - param.position;
            param.speed = (std::floor(param.speed / unit) + 0.5) * unit;
        }
        if (i % 7 == 3) { // one unit too long to fit a whole number of times into what is left of the power of two
            const double power = std::ldexp(1.0, std::ilogb(param.position) + 1);
            const double unit = power - std::nextafter(power, 0.0);
            param.speed = (power - param.position + unit) / static_cast<double>(1 + random() % 9);
        }
        if (!(param.speed > 0.0)) continue;
        Playhead<false> head(param, 1.0, 1e300, false);
        double x = param.position;
        for (int span = 0; span < 4; ++span) {
            const auto run = head.KernelRun(200, std::ldexp(1.5, exponent));
            const double first = head.Position();
            for (int k = 0; k < run.frames; ++k, x += param.speed) ASSERT_EQ(first + k * run.step, x);
            head.Skip(run.frames, run.step);
            ASSERT_EQ(head.Position(), x);
            skipped += run.frames;
            head.Advance();
            x += param.speed;
        }
    }
    EXPECT_GT(skipped, 4000000); // or nothing was tested
}

TEST(Renderer, IsChosenByChannelsAndSpatializer)
{
    const auto plain = std::make_shared<Engine>(EngineParam{});
    ThreadLocalBuffer buses;
    ChannelParam param;
    param.isSpatialized = true;
    const auto mixedLeft = [&](Engine& engine, int channels) {
        const TestBuffer buffer(AudioFormat::Float32, channels, 48000.0, std::vector<double>(40, 0.5));
        if (engine.GetSpatializer()) engine.GetSpatializer()->BeginRender(8);
        buses.Clear(8);
        MakeRenderer(Interpolation::Linear, engine, buffer, param)->Render(&engine, 0, 8, buses);
        return buses.mix[0];
    };
    EXPECT_EQ(mixedLeft(*SharedEngine(), 1), 0.0f); // spatialized
    EXPECT_EQ(mixedLeft(*SharedEngine(), 2), 0.5f);
    EXPECT_EQ(mixedLeft(*plain, 1), 0.5f);

    struct Wrong final : Buffer {
        int channels, format;
        Wrong(int c, int f) : channels(c), format(f) {}
        const void* GetData() const override { return nullptr; }
        AudioFormat GetFormat() const override { return static_cast<AudioFormat>(format); }
        std::int32_t GetNumChannels() const override { return channels; }
        double GetSamplingRate() const override { return 48000.0; }
        std::int32_t GetNumSamples() const override { return 0; }
    };
    const auto message = [&](int channels, int format) -> std::string {
        try {
            MakeRenderer(Interpolation::Linear, *plain, Wrong(channels, format), param);
        } catch (const Exception& error) {
            return error.what();
        }
        return "";
    };
    for (const int channels : {0, 3, -1})
        EXPECT_EQ(message(channels, 7), "Invalid channel count: " + std::to_string(channels));
    for (const int format : {3, -1}) EXPECT_EQ(message(1, format), "Invalid audio format: " + std::to_string(format));
}

TEST(Renderer, EndsAtAStepThatLeadsNowhere)
{
    const double rates[] = {0.0, -48000.0, kNaN, kInfinity};
    for (const double rate : rates) {
        const TestBuffer buffer(AudioFormat::Signed16, 1, rate, NoiseFrames(50));
        ChannelParam param;
        ThreadLocalBuffer buses;
        buses.Clear(64);
        const auto renderer = MakeRenderer(Interpolation::Linear, *SharedEngine(), buffer, param);
        EXPECT_FALSE(renderer->Render(SharedEngine().get(), 0, 64, buses)) << rate;
        param.isLooped = true;
        param.loopEnd = 50;
        const auto loop = MakeRenderer(Interpolation::Linear, *SharedEngine(), buffer, param);
        for (int i = 0; i < 3; ++i) EXPECT_TRUE(loop->Render(SharedEngine().get(), 0, 64, buses)) << rate;
    }
}

} // namespace
} // namespace kal
