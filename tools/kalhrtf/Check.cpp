#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Report.h"
#include "tools/kalhrtf/Sets.h"
#include "tools/support/Cli.h"
#include "tools/support/Files.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace kal::hrtf {
namespace {

struct Arguments {
    std::string set;
    bool asJson = false;
};

std::string Number(double x)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", x);
    return text;
}

// What the loader takes on trust, or plays all the same.
std::vector<std::string> Violations(const HrtfSet& set)
{
    std::vector<std::string> violations;
    const auto require = [&](bool holds, const std::string& sentence) {
        if (!holds) violations.push_back(sentence);
    };
    require(!set.empty(), "There is no ring.");
    double toTheRight = 0.0;
    for (std::size_t i = 0; i < set.size(); ++i) {
        const HrtfRing& ring = set[i];
        const std::string at = "The ring at elevation " + Number(ring.elevation);
        require(std::fabs(ring.elevation) <= 90.0f, at + " is not within -90 to 90 degrees.");
        require(i == 0 || ring.elevation > set[i - 1].elevation, at + " does not stand above the one before it.");
        require(!ring.angles.empty(), at + " has no direction.");
        for (std::size_t j = 0; j < ring.angles.size(); ++j) {
            const HrtfAngle& angle = ring.angles[j];
            const std::string here = at + " has an azimuth, " + Number(angle.azimuth) + ", that ";
            require(angle.azimuth >= 0.0f && angle.azimuth <= 180.0f, here + "is not within 0 to 180 degrees.");
            require(j == 0 || angle.azimuth > ring.angles[j - 1].azimuth, here + "is not beyond the one before it.");
            const bool silent = IsSilent(angle);
            require(!silent, here + "is silent in an ear.");
            const Pair responses = ResponsesOf(angle);
            if (!silent && std::fabs(angle.azimuth - 90.0f) < 60.0f) toTheRight += HearingOf(responses).ild;
        }
    }
    require(toTheRight >= 0.0, "Sources on the right are louder on the left: the ears are swapped, or the azimuths.");
    return violations;
}

std::vector<std::string> ViolationsIn(const std::string& bytes)
{
    try {
        return Violations(ReadHrtfSet(bytes));
    } catch (const std::exception& refusal) {
        return {refusal.what()};
    }
}

void Run(const Arguments& arguments)
{
    const bool isBuiltIn = arguments.set == kBuiltIn;
    const auto violations = ViolationsIn(isBuiltIn ? WriteHrtfSet(LoadSet(kBuiltIn)) : tools::ReadFile(arguments.set));
    Report report;
    report.Add("good", violations.empty(), violations.empty() ? arguments.set + " keeps every rule." : "");
    std::string all;
    for (const std::string& sentence : violations) all += (all.empty() ? "" : "\n") + sentence;
    report.Add("violations", violations, all);
    report.Print(arguments.asJson);
    if (!violations.empty()) throw tools::Failure(arguments.set + " breaks the rules of the format.");
}

} // namespace

void AddCheck(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("check", "Hold a set against every rule of the format");
    command->add_option("SET", arguments->set, "the set, - for standard input, or built-in")->required();
    command->add_flag("--json", arguments->asJson, "in JSON");
    command->callback([arguments] { Run(*arguments); });
}

} // namespace kal::hrtf
