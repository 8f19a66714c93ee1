#include "Kal/Space/KalSpatializerSource.h"

#include "Kal/Space/KalHrtf.h"
#include "tests/support/EveryTable.h"
#include "tests/support/Measure.h"
#include "tests/support/SpatializerModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace kal {
namespace {

using Signal = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::shared_ptr<Spatializer> Loaded(const HrtfSet& set)
{
    const std::string bytes = WriteHrtfSet(set);
    return std::make_shared<Spatializer>(bytes.data(), static_cast<unsigned>(bytes.size()), 44100.0, 3);
}

std::shared_ptr<Spatializer> Shipped()
{
    return std::make_shared<Spatializer>(hrtfData, hrtfDataSize, 44100.0);
}

HrtfSet ShippedSet()
{
    return ReadHrtfSet({reinterpret_cast<const char*>(hrtfData), hrtfDataSize});
}

// One block: mix() calls the sources. The result is interleaved.
template<class Mix>
Signal Render(Spatializer& spatializer, int frames, Mix mix)
{
    spatializer.BeginRender(frames);
    mix();
    Signal out(2 * frames);
    const unsigned parts = spatializer.PrepareEndRender();
    for (unsigned part = 0; part < parts; ++part) spatializer.EndRender(out.data(), part);
    return out;
}

Signal Silence(Spatializer& spatializer, int frames)
{
    return Render(spatializer, frames, [] {});
}

void Append(Signal& signal, const Signal& more)
{
    signal.insert(signal.end(), more.begin(), more.end());
}

// Each direction is a single tap of its own level, on the left alone, so that a sample tells where it was heard.
HrtfSet Levels()
{
    const auto angle = [](float azimuth, float level) { return HrtfAngle{azimuth, {level}, {0.0f}}; };
    return {{-30.0f, {angle(0.0f, 0.1f), angle(180.0f, 0.2f)}},
            {0.0f, {angle(0.0f, 0.3f), angle(30.0f, 0.4f), angle(90.0f, 0.5f), angle(180.0f, 0.6f)}},
            {90.0f, {angle(0.0f, 0.7f)}}};
}

TEST(Spatializer, ChoosesTheNearestDirectionAndItsSide)
{
    struct Case {
        float azimuth, elevation, level;
        bool mirrored;
    };
    for (const Case c : {Case{0, 0, 0.3f, false},       {-1, 0, 0.3f, true},         {14.9f, 0, 0.3f, false},
                         {15, 0, 0.4f, false},          {-30, 0, 0.4f, true},        {330, 0, 0.4f, true},
                         {390, 0, 0.4f, false},         {-750, 0, 0.4f, true},       {190, 0, 0.6f, true},
                         {170, 0, 0.6f, false},         {180, 0, 0.6f, true},        {-180, 0, 0.6f, true},
                         {540, 0, 0.6f, true},          {90, -14, 0.5f, false},      {90, -15, 0.5f, false},
                         {90, -16, 0.2f, false},        {89, -16, 0.1f, false},      {30, 44, 0.4f, false},
                         {30, 45, 0.7f, false},         {-170, 95, 0.7f, true},      {-170, -1e9f, 0.2f, true},
                         {kNaN, 0, 0.3f, false},        {-30, kNaN, 0.4f, true},     {kInfinity, 0, 0.3f, false},
                         {-kInfinity, 90, 0.7f, false}, {30, kInfinity, 0.7f, false}}) {
        SCOPED_TRACE(testing::Message() << c.azimuth << ", " << c.elevation);
        const auto spatializer = Loaded(Levels());
        const auto source = spatializer->CreateSource();
        const float one = 1.0f;
        Signal out = Render(*spatializer, 1, [&] { source->Mix(&one, 0, 1, c.azimuth, c.elevation); });
        EXPECT_EQ(out, Signal(2)) << "the convolver's block of delay";
        out = Silence(*spatializer, 1);
        EXPECT_NEAR(out[c.mirrored ? 1 : 0], 0.5f * c.level, 1e-6f);
        EXPECT_EQ(out[c.mirrored ? 0 : 1], 0.0f);
    }
}

TEST(Spatializer, TellsFromWhichDirectionASoundIsHeard)
{
    struct Case {
        Vector3 direction;
        float azimuth, elevation;
    };
    for (const Case c : {Case{{1, 0, 1.8f}, 30, 0},
                         {{-9, -1, 0.1f}, -90, 0},
                         {{-0.1f, 0, -5}, -180, 0},
                         {{0.2f, -8, 1}, 0, -30},
                         {{kNaN, 1, 0}, 0, 0}}) {
        const Bearing heard = Loaded(Levels())->NearestTo(c.direction);
        EXPECT_EQ(heard.azimuth, c.azimuth);
        EXPECT_EQ(heard.elevation, c.elevation);
    }
}

// The places where an angle is not defined, and both signs of zero.
TEST(Spatializer, KnowsDirectionsWithoutAnAngle)
{
    struct Case {
        Vector3 direction;
        float level;
        bool mirrored;
    };
    for (const Case c : {Case{{0, 5, 0}, 0.7f, false},
                         {{-0.0f, 5, -0.0f}, 0.7f, false},
                         {{0, -5, 0}, 0.1f, false},
                         {{0, 0, 0}, 0.3f, false},
                         {{-0.0f, -0.0f, -0.0f}, 0.3f, false},
                         {{-0.0f, 0, 2}, 0.3f, false},
                         {{0, -0.0f, -2}, 0.6f, true},
                         {{-0.0f, 0, -2}, 0.6f, true},
                         {{3, -0.0f, -0.0f}, 0.5f, false},
                         {{-3, 0, -0.0f}, 0.5f, true},
                         {{1e-30f, 1e30f, 0}, 0.7f, false}}) {
        SCOPED_TRACE(testing::Message() << c.direction.x << ", " << c.direction.y << ", " << c.direction.z);
        const auto spatializer = Loaded(Levels());
        const auto source = spatializer->CreateSource();
        const float one = 1.0f;
        Render(*spatializer, 1, [&] { source->Mix(&one, 0, 1, c.direction); });
        const Signal out = Silence(*spatializer, 1);
        EXPECT_NEAR(out[c.mirrored ? 1 : 0], 0.5f * c.level, 1e-6f);
        EXPECT_EQ(out[c.mirrored ? 0 : 1], 0.0f);
    }
}

TEST(Spatializer, EveryDirectionOfTheShippedSetSoundsAsMeasured)
{
    const HrtfSet set = ShippedSet();
    constexpr int taps = 128, at = 3;
    for (const int frames : {512, 1, 100, 128, 1000}) {
        const auto spatializer = Shipped();
        // Odd strides reach all rings, and both ends of some; the whole grid is for one block size.
        int stride = frames == 512 ? 1 : 23, index = 0;
        for (const auto& ring : set) {
            for (const auto& angle : ring.angles) {
                for (const bool mirrored : {false, true}) {
                    // There is no left of straight ahead, and straight behind is always left.
                    const float azimuth = mirrored && angle.azimuth == 0.0f      ? -0.01f
                                          : !mirrored && angle.azimuth == 180.0f ? 179.9f
                                          : mirrored                             ? -angle.azimuth
                                                                                 : angle.azimuth;
                    if (index++ % stride != 0) continue;
                    SCOPED_TRACE(testing::Message() << frames << ": " << ring.elevation << ", " << azimuth);
                    const auto source = spatializer->CreateSource();
                    Signal heard;
                    for (int start = 0; start < at + 3 * taps; start += frames) {
                        Append(heard, Render(*spatializer, frames, [&] {
                                   Signal input(frames);
                                   if (at >= start && at < start + frames) input[at - start] = 1.0f;
                                   source->Mix(input.data(), 0, frames, azimuth, ring.elevation);
                               }));
                    }
                    const Signal &first = mirrored ? angle.right : angle.left,
                                 &second = mirrored ? angle.left : angle.right;
                    for (int i = 0; i < at + 3 * taps; ++i) {
                        const int tap = i - at - taps;
                        const bool inside = tap >= 0 && tap < taps;
                        ASSERT_NEAR(heard[2 * i], inside ? 0.5f * first[tap] : 0.0f, 3e-6f) << i;
                        ASSERT_NEAR(heard[2 * i + 1], inside ? 0.5f * second[tap] : 0.0f, 3e-6f) << i;
                    }
                    Silence(*spatializer, 2 * taps);
                    EXPECT_EQ(spatializer->PrepareEndRender(), 0u);
                }
            }
        }
    }
}

class Spatializers : public test::EveryTable {};

INSTANTIATE_TEST_SUITE_P(Tables, Spatializers, test::kEveryTable, test::NameOfTable);

// Voices that move, pause and end, in blocks of all lengths, over directions with responses of two lengths.
TEST_P(Spatializers, SoundLikeTheirPlainForm)
{
    constexpr int voices = 60;
    constexpr float kDegrees = 57.29578f; // per radian
    HrtfSet set = ShippedSet();
    for (auto& angle : set[3].angles) {
        angle.left.resize(32);
        angle.right.resize(32);
    }
    for (const bool isLong : {false, true}) {
        const auto spatializer = Loaded(set);
        test::SpatializerModel model(set);
        std::vector<test::SpatializerModel::Source> modelSources(voices);
        std::vector<std::shared_ptr<Spatializer::Source>> sources(voices);
        for (auto& source : sources) source = spatializer->CreateSource();
        std::mt19937 random(7);
        Signal heard, expected;
        for (int block = 0; block < 60; ++block) {
            const int frames = isLong ? 900 : static_cast<int>(random() % 300);
            const bool mute = block % 13 > 9; // long enough for all to ring out at times, and to end in the middle
            spatializer->BeginRender(frames);
            model.BeginRender(frames);
            for (int i = 0; i < voices && !mute; ++i) {
                if (random() % 4 == 0) continue;
                const Signal input = test::Noise(frames, random());
                const auto azimuth = 0.3f + static_cast<float>(random() % 4 == 0 ? random() % 720 : 13 * i);
                const auto elevation = 0.3f + static_cast<float>(i * 7 % 140 - 50);
                if (i % 2 == 0) {
                    sources[i]->Mix(input.data(), 0, frames, azimuth, elevation);
                } else {
                    const float a = azimuth / kDegrees, e = elevation / kDegrees, far = 0.1f * static_cast<float>(i);
                    sources[i]->Mix(
                        input.data(), 0, frames,
                        {far * std::sin(a) * std::cos(e), far * std::sin(e), far * std::cos(a) * std::cos(e)});
                }
                model.Mix(modelSources[i], input.data(), frames, azimuth, elevation);
            }
            Signal out(2 * frames);
            const unsigned parts = spatializer->PrepareEndRender(), workers = 1 + block % 3;
            for (unsigned w = 0, first = 0; w < workers; ++w) {
                const unsigned count = (parts - first) / (workers - w);
                if (count > 0) spatializer->EndRender(out.data(), first, count, w);
                first += count;
            }
            Append(heard, out);
            Append(expected, model.EndRender());
        }
        EXPECT_GT(test::SignalToErrorDb(heard, expected), 110.0) << isLong;
    }
}

// Two directions a tap each: what is heard on the left and right of the first and second is the gain of either.
HrtfSet GainMeter()
{
    return {{0.0f, {{0.0f, {1.0f}, {0.0f}}, {90.0f, {0.0f}, {0.5f}}}}};
}

TEST(SpatializerSource, AFadeKeepsItsAimAndTakesEachCallsSide)
{
    const Signal ones(512, 1.0f);
    const auto spatializer = Loaded({{0.0f,
                                      {{0.0f, {1.0f}, {0.0f}}, // heard on the left, or on the right when mirrored
                                       {90.0f, {0.5f}, {0.0f}},
                                       {180.0f, {0.25f}, {0.0f}}}}});
    const auto source = spatializer->CreateSource();
    const auto mix = [&](int offset, int count, float azimuth) { source->Mix(ones.data(), offset, count, azimuth, 0); };
    Signal heard = Render(*spatializer, 512, [&] {
        mix(0, 16, 1);     // no fade at the start
        mix(16, 32, 90);   // a fade to 90 begins
        mix(48, 32, -179); // and goes on there, though mirrored
        mix(80, 64, 1);    // to its end, exactly
        mix(144, 16, -90); // which this call notices: it takes over the fade's aim on its own side
        mix(160, 96, 90);  // the same direction unmirrored: a fade from side to side
        mix(256, 64, 90);
        mix(320, 192, 90);
    });
    Append(heard, Silence(*spatializer, 1));

    for (int i = 0; i < 512; ++i) {
        const auto ramp = [&](int start) { return std::clamp(static_cast<float>(i - start) / 128.0f, 0.0f, 1.0f); };
        float left = 0.0f, right = 0.0f;
        if (i < 144) {
            left = 1.0f - ramp(16);
            (i >= 48 && i < 80 ? right : left) += 0.5f * ramp(16);
        } else if (i < 160) {
            right = 0.5f;
        } else {
            right = 0.5f * (1.0f - ramp(160));
            left = 0.5f * ramp(160);
        }
        ASSERT_EQ(heard[2 * (i + 1)], 0.5f * left) << i;
        ASSERT_EQ(heard[2 * (i + 1) + 1], 0.5f * right) << i;
    }
}

// A sine goes round the head once a second, a new direction every 256 frames. With x the input, g the fade and d the
// difference of two neighbouring responses, the output is h * x + d * (g x). Its second difference, for x of amplitude
// 1 and frequency w, is at most |H(w)| w^2 + sum |d| (w^2 + 2 w / 128) + max |d| / 128, the last term from the ramp's
// corners. A jump of g instead gives up to sum |d|.
TEST(SpatializerSource, SweepsRoundTheHeadWithoutAClick)
{
    constexpr int frames = 256;
    constexpr double rate = 44100.0, w = 2.0 * std::numbers::pi * 200.0 / rate;
    double response = 0.0, sum = 0.0, peak = 0.0;
    const std::vector<HrtfAngle> angles = ShippedSet()[4].angles;
    for (std::size_t i = 0; i < angles.size(); ++i) {
        for (const auto side : {&HrtfAngle::left, &HrtfAngle::right}) {
            const Signal &h = angles[i].*side, &other = angles[std::min(i + 1, angles.size() - 1)].*side;
            double re = 0.0, im = 0.0, total = 0.0;
            for (std::size_t k = 0; k < h.size(); ++k) {
                re += h[k] * std::cos(w * double(k));
                im += h[k] * std::sin(w * double(k));
                total += std::fabs(h[k] - other[k]);
                peak = std::max(peak, std::fabs(double(h[k]) - other[k]));
            }
            response = std::max(response, std::hypot(re, im));
            sum = std::max(sum, total);
        }
    }
    const double bound = 0.5 * (response * w * w + sum * (w * w + 2.0 * w / 128.0) + peak / 128.0) + 1e-5;

    const auto roughness = [&](bool fades) {
        const auto spatializer = Shipped();
        auto source = spatializer->CreateSource();
        Signal heard;
        for (int start = 0; start < 44100; start += frames) {
            if (!fades) source = spatializer->CreateSource(); // which begins wherever it is first heard
            Signal input(frames);
            for (int i = 0; i < frames; ++i) input[i] = static_cast<float>(std::sin(w * (start + i)));
            const auto azimuth = static_cast<float>(360.0 * start / rate);
            Append(heard, Render(*spatializer, frames, [&] { source->Mix(input.data(), 0, frames, azimuth, 0.0f); }));
        }
        double roughest = 0.0;
        for (std::size_t i = 2 * 260; i < heard.size() - 4; ++i) // past the onset
            roughest = std::max(roughest, std::fabs(double(heard[i + 4]) - 2.0 * heard[i + 2] + heard[i]));
        return roughest;
    };
    EXPECT_LT(roughness(true), bound);
    EXPECT_GT(roughness(false), 2.0 * bound);
}

TEST(Spatializer, ADirectionStaysEnabledWhileItRings)
{
    const HrtfSet set = {{0.0f, {{0.0f, {0.1f, 0.2f, 0.3f, 0.4f}, {0.1f, 0.2f, 0.3f, 0.4f}}, {90.0f, {1.0f}, {1.0f}}}}};
    struct Case {
        float level;
        unsigned afterwards;
    };
    for (const Case c : {Case{1.0f, 1}, Case{1.1e-10f, 1}, Case{0.9e-10f, 0}, Case{0.0f, 0}}) {
        SCOPED_TRACE(c.level);
        const auto spatializer = Loaded(set);
        const auto source = spatializer->CreateSource();
        const Signal input(4, c.level);
        Render(*spatializer, 4, [&] {
            source->Mix(input.data(), 0, 4, 0.0f, 0.0f);
            EXPECT_EQ(spatializer->PrepareEndRender(), 1u); // it has input, whatever the level
        });
        EXPECT_EQ(spatializer->PrepareEndRender(), 1u);
        Silence(*spatializer, 3);
        EXPECT_EQ(spatializer->PrepareEndRender(), c.afterwards);
        Silence(*spatializer, 4);
        EXPECT_EQ(spatializer->PrepareEndRender(), c.afterwards);
        Silence(*spatializer, 4);
        EXPECT_EQ(spatializer->PrepareEndRender(), 0u);
    }
}

TEST(Spatializer, NonFiniteSamplesAreGoneWithinTwoBlocks)
{
    const auto spatializer = Shipped();
    const auto source = spatializer->CreateSource();
    Signal input(512, 0.5f);
    for (const float bad : {kNaN, kInfinity, -kInfinity}) {
        input[200] = bad;
        Render(*spatializer, 512, [&] { source->Mix(input.data(), 0, 512, 20.0f, 0.0f); });
        input[200] = 0.5f;
        const auto mix = [&] { source->Mix(input.data(), 0, 512, 20.0f, 0.0f); };
        Render(*spatializer, 512, mix);
        for (const float y : Render(*spatializer, 512, mix)) ASSERT_TRUE(std::isfinite(y));
    }
    for (int i = 0; i < 2; ++i) Silence(*spatializer, 512);
    EXPECT_EQ(spatializer->PrepareEndRender(), 0u);
}

TEST(Spatializer, NaNAloneIsSilence)
{
    for (const int frames : {64, 256}) {
        const auto spatializer = Shipped();
        const auto source = spatializer->CreateSource();
        Signal heard, input(frames, 0.5f);
        std::fill_n(input.begin(), std::min(frames, 128), kNaN);
        for (int block = 0; block < 6; ++block) {
            const auto mix = [&] { source->Mix(input.data(), 0, frames, 20.0f, 0.0f); };
            Append(heard, block == 1 ? Silence(*spatializer, frames) : Render(*spatializer, frames, mix));
            std::fill(input.begin(), input.end(), 0.5f);
        }
        EXPECT_TRUE(std::all_of(heard.begin(), heard.end(), [](float y) { return std::isfinite(y); })) << frames;
    }
}

TEST(SpatializerSource, NeedsItsSpatializer)
{
    const std::string bytes = WriteHrtfSet(GainMeter());
    Spatializer unowned(bytes.data(), static_cast<unsigned>(bytes.size()), 44100.0);
    EXPECT_THROW(unowned.CreateSource(), std::bad_weak_ptr);

    auto spatializer = Loaded(GainMeter());
    const auto source = spatializer->CreateSource();
    const Signal ones(16, 1.0f);
    Render(*spatializer, 16, [&] { source->Mix(ones.data(), 0, 16, 0.0f, 0.0f); });
    spatializer.reset();
    source->Mix(ones.data(), 0, 16, 0.0f, 0.0f); // nowhere to go
}

TEST(SpatializerDeathTest, EndRenderKnowsItsParts)
{
    const auto spatializer = Loaded(GainMeter());
    Silence(*spatializer, 1);
    float out[2] = {};
    EXPECT_DEATH_IF_SUPPORTED(spatializer->EndRender(out, 0), "Kal/KalSpatializer.*index < enabledAngles.size\\(\\)");
}

} // namespace
} // namespace kal
