#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Report.h"
#include "tools/kalhrtf/Sets.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace kal::hrtf {
namespace {

struct Arguments {
    std::string set = kBuiltIn;
    double rate = kUsualRate;
    bool asJson = false;
};

/// The least and the largest of some numbers.
struct Range {
    void Add(double x)
    {
        least = std::min(least, x);
        most = std::max(most, x);
    }
    nlohmann::ordered_json Json() const { return {{"min", least}, {"max", most}}; }

    double least = std::numeric_limits<double>::infinity(), most = -least;
};

std::string Sha256(const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", digest[i]);
        text += pair;
    }
    return text;
}

void Run(const Arguments& arguments)
{
    const HrtfSet set = LoadSoundingSet(arguments.set);
    Range taps, itd, ild;
    double peak = 0.0;
    std::size_t directions = 0;
    auto rings = nlohmann::ordered_json::array();
    std::string list = "elevations (and directions):";
    for (const HrtfRing& ring : set) {
        for (const HrtfAngle& angle : ring.angles) {
            const Pair responses = ResponsesOf(angle);
            const Hearing heard = HearingOf(responses);
            taps.Add(static_cast<double>(responses.left.size()));
            itd.Add(heard.itd);
            ild.Add(heard.ild);
            for (const Signal* ear : {&responses.left, &responses.right})
                for (const double x : *ear) peak = std::max(peak, std::fabs(x));
        }
        directions += ring.angles.size();
        rings.push_back({{"elevation", ring.elevation},
                         {"directions", ring.angles.size()},
                         {"first_azimuth", ring.angles.front().azimuth},
                         {"last_azimuth", ring.angles.back().azimuth}});
        char entry[48];
        std::snprintf(entry, sizeof entry, " %g (%zu)", static_cast<double>(ring.elevation), ring.angles.size());
        list += entry;
    }
    const auto range = [](const Range& of, double scale, const char* unit) {
        char text[96];
        std::snprintf(text, sizeof text, "%.1f ... %.1f %s", of.least * scale, of.most * scale, unit);
        return std::string(text);
    };
    char lengths[64];
    std::snprintf(lengths, sizeof lengths, taps.least == taps.most ? "taps an ear: %g" : "taps an ear: %g ... %g",
                  taps.least, taps.most);
    Report report;
    report.Add("rings", std::move(rings), list);
    report.Add("directions", directions, "directions: %s");
    report.Add("taps", taps.Json(), lengths);
    report.Add("peak", peak, "largest sample: %s");
    report.Add("itd_samples", itd.Json(),
               "time by which the right ear is earlier: " + range(itd, 1.0, "samples, ") +
                   range(itd, 1e6 / arguments.rate, "microseconds"));
    report.Add("ild_db", ild.Json(), "level by which the right ear is louder: " + range(ild, 1.0, "dB"));
    report.Add("sha256", Sha256(WriteHrtfSet(set)), "SHA-256: %s");
    report.Print(arguments.asJson);
}

} // namespace

void AddInfo(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("info", "Tell what a set holds");
    command->add_option("SET", arguments->set, "the set, - for standard input")->capture_default_str();
    AddRate(*command, "-r,--rate", arguments->rate, "the rate that it is for");
    command->add_flag("--json", arguments->asJson, "in JSON");
    command->callback([arguments] { Run(*arguments); });
}

} // namespace kal::hrtf
