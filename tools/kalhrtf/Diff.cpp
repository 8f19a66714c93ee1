#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Report.h"
#include "tools/kalhrtf/Sets.h"
#include "tools/support/Cli.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <numbers>

namespace kal::hrtf {
namespace {

struct Arguments {
    std::string first, second;
    double firstRate = kUsualRate, secondRate = kUsualRate;
    double reach = 18000.0; ///< Hz, of the spectra
    double mostItd = std::numeric_limits<double>::infinity(), mostLevel = mostItd, mostSpectrum = mostItd;
    bool asJson = false;
};

/// The size of some differences.
struct Spread {
    void Add(double x)
    {
        most = std::max(most, std::fabs(x));
        sum += x;
        squares += x * x;
        ++count;
    }
    double Mean() const { return sum / count; }
    double Rms() const { return std::sqrt(squares / count); }

    double most = 0.0, sum = 0.0, squares = 0.0;
    int count = 0;
};

// |H|^2 at multiples of 100 Hz up to the reach.
Signal PowerAt(const Signal& response, double rate, double reach)
{
    Signal power;
    for (double frequency = 100.0; frequency <= std::min(reach, rate / 2.0); frequency += 100.0) {
        const auto turn = std::polar(1.0, -2.0 * std::numbers::pi * frequency / rate);
        std::complex<double> sum = 0.0;
        for (std::size_t i = response.size(); i-- > 0;) sum = sum * turn + response[i];
        power.push_back(std::norm(sum));
    }
    return power;
}

/// What tells two sets apart in the directions that both have.
class Comparison {
public:
    explicit Comparison(const Arguments& given) : arguments(given) {}

    void Add(const Pair& first, const Pair& second)
    {
        const Hearing a = HearingOf(first), b = HearingOf(second);
        itd.Add(b.itd * arguments.firstRate / arguments.secondRate - a.itd);
        ild.Add(b.ild - a.ild);
        const double perRate = Decibels(arguments.secondRate / arguments.firstRate);
        level.Add(b.left - a.left + perRate);
        level.Add(b.right - a.right + perRate);
        AddSpectrum(first.left, second.left);
        AddSpectrum(first.right, second.right);
    }

    Spread itd, ild, level, spectrum;

private:
    // What lies 40 dB below a response's own maximum is a notch, whose depth nobody hears.
    void AddSpectrum(const Signal& first, const Signal& second)
    {
        const Signal a = PowerAt(first, arguments.firstRate, arguments.reach),
                     b = PowerAt(second, arguments.secondRate, arguments.reach);
        const double least = 1e-4 * *std::max_element(a.begin(), a.end());
        for (std::size_t k = 0; k < std::min(a.size(), b.size()); ++k)
            if (a[k] > least) spectrum.Add(Decibels(std::max(b[k], 1e-30) / a[k]));
    }

    const Arguments& arguments;
};

// The direction of a set within a degree of another, if there is one.
const HrtfAngle* Find(const HrtfSet& set, const Direction& direction)
{
    const HrtfAngle* found = nullptr;
    double nearest = 1.0;
    for (const HrtfRing& ring : set) {
        for (const HrtfAngle& angle : ring.angles) {
            const double distance = AngleBetween(direction, {angle.azimuth, ring.elevation});
            if (distance > nearest) continue;
            nearest = distance;
            found = &angle;
        }
    }
    return found;
}

void Run(const Arguments& arguments)
{
    const HrtfSet first = LoadSoundingSet(arguments.first), second = LoadSoundingSet(arguments.second);
    Comparison comparison(arguments);
    int common = 0, all = 0;
    for (const HrtfRing& ring : first) {
        for (const HrtfAngle& angle : ring.angles) {
            ++all;
            const HrtfAngle* other = Find(second, {angle.azimuth, ring.elevation});
            if (!other) continue;
            ++common;
            comparison.Add(ResponsesOf(angle), ResponsesOf(*other));
        }
    }
    if (common == 0) throw tools::Failure("The sets have no direction in common.");
    std::size_t others = 0;
    for (const HrtfRing& ring : second) others += ring.angles.size();

    const auto& [itd, ild, level, spectrum] =
        std::tie(comparison.itd, comparison.ild, comparison.level, comparison.spectrum);
    Report report;
    report.Add("common", common, "directions in common: %s");
    report.Add("directions_first", all, "of the first set's %s");
    report.Add("directions_second", others, "and of the second's %s");
    report.Add("itd_max_samples", itd.most, "time difference between the ears: %s samples apart at most");
    report.Add("itd_rms_samples", itd.Rms(), "and %s root mean square");
    report.Add("ild_max_db", ild.most, "level difference between the ears: %s dB apart at most");
    report.Add("level_max_db", level.most, "level of an ear: %s dB apart at most");
    report.Add("level_mean_db", level.Mean(), "the second is louder by %s dB on average");
    report.Add("spectrum_max_db", spectrum.most, "magnitude of a response: %s dB apart at most");
    report.Add("spectrum_rms_db", spectrum.Rms(), "and %s root mean square");
    report.Print(arguments.asJson);
    if (itd.most > arguments.mostItd || level.most > arguments.mostLevel || spectrum.most > arguments.mostSpectrum)
        throw tools::Failure("The sets differ by more than was allowed.");
}

} // namespace

void AddDiff(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("diff", "Compare two sets in the directions that both have");
    command->add_option("FIRST", arguments->first, "a set, - for standard input, or built-in")->required();
    command->add_option("SECOND", arguments->second, "the other")->required();
    AddRate(*command, "--first-rate", arguments->firstRate, "the rate that the first is for");
    AddRate(*command, "--second-rate", arguments->secondRate, "the rate that the second is for");
    command->add_option("--up-to", arguments->reach, "highest frequency of the magnitudes")
        ->check(CLI::Range(100.0, 192000.0).description(""))
        ->type_name("HZ")
        ->capture_default_str();
    const auto most = [&](const char* name, double& value, const char* description) {
        command->add_option(name, value, description)->check(CLI::Range(0.0, 1e9).description(""))->type_name("X");
    };
    most("--max-itd", arguments->mostItd, "fail beyond this difference in time, in the first's samples");
    most("--max-level", arguments->mostLevel, "fail beyond this difference in an ear's level, in dB");
    most("--max-spectrum", arguments->mostSpectrum, "fail beyond this difference in a magnitude, in dB");
    command->add_flag("--json", arguments->asJson, "in JSON");
    command->callback([arguments] { Run(*arguments); });
}

} // namespace kal::hrtf
