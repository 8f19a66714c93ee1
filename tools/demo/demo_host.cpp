// The demo's host: plays the scene through the library, pulls the mix in blocks as an audio callback does and writes it
// as raw stereo floats. The same source runs on Linux and, under Wine, as a Windows program.
//
//     demo_host LIBRARY SCENE OUT
//
// SCENE is one of kalrender's, of sounds that the library's calls can play: once each, from places that stay. OUT.f32
// receives the mix, OUT.azimuths a table of who is heard where.

#include "examples/kal_loader.h"
#include "tools/scene/SceneReader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <io.h>
constexpr char kPlatform[] = "Windows";
inline bool IsTerminal(FILE* stream)
{
    return _isatty(_fileno(stream)) != 0;
}
#else
#include <unistd.h>
constexpr char kPlatform[] = "Linux";
inline bool IsTerminal(FILE* stream)
{
    return isatty(fileno(stream)) != 0;
}
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBlockFrames = 512;

// What happens between two blocks takes effect as many frames into a later block as the clock has counted since the
// renderer began its latest one: a new sound at most kLatestStart, a moved one at most at that block's end. The demo
// renders faster than the clock runs, so it first waits out those limits. Then every run starts and moves its sounds at
// the same frames, and the runs of two platforms can be compared sample by sample.
constexpr int kLatestStart = 10000;
constexpr int kLatestMove = kBlockFrames;

constexpr std::chrono::milliseconds kLatestWake(15); ///< that a busy machine needs to let the renderer begin

constexpr int kBlocksAGameFrame = 4; ///< 43 ms

/// A sound that is to be started.
struct Cue {
    const kalscene::Sound* sound;
    const kalscene::Start* start;
    KalSampleBuffer* buffer;
};

struct Summary {
    double peak = 0.0, energy = 0.0;
    double seconds = 0.0; ///< that rendering took
    std::int64_t numFrames = 0;
};

void KAL_CALL NoWalls(const KalVector3*, float* result, void*)
{
    *result = 1.0f;
}

void RequirePlayable(const kalscene::Scene& scene)
{
    bool isPlayable = scene.length != kalscene::kNever;
    for (const kalscene::Sound& sound : scene.sounds) {
        for (const auto* curve : {&sound.gain, &sound.speed, &sound.occlusion})
            isPlayable = isPlayable && curve->IsConstant();
        isPlayable = isPlayable && sound.position.IsConstant() && sound.from == 0.0 && !sound.loop &&
                     sound.seeks.empty() && sound.stop == kalscene::kNever && sound.occlusion.At(0)[0] == 0.0;
    }
    if (!isPlayable)
        throw std::runtime_error("the scene has no length, or sounds that the library's calls cannot play: that move, "
                                 "change, loop, stop or jump");
}

/// What is to be started, in order of time, each sound's samples in one buffer of the library.
std::vector<Cue> Upload(const KalContext& kal, const kalscene::Scene& scene)
{
    std::vector<Cue> cues;
    for (const kalscene::Sound& sound : scene.sounds) {
        const kal::Buffer& samples = *sound.buffer;
        const KalBufferParam parameters = {samples.GetData(), 32, samples.GetNumChannels(), samples.GetNumSamples(),
                                           samples.GetSamplingRate()};
        KalSampleBuffer* const buffer = kal.createBuffer(kal.priv, &parameters);
        for (const kalscene::Start& start : sound.starts) cues.push_back({&sound, &start, buffer});
    }
    std::ranges::stable_sort(cues, {}, [](const Cue& cue) { return cue.start->frame; });
    return cues;
}

kal::Vector3 PlaceOf(const Cue& cue)
{
    const kal::Vector3 place = kalscene::ToVector(cue.sound->position.At(0)), offset = cue.start->offset;
    return {place.x + offset.x, place.y + offset.y, place.z + offset.z};
}

KalVector3 HostVector(const kal::Vector3& v)
{
    return {v.x, v.y, v.z};
}

void Play(const KalContext& kal, const Cue& cue)
{
    const kalscene::Sound& sound = *cue.sound;
    const auto product = [](const kalscene::Curve<1>& curve, double factor) {
        return static_cast<float>(curve.At(0)[0] * factor);
    };
    const auto distance = static_cast<float>(sound.referenceDistance);
    const KalPlayParam parameters = {product(sound.gain, cue.start->gain), product(sound.speed, cue.start->speed),
                                     distance * distance};
    const KalVector3 place = HostVector(PlaceOf(cue));
    switch (sound.place) {
    case kalscene::Place::None:
        return kal.playLocal(kal.priv, cue.buffer, &parameters);
    case kalscene::Place::Listener:
        return kal.playRelative(kal.priv, cue.buffer, &place, &parameters);
    case kalscene::Place::World:
        return kal.playAbsolute(kal.priv, cue.buffer, &place, &parameters);
    }
}

void ShowProgress(std::int64_t done, std::int64_t all)
{
    if (!IsTerminal(stderr)) return;
    constexpr std::int64_t kWidth = 40;
    const auto filled = static_cast<std::size_t>(done * kWidth / all);
    std::fprintf(stderr, "\r[%s%s]%s", std::string(filled, '#').c_str(), std::string(kWidth - filled, '.').c_str(),
                 done == all ? "\r\033[K" : "");
}

/// The game, and the audio callback that it is at the same time.
class Game {
public:
    Game(const KalContext& context, const kalscene::Scene& played)
        : kal(context), scene(played), cues(Upload(context, played)), next(cues.begin())
    {
    }
    ~Game()
    {
        for (const Cue& cue : cues)
            if (cue.start == &cue.sound->starts.front()) kal.freeBuffer(kal.priv, cue.buffer);
    }
    Game(const Game&) = delete;
    Game& operator=(const Game&) = delete;

    Summary Play(std::ofstream& out)
    {
        Summary summary;
        std::vector<float> stream(2 * kBlockFrames);
        const std::int64_t numBlocks = scene.length / kBlockFrames;
        for (std::int64_t block = 0; block < numBlocks; ++block) {
            // The block after the one that is already rendered is the first that what happens now can change.
            if (block % kBlocksAGameFrame == 0) PlayGameFrame((block + 1) * kBlockFrames);
            const auto start = Clock::now();
            kal.render(kal.priv, stream.data(), kBlockFrames);
            summary.seconds += std::chrono::duration<double>(Clock::now() - start).count();

            out.write(reinterpret_cast<const char*>(stream.data()), std::streamsize{sizeof(float)} * 2 * kBlockFrames);
            for (const float x : stream) {
                summary.peak = std::max(summary.peak, std::fabs(double{x}));
                summary.energy += double{x} * x;
            }
            summary.numFrames += kBlockFrames;
            ShowProgress(block + 1, numBlocks);
        }
        return summary;
    }

    /// Seconds, and the azimuth at which a sound is heard then.
    void WriteAzimuths(std::ofstream& out) const
    {
        constexpr double kStep = 0.02; // seconds
        for (const Cue& cue : cues) {
            if (cue.sound->place == kalscene::Place::None) continue;
            const kal::Buffer& samples = *cue.sound->buffer;
            const double start = static_cast<double>(cue.start->frame) / scene.samplingRate;
            const double end = start + samples.GetNumSamples() / samples.GetSamplingRate();
            for (double time = start; time < end; time += kStep) {
                kal::Vector3 heard = PlaceOf(cue);
                if (cue.sound->place == kalscene::Place::World)
                    heard = ListenerAt(scene, std::llround(time * scene.samplingRate)).ToListener(heard);
                out << time << ' ' << std::atan2(heard.x, heard.z) * 180.0 / std::numbers::pi << '\n';
            }
        }
    }

private:
    void WaitOut(int frames) const
    {
        using namespace std::chrono;
        std::this_thread::sleep_for(duration<double>(frames / scene.samplingRate) + kLatestWake);
    }

    /// What the game does before the block: moves the listener and starts the sounds that are due.
    void PlayGameFrame(std::int64_t frame)
    {
        const kalmarble::Listener listener = ListenerAt(scene, frame);
        const KalVector3 eye = HostVector(listener.eye), front = HostVector(listener.front),
                         up = HostVector(listener.up);
        const KalReverbParam room = RoomAt(scene, frame);
        if (!scene.turn.IsFlatFrom(frame) || !scene.listener.IsFlatFrom(frame)) WaitOut(kLatestMove);
        kal.respatialize(kal.priv, &eye, &front, &up, &room);
        for (; next != cues.end() && next->start->frame <= frame + kLatestStart; ++next) {
            WaitOut(kLatestStart);
            ::Play(kal, *next);
        }
    }

    const KalContext& kal;
    const kalscene::Scene& scene;
    std::vector<Cue> cues;
    std::vector<Cue>::const_iterator next;
};

void Run(const std::string& path, const std::string& scenePath, const std::string& outPath)
{
    const kalscene::Scene scene = kalscene::ReadSceneFile(scenePath, {});
    RequirePlayable(scene);
    const KalLibrary library = kalOpenLibrary(path.c_str());
    if (!library.initialize) throw std::runtime_error(std::string("cannot load the library: ") + library.error);
    KalContext kal;
    if (const char* error = library.initialize(1, KAL_INTERFACE_VERSION, &kal)) throw std::runtime_error(error);
    const KalInitParam parameters = {scene.samplingRate, NoWalls, nullptr, 2, 32, nullptr, nullptr};
    kal.init(kal.priv, &parameters);

    std::ofstream mix(outPath + ".f32", std::ios::binary), azimuths(outPath + ".azimuths");
    Summary summary;
    {
        Game game(kal, scene);
        summary = game.Play(mix);
        game.WriteAzimuths(azimuths);
        if (!mix.flush() || !azimuths.flush()) throw std::runtime_error("cannot write to " + outPath);
        // The latest error stays, so one look at the end sees that of any call.
        if (const char* error = kal.checkError(kal.priv)) throw std::runtime_error(error);
    }
    kal.destroy(kal.priv);
    kalCloseLibrary(library);

    const double duration = static_cast<double>(summary.numFrames) / scene.samplingRate;
    const double rms = std::sqrt(summary.energy / (2.0 * static_cast<double>(summary.numFrames)));
    std::printf("%-7s  %.1f s, peak %.1f dBFS, RMS %.1f dBFS, rendered %.0f times as fast as it plays\n", kPlatform,
                duration, 20 * std::log10(summary.peak), 20 * std::log10(rms), duration / summary.seconds);
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc != 4) throw std::runtime_error("usage: demo_host LIBRARY SCENE OUT");
    Run(argv[1], argv[2], argv[3]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "demo_host: %s\n", error.what());
    return 1;
}
