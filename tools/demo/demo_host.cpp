// The demo's host: plays the scene through the library, pulls the mix in blocks as an audio callback does and writes it
// as raw stereo floats. The same source runs on Linux and, under Wine, as a Windows program.
//
//     demo_host LIBRARY SOUNDS OUT [--room dry|small|hall]
//
// SOUNDS is the folder that demo_wav filled; OUT.f32 receives the mix, OUT.azimuths a table of who stood where.

#include "examples/kal_loader.h"
#include "scene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
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
constexpr int kBlocks = static_cast<int>(scene::kDuration * scene::kSamplingRate / kBlockFrames);

// What happens between two blocks takes effect as many frames into a later block as the clock has counted since the
// renderer began its latest one: a new sound at most kLatestStart, a moved one at most at that block's end. The demo
// renders faster than the clock runs, so it first waits out those limits. Then every run starts and moves its sounds at
// the same frames, and the runs of two platforms can be compared sample by sample.
constexpr int kLatestStart = 10000;
constexpr int kLatestMove = kBlockFrames;

constexpr std::chrono::milliseconds kLatestWake(15); ///< that a busy machine needs to let the renderer begin

constexpr int kBlocksAGameFrame = 4; ///< 43 ms

struct Sound {
    KalSampleBuffer* buffer;
    double duration; ///< seconds
};

struct Summary {
    double peak = 0.0, energy = 0.0;
    double seconds = 0.0; ///< that rendering took
};

void KAL_CALL NoWalls(const KalVector3*, float* result, void*)
{
    *result = 1.0f;
}

/// Uploads the recordings that the folder's index lists, one a line: name, sampling rate, frames.
std::map<std::string, Sound> LoadSounds(const KalContext& kal, const std::string& folder)
{
    std::map<std::string, Sound> sounds;
    std::ifstream index(folder + "/index");
    std::string name;
    double samplingRate = 0.0;
    std::int32_t frames = 0;
    while (index >> name >> samplingRate >> frames) {
        std::vector<std::int16_t> samples(static_cast<std::size_t>(frames));
        std::ifstream file(folder + "/" + name + ".s16", std::ios::binary);
        if (!file.read(reinterpret_cast<char*>(samples.data()), std::streamsize{2} * frames))
            throw std::runtime_error("cannot read the samples of " + name);
        const KalBufferParam parameters = {samples.data(), 16, 1, frames, samplingRate};
        sounds[name] = {kal.createBuffer(kal.priv, &parameters), frames / samplingRate};
    }
    if (sounds.empty()) throw std::runtime_error("no sounds in " + folder);
    return sounds;
}

void Play(const KalContext& kal, const scene::Cue& cue, KalSampleBuffer* buffer)
{
    const KalPlayParam parameters = {cue.volume, 1.0f, 1.0f};
    const KalVector3 world = scene::Direction(cue.azimuth), relative = {world.x, world.y, -world.z};
    switch (cue.way) {
    case scene::Way::Local:
        return kal.playLocal(kal.priv, buffer, &parameters);
    case scene::Way::Relative:
        return kal.playRelative(kal.priv, buffer, &relative, &parameters);
    case scene::Way::Absolute:
        return kal.playAbsolute(kal.priv, buffer, &world, &parameters);
    }
}

void ShowProgress(int done)
{
    if (!IsTerminal(stderr)) return;
    constexpr int kWidth = 40;
    const int filled = done * kWidth / kBlocks;
    std::fprintf(stderr, "\r[%s%s]%s", std::string(filled, '#').c_str(), std::string(kWidth - filled, '.').c_str(),
                 done == kBlocks ? "\r\033[K" : "");
}

void WaitOut(int frames)
{
    using namespace std::chrono;
    std::this_thread::sleep_for(duration<double>(double(frames) / scene::kSamplingRate) + kLatestWake);
}

/// What the game does before the block: moves the listener and starts the sounds that are due.
const scene::Cue* PlayGameFrame(const KalContext& kal, const scene::Room& room,
                                const std::map<std::string, Sound>& sounds, const scene::Cue* cue, double time)
{
    const KalVector3 eye = {0, 0, 0}, up = {0, 1, 0}, front = scene::Direction(scene::Heading(time));
    if (scene::Heading(time) != 0.0) WaitOut(kLatestMove);
    kal.respatialize(kal.priv, &eye, &front, &up, &room.parameters);
    for (; cue != std::end(scene::kCues) && cue->time <= time + double{kLatestStart} / scene::kSamplingRate; ++cue) {
        WaitOut(kLatestStart);
        Play(kal, *cue, sounds.at(cue->sound).buffer);
    }
    return cue;
}

Summary PlayScene(const KalContext& kal, const scene::Room& room, const std::map<std::string, Sound>& sounds,
                  std::ofstream& out)
{
    Summary summary;
    std::vector<float> stream(2 * kBlockFrames);
    const scene::Cue* cue = std::begin(scene::kCues);
    for (int block = 0; block < kBlocks; ++block) {
        // The block after the one that is already rendered is the first that what happens now can change.
        const double time = (block + 1.0) * kBlockFrames / scene::kSamplingRate;
        if (block % kBlocksAGameFrame == 0) cue = PlayGameFrame(kal, room, sounds, cue, time);
        const auto start = Clock::now();
        kal.render(kal.priv, stream.data(), kBlockFrames);
        summary.seconds += std::chrono::duration<double>(Clock::now() - start).count();

        out.write(reinterpret_cast<const char*>(stream.data()), std::streamsize{sizeof(float)} * 2 * kBlockFrames);
        for (const float x : stream) {
            summary.peak = std::max(summary.peak, std::fabs(double{x}));
            summary.energy += double{x} * x;
        }
        ShowProgress(block + 1);
    }
    return summary;
}

void WriteAzimuths(std::ofstream& out, const std::map<std::string, Sound>& sounds)
{
    constexpr double kStep = 0.02; // seconds
    for (const scene::Cue& cue : scene::kCues) {
        if (cue.way == scene::Way::Local) continue;
        const int steps = static_cast<int>(sounds.at(cue.sound).duration / kStep);
        for (int i = 0; i < steps; ++i) {
            const double time = cue.time + i * kStep;
            out << time << ' ' << scene::HeardAzimuth(cue, time) << '\n';
        }
    }
}

void Run(const std::string& path, const std::string& folder, const std::string& outPath, const scene::Room& room)
{
    const KalLibrary library = kalOpenLibrary(path.c_str());
    if (!library.initialize) throw std::runtime_error(std::string("cannot load the library: ") + library.error);
    KalContext kal;
    if (const char* error = library.initialize(1, KAL_INTERFACE_VERSION, &kal)) throw std::runtime_error(error);
    const KalInitParam parameters = {scene::kSamplingRate, NoWalls, nullptr, 2, 32, nullptr, nullptr};
    kal.init(kal.priv, &parameters);

    const auto sounds = LoadSounds(kal, folder);
    std::ofstream mix(outPath + ".f32", std::ios::binary), azimuths(outPath + ".azimuths");
    const Summary summary = PlayScene(kal, room, sounds, mix);
    WriteAzimuths(azimuths, sounds);
    if (!mix || !azimuths) throw std::runtime_error("cannot write to " + outPath);

    // The latest error stays, so one look at the end sees that of any call.
    if (const char* error = kal.checkError(kal.priv)) throw std::runtime_error(error);
    for (const auto& sound : sounds) kal.freeBuffer(kal.priv, sound.second.buffer);
    kal.destroy(kal.priv);
    kalCloseLibrary(library);

    const double duration = double{kBlocks} * kBlockFrames / scene::kSamplingRate;
    const double rms = std::sqrt(summary.energy / (2.0 * kBlocks * kBlockFrames));
    std::printf("%-7s  %-5s  %.1f s, peak %.1f dBFS, RMS %.1f dBFS, rendered %.0f times as fast as it plays\n",
                kPlatform, room.name, duration, 20 * std::log10(summary.peak), 20 * std::log10(rms),
                duration / summary.seconds);
}

} // namespace

int main(int argc, char** argv)
try {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool hasRoom = arguments.size() == 5 && arguments[3] == "--room";
    const scene::Room* room = scene::FindRoom(hasRoom ? arguments[4].c_str() : "small");
    if (!(arguments.size() == 3 || hasRoom) || !room)
        throw std::runtime_error("usage: demo_host LIBRARY SOUNDS OUT [--room dry|small|hall]");
    Run(arguments[0], arguments[1], arguments[2], *room);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "demo_host: %s\n", error.what());
    return 1;
}
