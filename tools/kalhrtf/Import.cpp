#include "tools/kalhrtf/Import.h"

#include "tools/kalhrtf/Placement.h"
#include "tools/support/Cli.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace kal::hrtf {
namespace {

/// Responses as the grid has its directions, ring by ring.
using Field = std::vector<std::vector<Pair>>;

template<class Change>
void ForEachEar(Field& field, Change change)
{
    for (auto& ring : field)
        for (Pair& pair : ring)
            for (Signal* ear : {&pair.left, &pair.right}) change(*ear);
}

Pair Swapped(Pair pair)
{
    std::swap(pair.left, pair.right);
    return pair;
}

Signal MeanOf(const Signal& a, const Signal& b)
{
    return Mixed({{&a, Onset(a), 0.5}, {&b, Onset(b), 0.5}});
}

// How the two halves of the head differ: what a set, which holds one half, cannot tell.
struct Asymmetry {
    void Count(const Pair& right, const Pair& left)
    {
        const Hearing a = HearingOf(right), b = HearingOf(left);
        squares += std::pow(a.left - b.left, 2) + std::pow(a.right - b.right, 2);
        delays += std::pow(a.itd - b.itd, 2);
        ++count;
    }
    double Level() const { return count ? std::sqrt(squares / (2.0 * count)) : 0.0; }
    double Delay() const { return count ? std::sqrt(delays / count) : 0.0; }

    double squares = 0.0, delays = 0.0;
    int count = 0;
};

Field Place(const Head& head, const ImportSettings& settings, Report& report)
{
    const Placement placement(head);
    Asymmetry asymmetry;
    double farthest = 0.0, sum = 0.0;
    int outside = 0, all = 0;
    Field field;
    for (const GridRing& ring : settings.grid) {
        auto& responses = field.emplace_back();
        for (const float azimuth : ring.azimuths) {
            const Placement::Placed right = placement.At({azimuth, ring.elevation});
            const Pair left = Swapped(placement.At({-azimuth, ring.elevation}).responses);
            const bool isMiddle = azimuth == 0.0f || azimuth == 180.0f || std::fabs(ring.elevation) == 90.0f;
            if (!isMiddle) asymmetry.Count(right.responses, left);
            Pair pair = settings.side == Side::Left ? left : right.responses;
            if (settings.side == Side::Mean)
                pair = {MeanOf(right.responses.left, left.left), MeanOf(right.responses.right, left.right)};
            // Both halves meet here, so that a voice may cross without a jump.
            if (isMiddle) pair.left = pair.right = MeanOf(pair.left, pair.right);
            responses.push_back(std::move(pair));
            farthest = std::max(farthest, right.toNearest);
            sum += right.toNearest;
            outside += right.isOutside;
            ++all;
        }
    }
    // A horizontal circle alone leaves the zenith 90 degrees away; coordinates that mean something else leave more.
    if (farthest > 90.5)
        throw tools::Failure("The head's measurements leave a direction of the set " + std::to_string(farthest) +
                             " degrees from the nearest; are its coordinates what they say?");
    report.Add("measurements", head.measurements.size(), "measurements: %s");
    report.Add("near_dropped", placement.NumNear(), "left out, as farther ones are in the same direction: %s");
    report.Add("directions", all, "directions of the set: %s");
    report.Add("directions_outside", outside, "directions beyond the measurements, taken from the nearest: %s");
    report.Add("to_nearest_max_degrees", farthest, "to the nearest measurement: %s degrees at most");
    report.Add("to_nearest_mean_degrees", sum / all, "to the nearest measurement: %s degrees on average");
    report.Add("asymmetry_db", asymmetry.Level(), "the two halves of the head differ by %s dB (root mean square)");
    report.Add("asymmetry_samples", asymmetry.Delay(), "and in time difference by %s samples of the file");
    return field;
}

// One filter for all directions and both ears, so that what tells directions apart stays.
Signal TimbreFilter(const Field& field, const ImportSettings& settings)
{
    constexpr int kSize = 1024;
    constexpr double kMostGain = 100.0, kFloor = 1e-9;
    Signal own(kSize / 2 + 1);
    double areas = 0.0;
    for (std::size_t i = 0; i < field.size(); ++i) {
        const double area = AreaOf(settings.grid[i].elevation, field[i].size());
        for (const Pair& pair : field[i]) {
            const int size = static_cast<int>(std::max<std::size_t>(kSize, std::bit_ceil(pair.left.size())));
            const Signal a = PowerSpectrum(pair.left, size), b = PowerSpectrum(pair.right, size);
            for (std::size_t k = 0; k < own.size(); ++k) own[k] += area * (a[k * size / kSize] + b[k * size / kSize]);
            areas += 2.0 * area;
        }
    }
    const Signal wanted = MeanPowerSpectrum(*settings.timbre, kSize);
    for (std::size_t k = 0; k < own.size(); ++k) {
        const double bin = static_cast<double>(k) * settings.samplingRate / kUsualRate;
        const double goal = wanted[std::min(static_cast<std::size_t>(std::lround(bin)), wanted.size() - 1)];
        own[k] = std::clamp((goal + kFloor) / (own[k] / areas + kFloor), 1.0 / kMostGain, kMostGain);
    }
    return MinimumPhase(own);
}

// Power in hertz, so that sets of several rates compare.
double MeanPower(const HrtfSet& set, double samplingRate)
{
    double sum = 0.0, areas = 0.0;
    for (const HrtfRing& ring : set) {
        const double area = AreaOf(ring.elevation, ring.angles.size());
        for (const HrtfAngle& angle : ring.angles) {
            const auto [left, right] = ResponsesOf(angle);
            sum += area * (Energy(left) + Energy(right));
            areas += area;
        }
    }
    return sum / areas * samplingRate;
}

} // namespace

HrtfSet Cut(const Field& field, const Grid& grid, int lead, int taps, Report& report)
{
    double earliest = 1e9;
    for (const auto& ring : field)
        for (const Pair& pair : ring) earliest = std::min({earliest, Onset(pair.left), Onset(pair.right)});
    const int start = static_cast<int>(std::floor(earliest)) - lead, fade = taps / 16;

    double most = 0.0, lost = 0.0, all = 0.0;
    const auto cut = [&](const Signal& whole) {
        std::vector<float> part(taps);
        double kept = 0.0;
        for (int i = std::max(0, -start); i < taps && start + i < static_cast<int>(whole.size()); ++i) {
            const int left = taps - i; // 1 for the last one
            const double gain = left > fade ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * left / (fade + 1));
            part[i] = static_cast<float>(gain * whole[start + i]);
            kept += std::pow(gain * whole[start + i], 2);
        }
        const double energy = Energy(whole);
        most = std::max(most, 1.0 - kept / energy);
        lost += energy - kept;
        all += energy;
        return part;
    };
    HrtfSet set;
    for (std::size_t i = 0; i < grid.size(); ++i) {
        set.push_back({grid[i].elevation, {}});
        for (std::size_t j = 0; j < field[i].size(); ++j)
            set.back().angles.push_back({grid[i].azimuths[j], cut(field[i][j].left), cut(field[i][j].right)});
    }
    const auto decibels = [](double share) { return Decibels(std::max(share, 1e-15)); };
    report.Add("taps", taps, "taps an ear: %s");
    report.Add("start_sample", start, "of each response, taken from its sample %s on");
    report.Add("lost_db", decibels(lost / all), "energy beyond the taps: %s dB of all");
    report.Add("lost_max_db", decibels(most), "and of the response that loses most: %s dB");
    return set;
}

HrtfSet Import(const Head& head, const ImportSettings& settings, Report& report)
{
    report.Add("head", head.title, "head: %s");
    report.Add("file_rate", head.samplingRate, "sampling rate of the file: %s Hz");
    report.Add("rate", settings.samplingRate, "sampling rate of the set: %s Hz");
    Field field = Place(head, settings, report);
    ForEachEar(field, [&](Signal& ear) { ear = Resampled(ear, head.samplingRate, settings.samplingRate); });
    if (settings.timbre) {
        const Signal filter = TimbreFilter(field, settings);
        ForEachEar(field, [&](Signal& ear) { ear = Filtered(ear, filter, ear.size() + filter.size() / 2); });
    }
    constexpr int kLead = 4; // taps
    HrtfSet set = Cut(field, settings.grid, kLead, settings.taps, report);

    // As loud as the set that is built in, on average over the sphere, where no sample is beyond 1 then.
    const double gain = std::sqrt(MeanPower(LoadSet(kBuiltIn), kUsualRate) / MeanPower(set, settings.samplingRate));
    ForEachEar(set, [&](std::vector<float>& ear) {
        for (float& x : ear) x = static_cast<float>(x * gain);
    });
    const double below = LimitPeak(set);
    report.Add("gain_db", 2.0 * Decibels(gain) - below, "level changed by %s dB, to be as loud as the built-in set");
    report.Add("below_built_in_db", below, below > 0.0 ? "but softer than it, to stay within 1, by %s dB" : "");
    return set;
}

} // namespace kal::hrtf
