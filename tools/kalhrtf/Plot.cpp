#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Sets.h"
#include "tools/support/Cli.h"
#include "tools/support/PendingFile.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>

namespace kal::hrtf {
namespace {

struct Arguments {
    std::string first, second, output;
    double elevation = 0.0, azimuth = 60.0, rate = kUsualRate;
};

const HrtfRing& NearestRing(const HrtfSet& set, double elevation)
{
    return *std::min_element(set.begin(), set.end(), [&](const HrtfRing& a, const HrtfRing& b) {
        return std::fabs(a.elevation - elevation) < std::fabs(b.elevation - elevation);
    });
}

const HrtfAngle& NearestAngle(const HrtfRing& ring, double azimuth)
{
    return *std::min_element(ring.angles.begin(), ring.angles.end(), [&](const HrtfAngle& a, const HrtfAngle& b) {
        return std::fabs(a.azimuth - azimuth) < std::fabs(b.azimuth - azimuth);
    });
}

// All around: the left is the mirror image of the right.
template<class Use>
void ForEachAzimuth(const HrtfRing& ring, Use use)
{
    for (std::size_t i = ring.angles.size(); i-- > 0;) {
        const HrtfAngle& angle = ring.angles[i];
        const Pair here = ResponsesOf(angle);
        if (angle.azimuth > 0.0f) use(-angle.azimuth, Pair{here.right, here.left});
    }
    for (const HrtfAngle& angle : ring.angles) use(angle.azimuth, ResponsesOf(angle));
}

/// The data of a picture and the commands that draw it.
class Script {
public:
    Script(const std::string& output, const Arguments& given) : arguments(given)
    {
        const std::string ending = output.substr(std::min(output.rfind('.'), output.size()));
        static const std::map<std::string, const char*> terminals = {{".png", "pngcairo size 1500, 900 font ',11'"},
                                                                     {".svg", "svg size 1500, 900 font ',11'"},
                                                                     {".pdf", "pdfcairo size 15, 9 font ',11'"}};
        const auto terminal = terminals.find(ending);
        if (terminal == terminals.end()) throw tools::Failure(output + " is to end in .png, .svg or .pdf.");
        text << "set terminal " << terminal->second << "\n";
    }

    void AddSet(const std::string& path)
    {
        const HrtfSet set = LoadSoundingSet(path);
        const HrtfRing& ring = NearestRing(set, arguments.elevation);
        const std::string number = std::to_string(names.size());
        text << "$around" << number << " << EOD\n"; // azimuth, ILD, ITD in microseconds, level of the right ear
        ForEachAzimuth(ring, [&](float azimuth, const Pair& responses) {
            const Hearing heard = HearingOf(responses);
            text << azimuth << ' ' << heard.ild << ' ' << heard.itd / arguments.rate * 1e6 << ' ' << heard.right
                 << '\n';
        });
        text << "EOD\n";

        const Pair one = ResponsesOf(NearestAngle(ring, arguments.azimuth));
        text << "$response" << number << " << EOD\n"; // milliseconds, left, right
        for (std::size_t i = 0; i < one.left.size(); ++i)
            text << 1000.0 * static_cast<double>(i) / arguments.rate << ' ' << one.left[i] << ' ' << one.right[i]
                 << '\n';
        text << "EOD\n$spectrum" << number << " << EOD\n"; // Hz, dB of the left, dB of the right
        const Signal left = PowerSpectrum(one.left, kSize), right = PowerSpectrum(one.right, kSize);
        for (int k = 1; k <= kSize / 2; ++k)
            text << Frequency(k) << ' ' << Decibels(left[k] + 1e-12) << ' ' << Decibels(right[k] + 1e-12) << '\n';
        text << "EOD\n";

        if (names.empty()) {
            text << "$map << EOD\n"; // azimuth, Hz, dB of the right ear
            ForEachAzimuth(ring, [&](float azimuth, const Pair& responses) {
                const Signal power = PowerSpectrum(responses.right, kSize);
                for (int k = 8; k <= kSize / 2; k += 1 + k / 16)
                    text << azimuth << ' ' << Frequency(k) << ' ' << Decibels(power[k] + 1e-12) << '\n';
                text << '\n';
            });
            text << "EOD\n";
        }
        names.push_back(std::filesystem::path(path).filename());
    }

    std::string Finish(const std::string& path)
    {
        const std::string at = "elevation " + Plain(arguments.elevation);
        text << "set output " << Quoted(path) << "\nset multiplot layout 2, 3\nset grid\nset key top left\n"
             << "set xrange [-180:180]\nset xtics 60\nset xlabel 'azimuth in degrees'\n";
        Lines("level difference of the ears in dB, " + at, "around", {"2"});
        Lines("time difference of the ears in µs, " + at, "around", {"3"});
        Lines("level of the right ear in dB, " + at, "around", {"4"});
        text << "set title " << Quoted("right ear of " + names[0] + " in dB, " + at)
             << " noenhanced\nset logscale y\nset yrange [200:20000]\nset cbrange [-40:20]\nset ylabel 'Hz'\nset pm3d "
                "map\n"
             << "splot $map using 1:2:3 with pm3d notitle\n"
             << "unset logscale y\nset autoscale y\nunset pm3d\nunset ylabel\nset autoscale x\nset xtics auto\n";
        const std::string one = at + ", azimuth " + Plain(arguments.azimuth);
        text << "set key bottom left\nset xlabel 'Hz'\nset logscale x\nset xrange [100:20000]\nset yrange [-50:25]\n";
        Lines("magnitudes in dB, " + one, "spectrum", {"2", "3"});
        text << "set key top right\nunset logscale x\nset autoscale x\nset autoscale y\nset xlabel 'ms'\n";
        Lines("responses, " + one, "response", {"2", "3"});
        text << "unset multiplot\nunset output\n";
        return text.str();
    }

private:
    static constexpr int kSize = 2048; // for spectra

    static std::string Quoted(const std::string& name)
    {
        std::string quoted = "'";
        for (const char c : name) quoted += c == '\'' ? "''" : std::string(1, c);
        return quoted + "'";
    }

    static std::string Plain(double x)
    {
        char plain[32];
        std::snprintf(plain, sizeof plain, "%g", x);
        return plain;
    }

    double Frequency(int bin) const { return bin * arguments.rate / kSize; }

    // One curve of each set for every column.
    void Lines(const std::string& title, const std::string& data, const std::vector<std::string>& columns)
    {
        text << "set title " << Quoted(title) << "\nplot ";
        for (std::size_t i = 0; i < names.size(); ++i) {
            for (const std::string& column : columns) {
                const std::string ear = columns.size() == 1 ? "" : column == "2" ? ", left" : ", right";
                text << (i == 0 && column == columns[0] ? "" : ", ") << '$' << data << i << " using 1:" << column
                     << " with lines linewidth 1.5 dashtype " << i + 1 << " linecolor "
                     << (columns.size() == 1 ? std::to_string(i + 1) : column) << " title " << Quoted(names[i] + ear)
                     << " noenhanced";
            }
        }
        text << "\n";
    }

    const Arguments& arguments;
    std::vector<std::string> names;
    std::ostringstream text;
};

void Run(const Arguments& arguments)
{
    Script script(arguments.output, arguments);
    script.AddSet(arguments.first);
    if (!arguments.second.empty()) script.AddSet(arguments.second);
    tools::PendingFile picture(arguments.output);
    const std::string text = script.Finish(picture.Path());
    std::signal(SIGPIPE, SIG_IGN); // a gnuplot that is not there reads nothing
    std::FILE* gnuplot = popen("gnuplot 2>/dev/null", "w");
    if (gnuplot) std::fputs(text.c_str(), gnuplot);
    if (!gnuplot || pclose(gnuplot) != 0)
        throw tools::Failure("gnuplot cannot draw " + arguments.output + "; is it installed?");
    picture.Commit();
}

} // namespace

void AddPlot(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("plot", "Draw a set, or two over each other (needs gnuplot)");
    command->add_option("SET", arguments->first, "the set, - for standard input, or built-in")->required();
    command->add_option("OTHER", arguments->second, "a set to draw dashed beside it");
    command->add_option("-o,--output", arguments->output, "the picture to write: .png, .svg or .pdf")
        ->type_name("FILE")
        ->required();
    command->add_option("--elevation", arguments->elevation, "the ring to go around, in degrees")
        ->capture_default_str();
    command->add_option("--azimuth", arguments->azimuth, "the direction whose responses are drawn")
        ->capture_default_str();
    AddRate(*command, "-r,--rate", arguments->rate, "the rate that the sets are for");
    command->callback([arguments] { Run(*arguments); });
}

} // namespace kal::hrtf
