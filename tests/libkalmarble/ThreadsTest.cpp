#include "include/KALMarble.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <thread>
#include <vector>

namespace kalmarble::test {
namespace {

constexpr KalVector3 kEye = {0, 0, 0}, kUp = {0, 1, 0};

bool IsKnownError(const char* text)
{
    if (!text) return true;
    for (const std::string_view known : {"Parameter stream is null.", "Frame count is negative.",
                                         "Parameter buffer is null.", "Speed is not positive."})
        if (text == known) return true;
    return false;
}

/// A host's game thread, audio thread and a thread that looks after errors, while `running`. They meet in the library
/// only. Returns the number of unknown errors and of samples that are too loud or none.
int Play(double rate, const std::atomic<bool>& running)
{
    std::atomic<int> faults{0}, lines{0};
    const auto noWalls = [](const KalVector3*, float* result, void*) { *result = 1.0f; };
    const auto countLine = [](const char*, void* count) { ++*static_cast<std::atomic<int>*>(count); };
    const KalInitParam parameters{rate, noWalls, nullptr, 3, 6, countLine, &lines};
    KalContext kal;
    KalInitialize(1, KAL_INTERFACE_VERSION, &kal);
    kal.init(kal.priv, &parameters);

    std::thread audio([&] {
        float stream[2 * 480];
        for (int block = 0; running; ++block) {
            const int size = block % 50 < 40 ? 480 : 100;
            kal.render(kal.priv, stream, size);
            for (int i = 0; i < 2 * size; ++i) faults += !(std::fabs(stream[i]) <= 1.0f);
            kal.render(kal.priv, nullptr, 480);
            kal.render(kal.priv, stream, -1);
        }
    });
    std::thread errors([&] {
        while (running) faults += !IsKnownError(kal.checkError(kal.priv));
    });

    const auto noise = kal::test::Noise(4800, 1);
    const KalBufferParam mono{noise.data(), 32, 1, 4800, 44100}, stereo{noise.data(), 32, 2, 2400, 48000};
    std::thread loader([&] {
        while (running) kal.freeBuffer(kal.priv, kal.createBuffer(kal.priv, &mono));
    });
    const KalPlayParam plain = {0.3f, 1, 1}, speedless = {1, 0, 1};
    for (int round = 1; running; ++round) {
        const float angle = 0.1f * static_cast<float>(round);
        const KalVector3 place = {3 * std::cos(angle), 1, 3 * std::sin(angle)};
        const KalReverbParam room = {1, 100 * angle, 60, 5, 1};
        KalSampleBuffer* const sound = kal.createBuffer(kal.priv, round % 2 ? &mono : &stereo);
        kal.playLocal(kal.priv, sound, &plain);
        kal.playAbsolute(kal.priv, sound, &place, &plain);
        kal.playRelative(kal.priv, sound, &place, &plain);
        kal.playRelative(kal.priv, sound, &place, &speedless);
        kal.playLocal(kal.priv, nullptr, &plain);
        kal.respatialize(kal.priv, &kEye, &place, &kUp, &room);
        kal.freeBuffer(kal.priv, sound);
        if (round % 64 == 0) kal.init(kal.priv, &parameters); // while the audio thread renders
        std::this_thread::yield();
    }
    audio.join();
    errors.join();
    loader.join();
    kal.destroy(kal.priv);
    return faults;
}

TEST(Threads, OfSeveralHostsMeetInTheLibrary)
{
    std::atomic<bool> running{true};
    std::atomic<int> faults{0};
    std::vector<std::thread> hosts;
    for (const double rate : {22050, 48000, 96000}) hosts.emplace_back([&, rate] { faults += Play(rate, running); });
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    running = false;
    for (std::thread& host : hosts) host.join();
    EXPECT_EQ(faults, 0);
}

// A device that is opened anew while its old callback still runs.
TEST(Threads, ThatRenderOneContextAreServedOneAfterTheOther)
{
    constexpr int kFrames = 1 << 20;
    const KalInitParam parameters{48000, nullptr, nullptr, 1, 8, nullptr, nullptr};
    KalContext kal;
    KalInitialize(1, KAL_INTERFACE_VERSION, &kal);
    kal.init(kal.priv, &parameters);
    std::vector<std::uint8_t> rising(kFrames);
    for (std::size_t i = 0; i < kFrames; ++i) rising[i] = static_cast<std::uint8_t>(i);
    const KalBufferParam ramp{rising.data(), 8, 1, kFrames, 48000};
    const KalPlayParam soft = {0.25f, 1, 1};
    KalSampleBuffer* const sound = kal.createBuffer(kal.priv, &ramp);
    kal.playLocal(kal.priv, sound, &soft);
    float stream[2 * 480];
    for (int i = 0; i < 30; ++i) kal.render(kal.priv, stream, 480);
    std::atomic<int> faults{0};
    std::vector<std::thread> callbacks;
    for (const int size : {480, 480, 100, 0})
        callbacks.emplace_back([&, size] {
            std::vector<float> out(2 * 480);
            for (int block = 0; block < 200; ++block) {
                kal.render(kal.priv, out.data(), size);
                for (int i = 1; i < size; ++i) {
                    const float step = out[2 * i] - out[2 * i - 2];
                    faults += step != 0.25f / 128 && step != -255 * 0.25f / 128;
                }
            }
        });
    for (std::thread& callback : callbacks) callback.join();
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(kal.checkError(kal.priv), nullptr);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

} // namespace
} // namespace kalmarble::test
