// The headers that a game copies, against the library that it loads.
#include "examples/kal_blocks.h"
#include "examples/kal_loader.h"
#include "examples/kal_voice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <random>
#include <vector>

namespace {

constexpr double kRate = 48000;

TEST(Blocks, HandOnEveryFrameWhateverTheDeviceAsksFor)
{
    std::vector<float> ramp(48000);
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i + 1) / 131072;
    const KalBufferParam samples = {ramp.data(), 32, 1, 48000, kRate};
    const KalInitParam init = {kRate, nullptr, nullptr, 1, 8, nullptr, nullptr};
    const KalPlayParam plain = {1, 1, 1};
    KalContext kal;
    ASSERT_EQ(KalInitialize(1, KAL_INTERFACE_VERSION, &kal), nullptr);
    kal.init(kal.priv, &init);
    KalSampleBuffer* sound = kal.createBuffer(kal.priv, &samples);
    kal.playLocal(kal.priv, sound, &plain);

    // The sound begins at most 10,000 frames and two blocks later, and then every frame is one step louder.
    static KalBlocks blocks;
    std::vector<float> heard;
    for (const int size : {1, 441, 512, 0, 513, 2048, 3, 480})
        for (int i = 0; i < 10; ++i) {
            std::vector<float> stream(2 * std::size_t(size), NAN);
            kalRenderBlocks(&blocks, &kal, stream.data(), size);
            heard.insert(heard.end(), stream.begin(), stream.end());
        }
    std::size_t first = 0;
    while (first < heard.size() && heard[first] == 0) first += 2;
    ASSERT_LT(first, 2u * (10000 + 2 * KAL_BLOCK_FRAMES));
    for (std::size_t i = first; i < heard.size(); ++i) ASSERT_EQ(heard[i], ramp[(i - first) / 2]) << i;

    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

/// Plays grains on a time line of their own: frames of `from` and up to 40 ms, and what is heard of them.
struct TimeLine {
    std::vector<float> heard = std::vector<float>(std::size_t(3 * kRate));
    double now = 0.01;
    std::mt19937 random{7};

    void Run(KalVoice& voice, double until)
    {
        for (; now < until; now += std::uniform_real_distribution(0.002, 0.04)(random)) Update(voice);
    }

    void Update(KalVoice& voice)
    {
        float* grain = nullptr;
        const int count = kalVoiceCut(&voice, now, &grain);
        const auto start = static_cast<std::size_t>(now * kRate);
        for (int i = 0; i < count && start + std::size_t(i) < heard.size(); ++i)
            heard[start + std::size_t(i)] += grain[i];
        std::free(grain);
    }

    float LargestStep(double from, double to) const
    {
        float largest = 0;
        for (auto i = std::size_t(from * kRate); i < std::size_t(to * kRate); ++i)
            largest = std::max(largest, std::abs(heard[i + 1] - heard[i]));
        return largest;
    }
};

/// A tenth of a second of 100 Hz, of which a frame differs from the next by 0.0131 at most.
std::vector<float> Tone()
{
    std::vector<float> tone(4800);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<float>(std::sin(2 * std::numbers::pi * 100 * double(i) / kRate));
    return tone;
}

TEST(Voice, LoopsFadesAndStopsWithoutASeam)
{
    const auto tone = Tone();
    KalVoice voice = kalVoice(tone.data(), int(tone.size()), kRate);
    voice.isLooped = 1;
    TimeLine line;
    line.Run(voice, 1.0);
    // Grains start on whole frames: two that overlap are up to one frame, 0.0131, apart.
    const auto begin = static_cast<std::size_t>(0.01 * kRate);
    for (std::size_t i = begin; i < std::size_t(kRate); ++i)
        ASSERT_NEAR(line.heard[i], tone[(i - begin) % tone.size()], 0.0132f) << i;

    const double fade = line.now;
    kalVoiceFade(&voice, 0.5f, 0.2);
    line.Run(voice, 2.0);
    const auto peak = [&](double from, double to) {
        return *std::max_element(line.heard.begin() + long(from * kRate), line.heard.begin() + long(to * kRate));
    };
    EXPECT_NEAR(peak(fade + 0.31, 1.95), 0.5f, 0.01f);
    EXPECT_NEAR(peak(fade, fade + 0.02), 1.0f, 0.1f);

    const double stop = line.now;
    kalVoiceStop(&voice);
    line.Run(voice, 2.5);
    EXPECT_TRUE(voice.isOver);
    EXPECT_EQ(peak(stop + 0.12, 3.0), 0.0f);
    // The tone's own step, a frame of difference while two grains overlap, and what the stop's fade adds.
    EXPECT_LT(line.LargestStep(0.0, 2.9), 0.0131f + 0.004f);
}

TEST(Voice, KeepsItsAttackEndsByItselfAndGoesOnAfterAGap)
{
    auto tone = Tone();
    for (float& x : tone) x = 0.5f + 0.25f * x; // begins and ends away from zero
    KalVoice voice = kalVoice(tone.data(), int(tone.size()), kRate);
    TimeLine line;
    line.Update(voice);
    line.now += 0.08; // the first grain has gone by for 20 ms
    line.Run(voice, 1.0);
    EXPECT_TRUE(voice.isOver);
    const auto at = [&](double seconds) { return line.heard[std::size_t((0.01 + seconds) * kRate) + 1]; };
    EXPECT_NEAR(at(0.0), 0.5f, 0.02f);
    EXPECT_EQ(at(0.07), 0.0f);
    EXPECT_NEAR(at(0.095), tone[std::size_t(0.095 * kRate)], 0.02f);
    EXPECT_EQ(at(0.1), 0.0f);
    EXPECT_LT(line.LargestStep(0.02, 0.1), 0.01f); // out and in by fades of 10 ms
}

#ifdef _WIN32
TEST(Loader, OpensPathsOutsideTheCodePageAndTellsWhatIsWrong)
{
    const wchar_t* path = L"\u4e16\u754c\u010d.dll";
    ASSERT_TRUE(CopyFileW(L"KALMarble.dll", path, FALSE));
    for (const KalLibrary library : {kalOpenLibraryW(path), kalOpenLibrary("\xe4\xb8\x96\xe7\x95\x8c\xc4\x8d.dll")}) {
        EXPECT_TRUE(library.initialize) << library.error;
        kalCloseLibrary(library);
    }
    EXPECT_TRUE(DeleteFileW(path));
    EXPECT_STREQ(kalOpenLibrary("\xe4\xb8").error, "the path is too long or not in UTF-8");
    EXPECT_STREQ(kalOpenLibrary("kernel32.dll").error, "KalInitialize is not there");
}
#endif

} // namespace
