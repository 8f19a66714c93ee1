#include "tools/kalhrtf/Sets.h"

#include "Kal/Space/KalHrtf.h"
#include "tools/support/Cli.h"
#include "tools/support/Files.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <regex>

namespace kal::hrtf {

HrtfSet LoadSet(const std::string& path)
{
    if (path == kBuiltIn) return ReadHrtfSet({reinterpret_cast<const char*>(hrtfData), hrtfDataSize});
    const std::string bytes = tools::ReadFile(path);
    try {
        return ReadHrtfSet(bytes);
    } catch (const std::exception& failure) {
        throw tools::Failure((path == "-" ? "Standard input" : path) + ": " + failure.what());
    }
}

bool IsSilent(const HrtfAngle& angle)
{
    const auto isZero = [](float x) { return x == 0.0f; };
    return std::all_of(angle.left.begin(), angle.left.end(), isZero) ||
           std::all_of(angle.right.begin(), angle.right.end(), isZero);
}

HrtfSet LoadSoundingSet(const std::string& path)
{
    HrtfSet set = LoadSet(path);
    bool sounds = !set.empty();
    for (const HrtfRing& ring : set) {
        sounds = sounds && std::isfinite(ring.elevation) && !ring.angles.empty();
        for (const HrtfAngle& angle : ring.angles) sounds = sounds && std::isfinite(angle.azimuth) && !IsSilent(angle);
    }
    if (!sounds) throw tools::Failure(path + " lacks directions or is silent in some; kalhrtf check tells more.");
    return set;
}

double LimitPeak(HrtfSet& set)
{
    float peak = 1.0f;
    ForEachEar(set, [&](std::vector<float>& ear) {
        for (const float x : ear) peak = std::max(peak, std::fabs(x));
    });
    ForEachEar(set, [&](std::vector<float>& ear) {
        for (float& x : ear) x /= peak; // never beyond 1: the largest becomes 1 exactly
    });
    return 2.0 * Decibels(peak);
}

Grid GridOf(const HrtfSet& set)
{
    Grid grid;
    for (const HrtfRing& ring : set) {
        GridRing& here = grid.emplace_back(GridRing{ring.elevation, {}});
        for (const HrtfAngle& angle : ring.angles) here.azimuths.push_back(angle.azimuth);
    }
    return grid;
}

Grid ParseGrid(const std::string& text)
{
    static const std::regex wholly(R"((-?[0-9.]+:[0-9]{1,4})(,-?[0-9.]+:[0-9]{1,4})*)"), ring("(-?[0-9.]+):([0-9]+)");
    if (!std::regex_match(text, wholly)) return GridOf(LoadSet(text));
    Grid grid;
    for (std::sregex_iterator match(text.begin(), text.end(), ring), end; match != end; ++match) {
        const float elevation = std::strtof((*match)[1].str().c_str(), nullptr);
        const int count = std::stoi((*match)[2]);
        if (count < 1 || std::fabs(elevation) > 90.0f || (!grid.empty() && elevation <= grid.back().elevation))
            throw tools::Failure("The rings " + text +
                                 " are not of one direction or more, at elevations that ascend from -90 to 90.");
        GridRing& here = grid.emplace_back(GridRing{elevation, {}});
        for (int i = 0; i < count; ++i)
            here.azimuths.push_back(count == 1 ? 0.0f : static_cast<float>(180.0 * i / (count - 1)));
    }
    return grid;
}

Pair ResponsesOf(const HrtfAngle& angle)
{
    return {{angle.left.begin(), angle.left.end()}, {angle.right.begin(), angle.right.end()}};
}

Hearing HearingOf(const Pair& responses)
{
    const double left = Decibels(Energy(responses.left)), right = Decibels(Energy(responses.right));
    return {Onset(responses.left) - Onset(responses.right), right - left, left, right};
}

double AreaOf(float elevation, std::size_t directionsInRing)
{
    const double around = std::max(std::cos(elevation * std::numbers::pi / 180.0), 0.02); // a pole is a small cap
    return around / static_cast<double>(directionsInRing);
}

Signal MeanPowerSpectrum(const HrtfSet& set, int size)
{
    Signal mean(size / 2 + 1);
    double areas = 0.0;
    for (const HrtfRing& ring : set) {
        const double area = AreaOf(ring.elevation, ring.angles.size());
        for (const HrtfAngle& angle : ring.angles) {
            const auto [left, right] = ResponsesOf(angle);
            const Signal a = PowerSpectrum(left, size), b = PowerSpectrum(right, size);
            for (std::size_t k = 0; k < mean.size(); ++k) mean[k] += area * (a[k] + b[k]);
            areas += 2.0 * area;
        }
    }
    for (double& power : mean) power /= areas;
    return mean;
}

} // namespace kal::hrtf
