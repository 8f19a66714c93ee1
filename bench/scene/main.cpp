// What a game feels: the time of one block with many voices.
//
//     kal_scene [--json] [--alone] [--kernels Generic|SSE2|AVX2] [--threads N,N] [--voices N,N,...]
//               [--motion static,moving,sends] [--blocks N]
//
// One line a case: the direction sides that were convolved, median, 99th percentile and worst block in microseconds,
// the median in per cent of the block's time, and "drift": the median of the last quarter of the blocks, relative to
// that of the first. With peers built in, each case alternates with theirs unless it is to be alone, and the ratio is
// printed. "marginal" is the cost of a further voice, in ns a frame, between the last two voice counts of a motion:
// both have every direction in use, so it is the voices' alone.

#include "Kal/QFFT/CpuFeature.h"
#include "bench/scene/Renderers.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace scene;

struct Options {
    bool json = false;
    bool alone = false;
    std::vector<int> threads{1, 2};
    std::vector<int> voices{1, 8, 64, 256, 1000, 2000, 10000};
    std::vector<Motion> motions{Motion::Static, Motion::Moving, Motion::MovingWithSends};
    int blocks = 300;
};

struct Figures {
    double median, percentile99, worst; // microseconds a block
    double drift;
};

const std::map<std::string, Motion> kMotions = {
    {"static", Motion::Static}, {"moving", Motion::Moving}, {"sends", Motion::MovingWithSends}};

std::string NameOf(Motion motion)
{
    return std::find_if(kMotions.begin(), kMotions.end(), [=](const auto& m) { return m.second == motion; })->first;
}

std::vector<std::string> Split(const std::string& list)
{
    std::vector<std::string> items;
    std::istringstream in(list);
    for (std::string item; std::getline(in, item, ',');) items.push_back(item);
    return items;
}

std::vector<int> Numbers(const std::string& list)
{
    std::vector<int> numbers;
    for (const auto& item : Split(list)) numbers.push_back(std::max(1, std::atoi(item.c_str())));
    return numbers;
}

[[noreturn]] void Usage(const char* what)
{
    std::fprintf(
        stderr,
        "kal_scene: %s\nusage: kal_scene [--json] [--alone] [--kernels NAME] [--threads N,N] [--voices N,N,...] "
        "[--motion static,moving,sends] [--blocks N]\n",
        what);
    std::exit(2);
}

void SelectInstructionSet(const std::string& name)
{
    for (const auto set : qfft::cpu::UsableInstructionSets())
        if (name == qfft::cpu::NameOf(set)) return qfft::cpu::SelectInstructionSet(set);
    Usage("no such kernels on this processor");
}

Options Parsed(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--json") {
            options.json = true;
            continue;
        }
        if (option == "--alone") {
            options.alone = true;
            continue;
        }
        if (++i == argc) Usage("an option lacks its value");
        if (option == "--kernels") {
            SelectInstructionSet(argv[i]);
        } else if (option == "--threads") {
            options.threads = Numbers(argv[i]);
        } else if (option == "--voices") {
            options.voices = Numbers(argv[i]);
        } else if (option == "--blocks") {
            options.blocks = Numbers(argv[i]).at(0);
        } else if (option == "--motion") {
            options.motions.clear();
            for (const auto& name : Split(argv[i])) {
                if (!kMotions.contains(name)) Usage("no such motion");
                options.motions.push_back(kMotions.at(name));
            }
        } else {
            Usage("no such option");
        }
    }
    return options;
}

class Stopwatch {
public:
    void Time(Renderer& renderer, int block)
    {
        renderer.Move(block);
        const auto start = std::chrono::steady_clock::now();
        renderer.Render(out.data());
        const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
        if (block >= kWarmUpBlocks) times.push_back(elapsed.count());
    }

    Figures Result()
    {
        const auto quarter = static_cast<std::ptrdiff_t>(times.size() / 4);
        const double drift = quarter == 0 ? 1.0
                                          : Quantile({times.end() - quarter, times.end()}, 0.5) /
                                                Quantile({times.begin(), times.begin() + quarter}, 0.5);
        return {Quantile(times, 0.5), Quantile(times, 0.99), Quantile(times, 1.0), drift};
    }

    static constexpr int kWarmUpBlocks = 20;

private:
    static double Quantile(std::vector<double> values, double part)
    {
        std::sort(values.begin(), values.end());
        return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
    }

    std::vector<float> out = std::vector<float>(2 * kBlock);
    std::vector<double> times;
};

void Report(const Options& options, const std::string& who, Motion motion, int threads, int voices, int sides,
            const Figures& f)
{
    const char* format = options.json
                             ? "{\"renderer\":\"%s\",\"motion\":\"%s\",\"threads\":%d,\"voices\":%d,\"sides\":%d,"
                               "\"median_us\":%.1f,\"p99_us\":%.1f,\"worst_us\":%.1f,\"percent\":%.2f,"
                               "\"drift\":%.3f}\n"
                             : "%-8s %-7s %7d %7d %6d %10.1f %10.1f %10.1f %8.2f %6.3f\n";
    std::printf(format, who.c_str(), NameOf(motion).c_str(), threads, voices, sides, f.median, f.percentile99, f.worst,
                100.0 * f.median / kBlockMicroseconds, f.drift);
    std::fflush(stdout);
}

// Own and peer take short turns, so that both see the same machine, each with caches of its own as in a game.
double RunCase(const Options& options, Motion motion, int threads, int voices)
{
    const auto own = MakeOwnRenderer(voices, motion, static_cast<unsigned>(threads));
    std::unique_ptr<Renderer> peer;
#ifdef KAL_BENCH_PEERS
    if (!options.alone && threads == 1 && voices <= 1000) peer = MakeOpenAlRenderer(voices, motion);
#endif
    Stopwatch ownTime, peerTime;
    constexpr int kTurn = 10;
    for (int first = 0; first < Stopwatch::kWarmUpBlocks + options.blocks; first += kTurn) {
        for (int block = first; block < first + kTurn; ++block) ownTime.Time(*own, block);
        for (int block = first; peer && block < first + kTurn; ++block) peerTime.Time(*peer, block);
    }
    const Figures figures = ownTime.Result();
    Report(options, "kal", motion, threads, voices, own->ActiveSides(), figures);
    if (peer) {
        const Figures theirs = peerTime.Result();
        Report(options, "openal", motion, 1, voices, -1, theirs);
        if (!options.json) std::printf("         openal / kal = %.2f\n", theirs.median / figures.median);
    }
    return figures.median;
}

} // namespace

int main(int argc, char** argv)
{
    const Options options = Parsed(argc, argv);
    if (!options.json)
        std::printf(
            "kernels: %s; %d frames a block at %.0f Hz = %.1f us\n%-8s %-7s %7s %7s %6s %10s %10s %10s %8s %6s\n",
            qfft::cpu::NameOf(qfft::cpu::ActiveInstructionSet()), kBlock, kRate, kBlockMicroseconds, "renderer",
            "motion", "threads", "voices", "sides", "median us", "99 % us", "worst us", "per cent", "drift");
    for (const Motion motion : options.motions)
        for (const int threads : options.threads) {
            double before = 0.0, last = 0.0;
            for (const int voices : options.voices) {
                before = last;
                last = RunCase(options, motion, threads, voices);
            }
            if (options.voices.size() < 2 || options.json) continue;
            const int further = options.voices.back() - options.voices[options.voices.size() - 2];
            std::printf("         marginal: %.2f ns a voice-frame\n", (last - before) * 1000.0 / further / kBlock);
        }
}
