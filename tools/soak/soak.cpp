// A host that plays thousands of sounds a second in real time while the listener walks through changing rooms.
//
//     soak library seconds [overload]
//
// Faults, which make it fail: a sample that is no number or beyond full scale, memory that grows, an error text, a
// block without sound while much is playing. With overload it plays far more than a core can render; then it is a
// fault, too, if the limit on sounds does not fall, does not stop the oldest ones or does not recover.
#include "tests/host/support.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRate = 48000, kBlock = 480, kBlocksASecond = kRate / kBlock;

double SecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// What the library tells by itself: walls asked for, which is the number of sounds tracked, and its log.
struct Told {
    int queries = 0;
    std::atomic<int> overloads{0}, lowestLimit{1 << 30}, latestLimit{0};
};

void KAL_CALL CountQuery(const KalVector3*, float* result, void* told)
{
    ++static_cast<Told*>(told)->queries;
    *result = 0.8f;
}

void KAL_CALL ReadLine(const char* line, void* userData)
{
    const char* const limit = std::strstr(line, "Limited to ");
    if (!limit) return;
    Told& told = *static_cast<Told*>(userData);
    told.latestLimit = std::atoi(limit + std::strlen("Limited to "));
    told.lowestLimit = std::min<int>(told.lowestLimit, told.latestLimit);
    ++told.overloads;
}

/// The audio callback: a block every 10 ms, as a sound card would ask for it.
class AudioThread {
public:
    AudioThread(const KalContext& context, int seconds) : kal(context)
    {
        times.reserve(static_cast<std::size_t>(2 * seconds + 60) * kBlocksASecond);
        thread = std::thread([this] { Run(); });
    }

    void Stop()
    {
        running = false;
        thread.join();
    }

    /// Lets the sound card go on for so many blocks.
    void WaitFor(int count) const
    {
        for (const int end = blocks + count; blocks < end;) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    double Percentile(double share)
    {
        std::sort(times.begin(), times.end());
        return 1000.0 * times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))];
    }

    std::atomic<int> blocks{0}, underruns{0}, bad{0}, silent{0};

private:
    void Run()
    {
        std::vector<float> stream(2 * kBlock);
        constexpr auto kPeriod = std::chrono::microseconds(1000000 / kBlocksASecond);
        for (auto due = Clock::now(); running; ++blocks, due = std::max(due + kPeriod, Clock::now() - kPeriod)) {
            std::this_thread::sleep_until(due);
            const auto start = Clock::now();
            kal.render(kal.priv, stream.data(), kBlock);
            times.push_back(SecondsSince(start));
            underruns += times.back() > 1.0 / kBlocksASecond;
            float peak = 0;
            for (const float x : stream) {
                bad += !(std::fabs(x) <= 1.0f);
                peak = std::max(peak, std::fabs(x));
            }
            silent += peak == 0.0f;
        }
    }

    const KalContext& kal;
    std::atomic<bool> running{true};
    std::vector<double> times;
    std::thread thread;
};

/// The game thread: frames of 10 ms with so many sounds each.
class Game {
public:
    Game(const KalContext& context, Told& callbacks) : kal(context), told(callbacks)
    {
        std::vector<float> noise(kRate);
        std::uint32_t random = 1;
        for (float& x : noise)
            x = static_cast<float>((random = random * 1664525u + 1013904223u) >> 16) / 65536.0f - 0.5f;
        for (const int frames : {500, 5000, 12000, kRate}) {
            const KalBufferParam mono = {noise.data(), 32, 1, frames, 44100},
                                 stereo = {noise.data(), 32, 2, frames / 2, kRate};
            sounds.push_back(kal.createBuffer(kal.priv, &mono));
            sounds.push_back(kal.createBuffer(kal.priv, &stereo));
        }
    }

    ~Game()
    {
        for (KalSampleBuffer* sound : sounds) kal.freeBuffer(kal.priv, sound);
    }

    void Frame(int count, bool onlyLong)
    {
        const float time = 0.01f * static_cast<float>(frame++);
        const KalVector3 eye = {5 * std::sin(0.3f * time), 1.7f, 5 * std::cos(0.2f * time)};
        const KalVector3 front = {std::sin(time), 0, std::cos(time)};
        const float size = 2.0f + static_cast<float>(frame / 100 % 7) * 5.0f; // another room every second
        const KalReverbParam room = {0.9f, size * size * size, 6 * size * size, size, 0.9f};
        for (int i = 0; i < count; ++i) {
            const float angle = 2.4f * static_cast<float>(started++);
            const KalVector3 place = {8 * std::cos(angle), std::sin(3 * angle), 8 * std::sin(angle)};
            const KalPlayParam how = {0.05f, 0.8f + 0.4f * std::fabs(std::sin(angle)), 4};
            KalSampleBuffer* const sound =
                onlyLong ? sounds[6] : sounds[static_cast<std::size_t>(started) % sounds.size()];
            if (!onlyLong && started % 10 == 0)
                kal.playLocal(kal.priv, sound, &how);
            else if (!onlyLong && started % 10 == 1)
                kal.playRelative(kal.priv, sound, &place, &how);
            else
                kal.playAbsolute(kal.priv, sound, &place, &how);
        }
        told.queries = 0;
        kal.respatialize(kal.priv, &eye, &front, &kUp, &room);
        tracked = told.queries;
    }

    int started = 0, tracked = 0;

private:
    const KalContext& kal;
    Told& told;
    std::vector<KalSampleBuffer*> sounds;
    int frame = 0;
};

void Report(const char* phase, const Game& game, const AudioThread& audio, const Told& told)
{
    std::printf("%-9s %8d started %6d tracked %6d blocks %5d underruns  limit %d  %.1f MB\n", phase, game.started,
                game.tracked, audio.blocks.load(), audio.underruns.load(), told.latestLimit.load(),
                HeldMemory() * 1e-6);
    std::fflush(stdout);
}

void PlayFor(double seconds, int soundsAFrame, const char* phase, Game& game, const AudioThread& audio,
             const Told& told, bool onlyLong)
{
    const auto start = Clock::now();
    for (double reported = 0; SecondsSince(start) < seconds;) {
        const auto next = Clock::now() + std::chrono::milliseconds(10);
        game.Frame(soundsAFrame, onlyLong);
        std::this_thread::sleep_until(next);
        if (SecondsSince(start) < reported) continue;
        Report(phase, game, audio, told);
        reported += std::max(1.0, seconds / 10);
    }
}

/// Two thousand sounds a second, most of which give way to later ones.
void Soak(double seconds, Game& game, const AudioThread& audio, const Told& told)
{
    PlayFor(0.3 * seconds, 20, "warm-up", game, audio, told, false);
    const double before = HeldMemory();
    const int silent = audio.silent;
    PlayFor(0.7 * seconds, 20, "soak", game, audio, told, false);
    CHECK(HeldMemory() - before < 4e6); // 100 000 sounds a minute would leave more behind them
    CHECK(audio.silent == silent);
}

/// Ten thousand a second, each of them a second long; then none until the limit has risen.
void Overload(double seconds, Game& game, const AudioThread& audio, const Told& told)
{
    PlayFor(1, 100, "rise", game, audio, told, true);
    const int silent = audio.silent, started = game.started;
    PlayFor(seconds, 100, "overload", game, audio, told, true);
    Report("overload", game, audio, told);
    CHECK(told.overloads > 0);                          // the limit fell
    CHECK(game.tracked < (game.started - started) / 2); // the oldest stopped
    CHECK(audio.silent == silent);                      // the rest went on
    std::printf("the limit fell to %d in %d reports\n", told.lowestLimit.load(), told.overloads.load());

    bool recovers = false;
    for (int tries = 0; tries < 3 && !recovers; ++tries) {
        audio.WaitFor(300); // a second and a half until all have ended; then every block raises the limit by one
        game.Frame(0, true);
        const int expected = told.latestLimit + 100;
        game.Frame(expected, true);
        recovers = game.tracked >= expected;
    }
    Report("recovered", game, audio, told);
    CHECK(recovers);
}

int seconds;
bool overload;

void Run()
{
    Told told;
    const KalInitParam parameters = {double(kRate), CountQuery, &told, 2, overload ? 1 << 20 : 64, ReadLine, &told};
    const KalContext kal = Started(&parameters);
    AudioThread audio(kal, seconds);
    {
        Game game(kal, told);
        (overload ? Overload : Soak)(seconds, game, audio, told);
    }
    audio.Stop();
    CHECK(audio.bad == 0);
    CHECK_TEXT(kal.checkError(kal.priv), nullptr);
    std::printf("%d blocks, %d underruns, render call: 99.9 %% within %.2f ms, worst %.2f ms\n", audio.blocks.load(),
                audio.underruns.load(), audio.Percentile(0.999), audio.Percentile(1.0));
    kal.destroy(kal.priv);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) return std::fprintf(stderr, "usage: %s library seconds [overload]\n", argv[0]), 2;
    seconds = std::max(1, std::atoi(argv[2]));
    overload = argc > 3 && std::string(argv[3]) == "overload";
    return RunHost(argv[1], Run);
}
