#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Import.h"
#include "tools/support/Cli.h"
#include "tools/support/PendingFile.h"

#include <map>
#include <memory>

namespace kal::hrtf {
namespace {

struct Arguments {
    std::string head, output, rings = kBuiltIn, timbre;
    ImportSettings settings;
    bool asJson = false;
};

void Run(Arguments& arguments)
{
    ImportSettings& settings = arguments.settings;
    settings.grid = ParseGrid(arguments.rings);
    if (!arguments.timbre.empty()) settings.timbre = LoadSoundingSet(arguments.timbre);
    Report report;
    const HrtfSet set = Import(LoadSofa(arguments.head), settings, report);
    tools::WriteFile(arguments.output, WriteHrtfSet(set));
    report.Print(arguments.asJson, arguments.output == "-");
}

} // namespace

void AddImport(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    ImportSettings& settings = arguments->settings;
    CLI::App* command = app.add_subcommand("import", "Make a set of a head in a SOFA file (SimpleFreeFieldHRIR)");
    command->add_option("HEAD", arguments->head, "the SOFA file, - for standard input")->required();
    command->add_option("-o,--output", arguments->output, "the set to write, - for standard output")
        ->type_name("FILE")
        ->required();
    AddRate(*command, "-r,--rate", settings.samplingRate, "sampling rate of the set");
    command->add_option("--taps", settings.taps, "length of a response, a power of two")
        ->check(PowerOfTwo())
        ->capture_default_str();
    command->add_option("--rings", arguments->rings, "directions: as another set has them, or ELEVATION:COUNT,...")
        ->type_name("SET|RINGS")
        ->capture_default_str();
    static const std::map<std::string, Side> sides = {
        {"right", Side::Right}, {"left", Side::Left}, {"mean", Side::Mean}};
    command->add_option("--side", settings.side, "half of the head to take: right, left or mean [right]")
        ->transform(CLI::CheckedTransformer(sides).description("{right,left,mean}"))
        ->type_name("SIDE");
    command->add_option("--timbre", arguments->timbre, "a set whose mean spectrum the new one takes on")
        ->type_name("SET");
    command->add_flag("--json", arguments->asJson, "report in JSON");
    command->callback([arguments] { Run(*arguments); });
}

} // namespace kal::hrtf
