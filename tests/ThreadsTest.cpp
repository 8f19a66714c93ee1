#include "include/KALMarble.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <string_view>
#include <thread>

namespace kalmarble::test {
namespace {

constexpr KalVector3 kEye = {0, 0, 0}, kUp = {0, 1, 0};

void KAL_CALL NoWalls(const KalVector3*, float* result, void*)
{
    *result = 1.0f;
}

void KAL_CALL CountLine(const char*, void* lines)
{
    ++*static_cast<std::atomic<int>*>(lines);
}

bool IsKnownError(const char* text)
{
    if (!text) return true;
    for (const std::string_view known : {"Parameter stream is null.", "Frame count is negative.",
                                         "Parameter buffer is null.", "Speed is not positive."})
        if (text == known) return true;
    return false;
}

/// One host with its game thread, its audio thread and a thread that looks after errors. They meet in the library only.
class Game {
public:
    explicit Game(double rate) : parameters{rate, NoWalls, nullptr, 3, 6, CountLine, &lines}
    {
        KalInitialize(1, KAL_INTERFACE_VERSION, &kal);
        kal.init(kal.priv, &parameters);
    }

    ~Game() { kal.destroy(kal.priv); }

    void Run(const std::atomic<bool>& running)
    {
        std::thread audio([&] { RunAudio(running); });
        std::thread errors([&] {
            while (running) unknownErrors += !IsKnownError(kal.checkError(kal.priv));
        });
        RunGame(running);
        audio.join();
        errors.join();
    }

    std::atomic<int> lines{0}, badSamples{0}, unknownErrors{0};
    int blocks = 0, rounds = 0;

private:
    void RunGame(const std::atomic<bool>& running)
    {
        const auto noise = kal::test::Noise(4800, 1);
        const KalBufferParam mono{noise.data(), 32, 1, 4800, 44100}, stereo{noise.data(), 32, 2, 2400, 48000};
        for (rounds = 0; running; ++rounds) {
            const float angle = 0.1f * static_cast<float>(rounds);
            const KalVector3 place = {3 * std::cos(angle), 1, 3 * std::sin(angle)};
            const KalVector3 front = {std::sin(angle), 0, std::cos(angle)};
            const KalPlayParam plain = {0.3f, 1, 1}, speedless = {1, 0, 1};
            const KalReverbParam room = {1, 100.0f * std::fabs(angle), 60, 5, 1};
            KalBuffer* const sound = kal.createBuffer(kal.priv, rounds % 2 ? &mono : &stereo);
            kal.playLocal(kal.priv, sound, &plain);
            kal.playAbsolute(kal.priv, sound, &place, &plain);
            kal.playRelative(kal.priv, sound, &place, &plain);
            kal.playRelative(kal.priv, sound, &place, &speedless);
            kal.playLocal(kal.priv, nullptr, &plain);
            kal.respatialize(kal.priv, &kEye, &front, &kUp, &room);
            kal.freeBuffer(kal.priv, sound);
            if (rounds % 64 == 63) kal.init(kal.priv, &parameters); // while the audio thread renders
            std::this_thread::yield();
        }
    }

    void RunAudio(const std::atomic<bool>& running)
    {
        float stream[2 * 480];
        for (blocks = 0; running; ++blocks) {
            const int size = blocks % 50 < 40 ? 480 : 100;
            kal.render(kal.priv, stream, size);
            for (int i = 0; i < 2 * size; ++i) badSamples += !(std::fabs(stream[i]) <= 1.0f);
            kal.render(kal.priv, nullptr, 480);
            kal.render(kal.priv, stream, -1);
        }
    }

    KalContext kal{};
    KalInitParam parameters;
};

TEST(Threads, OfSeveralHostsMeetInTheLibrary)
{
    std::atomic<bool> running{true};
    Game games[] = {Game(22050), Game(48000), Game(96000)};
    std::vector<std::thread> threads;
    for (Game& game : games) threads.emplace_back([&] { game.Run(running); });
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    running = false;
    for (std::thread& thread : threads) thread.join();
    for (const Game& game : games) {
        EXPECT_GT(game.blocks, 0);
        EXPECT_GT(game.rounds, 0);
        EXPECT_EQ(game.badSamples, 0);
        EXPECT_EQ(game.unknownErrors, 0);
    }
}

} // namespace
} // namespace kalmarble::test
