#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Import.h"
#include "tools/support/Cli.h"
#include "tools/support/PendingFile.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>

namespace kal::hrtf {
namespace {

struct Arguments {
    std::string set, output;
    double from = kUsualRate, rate = 0.0;
    int taps = 0;
    bool asJson = false;
};

void Run(const Arguments& arguments)
{
    HrtfSet set = LoadSoundingSet(arguments.set);
    Report report;
    report.Add("from", arguments.from, "from a rate of %s Hz");
    report.Add("rate", arguments.rate, "to %s Hz");
    if (arguments.rate != arguments.from) {
        std::size_t longest = 0;
        for (const HrtfRing& ring : set)
            for (const HrtfAngle& angle : ring.angles) longest = std::max(longest, angle.left.size());
        std::vector<std::vector<Pair>> responses;
        for (const HrtfRing& ring : set) {
            auto& there = responses.emplace_back();
            for (const HrtfAngle& angle : ring.angles) {
                Pair here = ResponsesOf(angle);
                for (Signal* ear : {&here.left, &here.right}) {
                    ear->resize(longest);
                    *ear = Resampled(*ear, arguments.from, arguments.rate);
                }
                there.push_back(std::move(here));
            }
        }
        // What lies further off, of the ringing, changes no magnitude up to 18 kHz by 0.1 dB.
        const int lead = static_cast<int>(kRinging * 0.75 * std::max(1.0, arguments.rate / arguments.from));
        const double length = static_cast<double>(longest) * arguments.rate / arguments.from + 2 * lead;
        const int all = static_cast<int>(std::bit_ceil(static_cast<unsigned>(std::ceil(length))));
        set = Cut(responses, GridOf(set), lead, arguments.taps > 0 ? arguments.taps : all, report);
    }
    report.Add("softer_db", LimitPeak(set), "lowered, to stay within 1, by %s dB");
    tools::WriteFile(arguments.output, WriteHrtfSet(set));
    report.Print(arguments.asJson, arguments.output == "-");
}

} // namespace

void AddResample(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("resample", "Make a set for another sampling rate of the engine");
    command->add_option("SET", arguments->set, "the set, - for standard input, or built-in")->required();
    AddRate(*command, "-r,--rate", arguments->rate, "the new rate")->required();
    AddRate(*command, "--from", arguments->from, "the rate that the set was made for");
    command->add_option("--taps", arguments->taps, "length of a response, a power of two [as many as hold it all]")
        ->check(PowerOfTwo());
    command->add_option("-o,--output", arguments->output, "the set to write, - for standard output")
        ->type_name("FILE")
        ->required();
    command->add_flag("--json", arguments->asJson, "report in JSON");
    command->callback([arguments] { Run(*arguments); });
}

} // namespace kal::hrtf
