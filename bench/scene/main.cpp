// What a game feels: the time of one block with many voices.
#include "Kal/QFFT/CpuFeature.h"
#include "bench/scene/Load.h"
#include "bench/scene/Renderers.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace scene;

constexpr char kHelp[] =
    R"(usage: kal_scene [--json] [--alone] [--busy] [--kernels Generic,SSE2,AVX2,AVX512] [--threads N,N,...]
                 [--voices N,N,...] [--motion static,moving,sends] [--blocks N]

  --json     a line of JSON a case instead of a table
  --alone    without the other renderer, if one was built in
  --busy     beside one endless loop on every core, of the same priority; ends with the run
  --kernels  some of the tables of kernels; default: the one that should be the fastest here
  --threads  of one engine, the calling one included; default: 1,2
  --voices   default: 1,8,64,256,1000,2000,10000
  --motion   of the voices: none, around the listener, and with reverb sends; default: all
  --blocks   that are measured, after some to warm up; default: 300

One line a case: the direction sides that were convolved, median, 99th percentile and worst block in microseconds, the
median in per cent of the block's time, and "drift": the median of the last quarter of the blocks, relative to that of
the first. All tables and thread counts, and the other renderer up to 1000 voices, take turns of ten blocks, so that
they see the same machine; then their ratios are printed. "marginal" is the cost of a further voice, in ns a frame,
between the last two voice counts of a motion: from 1000 on every direction is in use, and it is the voices' alone.
)";

struct Options {
    bool json = false;
    bool busy = false;
    bool alone = false;
    std::vector<qfft::cpu::InstructionSet> kernels{qfft::cpu::ActiveInstructionSet()};
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
    std::fprintf(stderr, "kal_scene: %s\n%s", what, kHelp);
    std::exit(2);
}

qfft::cpu::InstructionSet InstructionSetOf(const std::string& name)
{
    for (const auto set : qfft::cpu::UsableInstructionSets())
        if (name == qfft::cpu::NameOf(set)) return set;
    Usage("no such kernels on this processor");
}

Options Parsed(int argc, char** argv)
{
    Options options;
    const std::map<std::string, bool Options::*> switches = {
        {"--json", &Options::json}, {"--alone", &Options::alone}, {"--busy", &Options::busy}};
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help") {
            std::fputs(kHelp, stdout);
            std::exit(0);
        }
        if (const auto found = switches.find(option); found != switches.end()) {
            options.*found->second = true;
            continue;
        }
        if (++i == argc) Usage("an option lacks its value");
        if (option == "--kernels") {
            options.kernels.clear();
            for (const auto& name : Split(argv[i])) options.kernels.push_back(InstructionSetOf(name));
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

/// One renderer of a case, with caches of its own as in a game.
struct Contender {
    std::string name;
    qfft::cpu::InstructionSet kernels;
    int threads;
    std::unique_ptr<Renderer> renderer;
    Stopwatch stopwatch = {};
};

std::vector<Contender> Contenders(const Options& options, Motion motion, int voices)
{
    std::vector<Contender> contenders;
    for (const auto kernels : options.kernels) {
        qfft::cpu::SelectInstructionSet(kernels); // which transforms look at when they are planned
        for (const int threads : options.threads)
            contenders.push_back({qfft::cpu::NameOf(kernels), kernels, threads,
                                  MakeOwnRenderer(voices, motion, static_cast<unsigned>(threads))});
    }
#ifdef KAL_BENCH_PEERS
    if (!options.alone && voices <= 1000)
        if (auto peer = MakeOpenAlRenderer(voices, motion)) contenders.push_back({"openal", {}, 1, std::move(peer)});
#endif
    return contenders;
}

/// Returns the median for every table and number of threads.
std::vector<double> RunCase(const Options& options, Motion motion, int voices)
{
    std::vector<Contender> contenders = Contenders(options, motion, voices);
    constexpr int kTurn = 10;
    for (int first = 0; first < Stopwatch::kWarmUpBlocks + options.blocks; first += kTurn)
        for (Contender& contender : contenders) {
            qfft::cpu::SelectInstructionSet(contender.kernels);
            for (int block = first; block < first + kTurn; ++block)
                contender.stopwatch.Time(*contender.renderer, block);
        }
    std::vector<double> medians;
    Figures own{};
    for (Contender& contender : contenders) {
        const Figures figures = contender.stopwatch.Result();
        Report(options, contender.name, motion, contender.threads, voices, contender.renderer->ActiveSides(), figures);
        if (contender.name != "openal") medians.push_back(figures.median);
        if (&contender == &contenders[0])
            own = figures;
        else if (!options.json)
            std::printf("         to the first of them: median %.2f, 99 %% %.2f\n", figures.median / own.median,
                        figures.percentile99 / own.percentile99);
    }
    return medians;
}

} // namespace

int main(int argc, char** argv)
{
    const Options options = Parsed(argc, argv);
    if (!options.json)
        std::printf("%d frames a block at %.0f Hz = %.1f us\n%-8s %-7s %7s %7s %6s %10s %10s %10s %8s %6s\n", kBlock,
                    kRate, kBlockMicroseconds, "kernels", "motion", "threads", "voices", "sides", "median us",
                    "99 % us", "worst us", "per cent", "drift");
    std::optional<Load> load;
    if (options.busy) load.emplace();
    for (const Motion motion : options.motions) {
        std::vector<double> before, last;
        for (const int voices : options.voices) {
            before = std::move(last);
            last = RunCase(options, motion, voices);
        }
        if (options.voices.size() < 2 || options.json) continue;
        const int further = options.voices.back() - options.voices[options.voices.size() - 2];
        for (std::size_t i = 0; i < last.size(); ++i)
            std::printf("         marginal, %s, %d threads: %.2f ns a voice-frame\n",
                        qfft::cpu::NameOf(options.kernels[i / options.threads.size()]),
                        options.threads[i % options.threads.size()], (last[i] - before[i]) * 1000.0 / further / kBlock);
    }
}
