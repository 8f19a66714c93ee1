#include "libkalmarble/Context.h"

#include "Kal/Base/KalException.h"
#include "libkalmarble/Clock.h"
#include "libkalmarble/LastError.h"
#include "tests/support/Allocations.h"
#include "tests/support/ContextHost.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>
#include <thread>

namespace kalmarble::test {
namespace {

float Peak(const std::vector<float>& samples)
{
    float peak = 0.0f;
    for (const float x : samples) peak = std::fmax(peak, std::fabs(x));
    return peak;
}

// A ramp of one step a frame shows every frame that is lost.
TEST(Context, GoesOnAfterPausesAndInBurstsOfBlocksOfEverySize)
{
    constexpr float kStep = 1.0f / 1048576;
    ContextHost host;
    std::vector<float> ramp(200000);
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i + 1) * kStep;
    host.context->PlayLocal(MakeBuffer(ramp, 1), kPlain);
    float last = host.Hear(kStart).back();
    ASSERT_GT(last, 0.0f);
    int lastSize = 512;
    for (const int size : {512, 64, 100, 1, 256, 441, 480, 0, 1000, 3}) {
        std::this_thread::sleep_for(std::chrono::milliseconds(size / 4));
        for (int block = 0; block < 20; ++block) { // as fast as they come
            const auto out = host.Render(size);
            if (size == 0) continue;
            if (size == lastSize)
                ASSERT_EQ(out[0], last + kStep);
            else
                ASSERT_GT(out[0], last); // blocks of another size are dropped whole
            for (std::size_t i = 2; i < out.size(); ++i) ASSERT_EQ(out[i], out[i - 2] + kStep);
            last = out.back();
            lastSize = size;
        }
    }
}

// A tenth of a second of sound lasts a tenth of a second.
TEST(Context, RunsBesideOthersOfDifferentRates)
{
    const Buffer sound = ConstantBuffer(0.25f, 1, 4800);
    std::unique_ptr<ContextHost> hosts[3];
    for (const int i : {0, 1, 2}) {
        hosts[i] = std::make_unique<ContextHost>(8, 48000 << i);
        hosts[i]->context->PlayLocal(sound, kPlain);
    }
    for (const int i : {0, 1, 2}) {
        const auto out = hosts[i]->Hear(kStart + (4800 << i));
        hosts[i].reset(); // the others go on without it
        EXPECT_NEAR(std::count(out.begin(), out.end(), 0.25f), 2 * 4800 << i,
                    2 << i); // the frames at its end lie between it and silence
    }
}

TEST(Context, RefusesImpossibleFrameCountsAndGoesOn)
{
    ContextHost host;
    host.context->PlayLocal(ConstantBuffer(0.25f, 1), kPlain);
    EXPECT_EQ(host.ValueAfter(kStart), 0.25f);
    float frame[2] = {7, 7};
    for (const int count : {-1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 0x20000000})
        EXPECT_THROW(host.context->Render(frame, count), kal::Exception) << count;
#if !KAL_THREAD_SANITIZER // where allocations cannot be made to fail
    kal::test::LimitAllocations(16u << 20);
    EXPECT_THROW(host.context->Render(frame, 1 << 22), std::bad_alloc); // no room for the block
    EXPECT_EQ(host.ValueAfter(512), 0.25f);
    kal::test::LimitAllocations(std::numeric_limits<std::size_t>::max());
#endif
    EXPECT_EQ(frame[0], 7.0f);
    EXPECT_EQ(host.ValueAfter(512), 0.25f);
}

// A start is never later than the time since the round before began, and as late as the wait if that round began at
// once, which is tried until it is seen.
TEST(Context, StartsSoundsAsLateInTheNextBlockAsTheyWereStartedInTheRoundBefore)
{
    constexpr double kRate = 300000;
    ContextHost host(8, kRate);
    const Buffer click = MakeBuffer({0.25f, 0.25f}, 1);
    for (const double wait : {0.004, 0.06}) {
        SCOPED_TRACE(wait);
        const double wanted = std::min(std::floor(wait * kRate), 10000.0);
        double frame = -1.0;
        for (int tries = 0; tries < 200 && frame < wanted; ++tries) {
            const double before = Now();
            host.Render(64);
            std::this_thread::sleep_for(std::chrono::duration<double>(wait));
            host.context->PlayLocal(click, kPlain);
            const double latest = std::min((Now() - before) * kRate, 10000.0);
            const auto out = host.Render(24000); // the block that waits is dropped
            const auto start = std::find_if(out.begin(), out.end(), [](float x) { return x != 0.0f; });
            if (start == out.end()) continue; // the round before began so late that its block had it
            frame = std::floor(static_cast<double>(start - out.begin()) / 2.0);
            ASSERT_LE(frame, latest);
        }
        EXPECT_GE(frame, wanted);
    }
}

// White noise beside the head is some 14 dB louder in the near ear; 6 dB leave room for the equaliser.
TEST(Context, PlacesSoundsAroundTheListener)
{
    struct Case {
        bool relative, turned;
        std::size_t louder; ///< the ear
    };
    ContextHost host;
    const Buffer noise = MakeBuffer(kal::test::Noise(4800, 1), 1);
    for (const Case c : {Case{false, false, 1}, {false, true, 0}, {true, false, 1}, {true, true, 1}}) {
        SCOPED_TRACE(testing::Message() << c.relative << c.turned);
        host.context->Respatialize({10, 20, 30}, c.turned ? kal::Vector3{0, 0, 1} : kAhead, kUp, {});
        host.occlusion = c.relative ? 0.0f : 1.0f; // a relative sound has no walls in its way, and turns along
        if (c.relative)
            host.context->PlayRelative(noise, {2, 0, 0}, kPlain);
        else
            host.context->PlayAbsolute(noise, {12, 20, 30}, kPlain);
        const auto out = host.Hear(kStart + 9600);
        double energy[2] = {};
        for (std::size_t i = 0; i < out.size(); ++i) energy[i % 2] += double{out[i]} * out[i];
        EXPECT_GT(energy[c.louder], 4 * energy[1 - c.louder]);
    }
}

struct Heard {
    double direct; ///< the first frame, before any reverb
    double reverb; ///< energy of what rings on for a while
};

Heard HearTwoChannels(float distance, float referenceDistanceSq, float roomSize, float wetLevel = 1)
{
    constexpr int kFrames = 600;
    ContextHost host;
    host.Respatialize(kEye, roomSize, wetLevel);
    host.Hear(kStart);
    std::vector<float> samples(2 * kFrames, 0.25f);
    samples[1] = -0.25f; // of opposites nothing is sent into the reverb
    host.context->PlayRelative(MakeBuffer(samples, 2), {0, distance, 0}, {0.5f, 1, referenceDistanceSq});
    const auto out = host.Hear(kStart + 2 * kFrames);
    const auto first = std::find_if(out.begin(), out.end(), [](float x) { return x != 0.0f; });
    if (first == out.end()) return {0, 0};
    Heard heard{*first, 0};
    for (auto x = first + 2 * (kFrames + 9); x != first + 2 * (kFrames + 500); ++x) heard.reverb += double{*x} * *x;
    return heard;
}

// The limiter leaves so soft a sound alone, and everything else is linear.
TEST(Context, AttenuatesTwoChannelsByDistanceAndTheirReverbByTheRoom)
{
    struct Case {
        const char* what;
        float distance, referenceDistanceSq, roomSize;
        double gain, sendGain;
    };
    const Heard full = HearTwoChannels(0, 1, 100);
    EXPECT_NEAR(full.direct, 0.125, 1e-7);
    EXPECT_GT(full.reverb, 1e-9);
    for (const Case c : {
             Case{"within the reference distance", 1.5f, 4, 100, 1, 1},
             {"at four times its square", 4, 4, 100, 0.5, std::sqrt(0.5)},
             {"beyond one and a half rooms", 10, 1, 2, 0.1, std::sqrt(0.1) * 0.3},
             {"just within them", 3, 1, 2, 1.0 / 3.0, std::sqrt(1.0 / 3.0)},
             {"no room at all", 2, 1, 0, 0.5, 0},
             {"no reference distance", 1, 0, 100, 0, 0},
             {"no number", NAN, 1, 100, 0, 0},
         }) {
        SCOPED_TRACE(c.what);
        const Heard heard = HearTwoChannels(c.distance, c.referenceDistanceSq, c.roomSize);
        EXPECT_NEAR(heard.direct, c.gain * full.direct, 1e-7);
        EXPECT_NEAR(heard.reverb, c.sendGain * c.sendGain * full.reverb, 1e-3 * full.reverb);
    }
    EXPECT_NEAR(HearTwoChannels(0, 1, 100, 0).reverb, full.reverb / (18.0 * 18.0), 1e-4 * full.reverb);
}

// Sound k is the constant 2^-(k+5), so that the sum, which is exact, tells which ones play.
TEST(Context, StopsTheOldestSoundsBeyondTheLimit)
{
    struct Case {
        int maxPolyphonics, sounds;
        bool moved;
        unsigned playing; // bit k: sound k
    };
    for (const Case c : {Case{8, 9, false, 0x1ff},
                         {8, 10, false, 0x3fe},
                         {8, 9, true, 0x1fe},
                         {0, 1, false, 0x1},
                         {-7, 3, false, 0x4},
                         {0, 3, true, 0x0},
                         {std::numeric_limits<int>::min(), 3, true, 0x0},
                         {std::numeric_limits<int>::max(), 10, true, 0x3ff}}) {
        SCOPED_TRACE(testing::Message() << c.sounds << " of " << c.maxPolyphonics);
        ContextHost host(c.maxPolyphonics);
        for (int k = 0; k < c.sounds; ++k)
            host.context->PlayRelative(ConstantBuffer(std::ldexp(1.0f, -5 - k), 2), {0.5f, 0, 0}, kPlain);
        if (c.moved) host.Respatialize();
        const float sum = host.ValueAfter(kStart);
        unsigned playing = 0;
        for (int k = 0; k < 10; ++k)
            if (static_cast<unsigned>(std::lround(std::ldexp(sum, 14))) >> (9 - k) & 1) playing |= 1u << k;
        EXPECT_EQ(playing, c.playing);
        EXPECT_EQ(std::ldexp(sum, 14), std::floor(std::ldexp(sum, 14)));
    }
}

// 400 sounds take many times the 3 microseconds that a frame plays for, and so does waiting for them.
TEST(Context, LowersTheLimitAndTellsWhenItIsOverloaded)
{
    ContextHost host(1000, 300000);
    const Buffer sound = ConstantBuffer(0.01f, 2);
    for (int i = 0; i < 400; ++i) host.context->PlayAbsolute(sound, {1, 0, 0}, kPlain);
    for (int i = 0; i < 20; ++i) host.Render(1);
    const auto latest = [&](const char* start) {
        std::lock_guard lock(host.mutex);
        const auto told = std::find_if(host.lines.rbegin(), host.lines.rend(),
                                       [&](const std::string& line) { return line.starts_with(start); });
        return told == host.lines.rend() ? "" : *told;
    };
    int count = 0, load = 0, limit = 0, wait = 0;
    const std::string lowered = latest("Auto"), late = latest("Read");
    std::sscanf(lowered.c_str(), "Auto Load Control Activated: %d poly caused %d%% CPU load. Limited to %d", &count,
                &load, &limit);
    std::sscanf(late.c_str(), "Read time exceeded 20%% (%d", &wait);
    EXPECT_EQ(lowered, "Auto Load Control Activated: " + std::to_string(count) + " poly caused " +
                           std::to_string(load) + "% CPU load. Limited to " + std::to_string(limit) + " temporally.");
    EXPECT_EQ(late, "Read time exceeded 20% (" + std::to_string(wait) + "%): possibly overload");
    EXPECT_TRUE(count >= 16 && load > 50 && limit >= 16 && wait > 20);
    host.queries = 0;
    host.Respatialize();
    EXPECT_TRUE(host.queries >= 16 && host.queries < 400) << host.queries;
}

// A tracked sound asks about its wall whenever the listener moves; one that was let go no longer does.
TEST(Context, LetsGoOfSoundsThatHaveEnded)
{
    ContextHost host(2);
    host.Respatialize();
    const Buffer click = ConstantBuffer(0.1f, 1, 10);
    for (int i = 0; i < 3; ++i) host.context->PlayAbsolute(click, {1, 0, 0}, kPlain);
    EXPECT_EQ(host.queries, 3);
    host.Respatialize();
    EXPECT_EQ(host.queries, 3 + 2);
    host.Render(kStart);
    host.Respatialize();
    EXPECT_EQ(host.queries, 3 + 2);
}

// Two channels are scaled by the coefficient, which makes it plain to hear.
TEST(Context, SendsNoUpdateForAChangedWallAlone)
{
    ContextHost host;
    host.Respatialize();
    host.context->PlayAbsolute(ConstantBuffer(0.25f, 2), {0.5f, 0, 0}, kPlain);
    EXPECT_EQ(host.ValueAfter(kStart), 0.25f);
    host.occlusion = 0.5f;
    host.Respatialize();
    EXPECT_EQ(host.queries, 2); // asked again
    EXPECT_EQ(host.ValueAfter(kStart), 0.25f);
    host.Respatialize({0.125f, 0, 0});
    EXPECT_EQ(host.ValueAfter(kStart), 0.125f);
    host.occlusion = NAN; // counts as 0
    host.Respatialize();
    EXPECT_EQ(host.ValueAfter(kStart), 0.0f);
}

// What is left in the convolvers and equaliser has died away by then.
TEST(Context, FallsSilentForAListenerWithoutARightAndRecovers)
{
    ContextHost host;
    host.Respatialize();
    const auto plays = [&] { return Peak(host.Hear(512)) > 0.01f; };
    host.context->PlayAbsolute(ConstantBuffer(0.25f, 1), {1, 0, 0}, kPlain);
    host.context->PlayAbsolute(ConstantBuffer(0.25f, 2), {1, 0, 0}, kPlain);
    host.Hear(kStart);
    EXPECT_TRUE(plays());
    host.context->Respatialize(kEye, kUp, kUp, {});
    host.Hear(kStart + 48000);
    EXPECT_LT(Peak(host.Hear(4096)), 1e-6f);
    host.Respatialize();
    host.Hear(kStart);
    EXPECT_TRUE(plays());
}

TEST(LastError, KeepsTheLatestTextAndEveryTextItGave)
{
    LastError error;
    EXPECT_EQ(error.Get(), nullptr);
    error.Set("first");
    const char* const first = error.Get();
    for (int i = 0; i < 100; ++i) {
        error.Set(("text " + std::to_string(i)).c_str());
        EXPECT_EQ(error.Get(), "text " + std::to_string(i));
    }
    EXPECT_STREQ(first, "first");
    error.Set("first");
    EXPECT_EQ(error.Get(), first); // is kept once
}

} // namespace
} // namespace kalmarble::test
