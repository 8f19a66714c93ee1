#include "libkalmarble/Context.h"

#include "Kal/Base/KalException.h"
#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "libkalmarble/Clock.h"
#include "libkalmarble/LastError.h"
#include "libkalmarble/RoomReverb.h"
#include "tests/support/Allocations.h"
#include "tests/support/ContextHost.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
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
    kal::test::LimitAllocations(1u << 20);
    EXPECT_THROW(host.context->Render(frame, 480000), std::bad_alloc); // no room for the block
    EXPECT_EQ(host.ValueAfter(512), 0.25f);
    kal::test::LimitAllocations(std::numeric_limits<std::size_t>::max());
#endif
    EXPECT_EQ(frame[0], 7.0f);
    EXPECT_EQ(host.ValueAfter(512), 0.25f);
}

// A sound's samples are let go of by the round after that of the block it ended in. So that round began between the
// render that brought its end and the moment they are gone; what is called later is as many frames late as lies
// between.
TEST(Context, PlacesWhatHappensAsLateInTheNextBlockAsTheRoundBeforeIsOld)
{
    constexpr double kRate = 300000;
    constexpr int kBlock = 24000;
    std::vector<float> opposites(200000, 0.25f); // nothing of them reverberates
    for (std::size_t i = 1; i < opposites.size(); i += 2) opposites[i] = -0.25f;
    const Buffer hum = MakeBuffer(opposites, 2);
    struct Case {
        const char* what;
        int limit;
        std::function<void(ContextHost&)> call;
    };
    const auto changed = [](const std::vector<float>& out, float level) {
        return std::find_if(out.begin(), out.end(), [=](float x) { return std::fabs(x) != level; });
    };
    for (const Case& c : std::vector<Case>{
             {"local", 8, [&](ContextHost& h) { h.context->PlayLocal(hum, kPlain); }},
             {"absolute", 8,
              [&](ContextHost& h) {
                  h.context->PlayAbsolute(hum, {2, 0, 0}, kPlain);
              }},
             {"relative", 8,
              [&](ContextHost& h) {
                  h.context->PlayRelative(hum, {2, 0, 0}, kPlain);
              }},
             {"moved", 8,
              [](ContextHost& h) {
                  h.Respatialize({-1, 0, 0});
              }},
             {"beyond the limit", 0, [](ContextHost& h) { h.Respatialize(); }},
         }) {
        SCOPED_TRACE(c.what);
        for (const double wait : {0.002, 0.06}) {
            ContextHost host(c.limit, kRate);
            host.Respatialize();
            host.context->PlayAbsolute(hum, {1, 0, 0}, kPlain);
            for (int i = 0; i < 3; ++i) host.Render(kBlock);
            auto click = std::make_unique<Buffer>(MakeBuffer({0.5f}, 1));
            const std::weak_ptr<const kal::Buffer> samples = click->Samples();
            host.context->PlayLocal(*click, kPlain);
            click.reset();
            double earliest;
            std::vector<float> out;
            do {
                std::this_thread::sleep_for(std::chrono::milliseconds(5)); // so that no time is lost in waiting
                earliest = Now();
                out = host.Render(kBlock);
            } while (changed(out, 0.25f) == out.end());
            while (!samples.expired()) std::this_thread::yield();
            const double latest = Now();
            std::this_thread::sleep_for(std::chrono::duration<double>(wait));
            const double before = Now();
            c.call(host);
            const double after = Now();
            host.Render(kBlock);
            out = host.Render(kBlock);
            const auto change = changed(out, 0.25f);
            ASSERT_NE(change, out.end());
            const auto frame = static_cast<double>((change - out.begin()) / 2);
            EXPECT_GE(frame, std::floor(std::min((before - latest) * kRate, 10000.0)));
            EXPECT_LE(frame, std::min((after - earliest) * kRate, 10000.0));
        }
    }
}

// What the first loud frame and those behind it are, whenever they come.
std::vector<float> FromItsStart(const std::vector<float>& heard)
{
    auto start = std::find_if(heard.begin(), heard.end(), [](float x) { return std::fabs(x) > 1e-3f; });
    start -= (start - heard.begin()) % 2;
    return {start, std::min(start + 2 * 6000, heard.end())};
}

// Half as loud, half as fast again, 6 m off in a room of 2 m: a voice with this record, written by hand, is heard.
TEST(Context, SoundsAsTheEngineDoesWithTheRecordThatTheHostMeant)
{
    constexpr KalReverbParam kRoom = {1, 100, 60, 2, 0.9f};
    constexpr PlayParam kHow = {0.5f, 1.5f, 4};
    const kal::Vector3 eye = {1, 2, 3}, front = {1, 0, 0}, up = {0, 1, 0},
                       place = {5, 4, 7}; // (4, 2, 4) to the listener
    for (const int channels : {1, 2}) {
        SCOPED_TRACE(channels);
        const Buffer noise = MakeBuffer(kal::test::Noise(6000, 1), channels, 32000);
        ContextHost host;
        host.occlusion = 0.25f;
        host.context->Respatialize(eye, front, up, kRoom);
        host.Hear(kStart);
        host.context->PlayAbsolute(noise, place, kHow);
        EXPECT_TRUE(host.asked.x == place.x && host.asked.y == place.y && host.asked.z == place.z);
        const auto heard = FromItsStart(host.Hear(kStart + 8000));

        kal::ChannelParam record;
        record.speed = 1.5;
        record.lowpassCoef = 0.25f;
        record.isSpatialized = channels == 1;
        record.sourcePosition = {4, 2, 4};
        record.referenceDistanceSq = 4;
        record.gain = channels == 1 ? 0.5f : 0.5f / 3; // a third of the reference distance's
        record.reverbSendGain = (channels == 1 ? 0.5f : 0.5f / std::sqrt(3.0f)) * 0.5f; // twice as far as the room goes
        const auto engine =
            std::make_shared<kal::Engine>(kal::EngineParam{48000, 2, 1, kal::hrtfData, kal::hrtfDataSize});
        engine->reverbSettings = RoomReverb(kRoom);
        std::vector<float> out(2 * 8192);
        const auto render = [&] {
            engine->Prerender();
            engine->Render(out.data(), 8192);
        };
        render(); // the room's levels have settled
        engine->CreateChannel(0, noise.Samples(), record);
        render();
        const auto expected = FromItsStart(out);
        ASSERT_EQ(heard.size(), expected.size());
        EXPECT_GT(kal::test::SignalToErrorDb(heard, expected), 80);
    }
}

TEST(Context, FollowsTheSizeOfTheRoomAlone)
{
    ContextHost host;
    host.Respatialize(kEye, 0, 1);
    host.context->PlayRelative(ConstantBuffer(0.25f, 2), {0, 0, 1}, kPlain);
    EXPECT_EQ(host.ValueAfter(kStart), 0.25f);
    host.Respatialize(kEye, 100, 1);
    EXPECT_GT(std::fabs(host.ValueAfter(kStart) - 0.25f), 1e-3f);
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
    const Buffer sound = ConstantBuffer(0.01f, 2, 480);
    for (int i = 0; i < 400; ++i) host.context->PlayAbsolute(sound, {1, 0, 0}, kPlain);
    for (int i = 0; i < 20; ++i) host.Render(1);
    const auto latest = [&](const char* start) {
        std::lock_guard lock(host.log.mutex);
        const auto told = std::find_if(host.log.lines.rbegin(), host.log.lines.rend(),
                                       [&](const std::string& line) { return line.starts_with(start); });
        return told == host.log.lines.rend() ? "" : *told;
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
    const int tracked = host.queries;
    for (int i = 0; i < 3; ++i) host.Render(1);
    std::sscanf(latest("Auto").c_str(), "Auto Load Control Activated: %d", &count);
    EXPECT_EQ(count, tracked);
}

#if !KAL_THREAD_SANITIZER
// Thirty sounds take longer than half of the 3 microseconds that a frame plays for, and much less than half of half a
// second; but for the thread sanitizer, which makes every frame dear.
TEST(Context, RaisesTheLimitAgainBlockByBlock)
{
    ContextHost host(100, 318000);
    const Buffer sound = MakeBuffer(std::vector<float>(40000, 0.01f), 2, 100);
    const auto play = [&](int count) {
        for (int i = 0; i < count; ++i) host.context->PlayAbsolute(sound, {1, 0, 0}, kPlain);
    };
    const auto tracked = [&] {
        host.queries = 0;
        host.Respatialize();
        return host.queries;
    };
    play(30);
    const auto isTold = [&] {
        std::lock_guard lock(host.log.mutex);
        return std::any_of(host.log.lines.begin(), host.log.lines.end(),
                           [](const std::string& line) { return line.starts_with("Auto"); });
    };
    while (!isTold()) host.Render(1);
    const int least = tracked();
    EXPECT_LT(least, 20);
    int most = least;
    for (int round = 0; round < 8 && most < least + 30; ++round) { // a machine that stalls lowers it anew
        for (int i = 0; i < 40; ++i) host.Render(159000);
        play(30);
        most = tracked();
    }
    EXPECT_GE(most, least + 30);
}
#endif

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

    ContextHost one(0); // each gives way to the next, which is another's
    one.context->PlayAbsolute(click, {1, 0, 0}, kPlain);
    one.context->PlayRelative(click, {1, 0, 0}, kPlain);
    EXPECT_EQ(one.queries, 1);
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

// What is left in the convolvers and equaliser has died away by then. In so large a room nothing but the place differs.
TEST(Context, FallsSilentForAListenerWithoutARightAndRecovers)
{
    constexpr ReverbParam kLarge{0, 0, 0, 100, 0};
    for (const int channels : {1, 2}) {
        SCOPED_TRACE(channels);
        ContextHost host;
        host.context->Respatialize(kEye, kAhead, kUp, kLarge);
        const auto plays = [&] { return Peak(host.Hear(512)) > 0.01f; };
        host.context->PlayAbsolute(ConstantBuffer(0.25f, channels), {1, 0, 0}, kPlain);
        host.Hear(kStart);
        EXPECT_TRUE(plays());
        host.context->Respatialize(kEye, kUp, kUp, kLarge);
        host.Hear(kStart + 48000);
        EXPECT_LT(Peak(host.Hear(4096)), 1e-6f);
        host.context->Respatialize(kEye, kAhead, kUp, kLarge);
        host.Hear(kStart);
        EXPECT_TRUE(plays());
    }
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
#if !KAL_THREAD_SANITIZER
    for (const int n : {0, 1}) {
        error.Set("a text that needs memory of its own");
        kal::test::FailAllocation(n);
        error.Set("another text that needs memory of its own");
        EXPECT_STREQ(error.Get(), "std::bad_alloc");
    }
    kal::test::FailAllocation(0);
    EXPECT_STREQ(error.Get(), "std::bad_alloc"); // without any
    kal::test::FailAllocation(-1);
    error.Set("first");
    EXPECT_EQ(error.Get(), first);
#endif
}

} // namespace
} // namespace kalmarble::test
