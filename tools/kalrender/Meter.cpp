#include "Meter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace kalrender {

namespace {

double Decibels(double amplitude)
{
    return 20.0 * std::log10(amplitude);
}

// To a hundredth; JSON has no infinity.
nlohmann::json Rounded(double value)
{
    if (!std::isfinite(value)) return nullptr;
    return std::round(value * 100.0) / 100.0;
}

} // namespace

Meter::Meter(int samplingRate)
    : loudness(ebur128_init(2, static_cast<unsigned long>(samplingRate),
                            EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_TRUE_PEAK))
{
    if (!loudness) throw std::runtime_error("loudness cannot be measured at this sampling rate");
}

void Meter::Add(const float* frames, int count)
{
    ebur128_add_frames_float(loudness.get(), frames, static_cast<std::size_t>(count));
    for (int i = 0; i < 2 * count; ++i) {
        const int ear = i % 2;
        const float size = std::abs(frames[i]);
        peak[ear] = std::max(peak[ear], double{size});
        energy[ear] += double{size} * size;
        recent.peak[ear] = std::max(recent.peak[ear], size);
        recent.rms[ear] += size * size;
        if (ear == 1 && std::max(size, std::abs(frames[i - 1])) > 1.0f) ++clippedFrames;
    }
    numFrames += count;
    recentFrames += count;
}

Meter::Levels Meter::TakeLevels()
{
    for (float& rms : recent.rms) rms = std::sqrt(rms / static_cast<float>(std::max<std::int64_t>(1, recentFrames)));
    recentFrames = 0;
    return std::exchange(recent, {});
}

double Meter::PeakDb() const
{
    return Decibels(std::max(peak[0], peak[1]));
}

double Meter::Loudness() const
{
    double value = 0.0;
    ebur128_loudness_global(loudness.get(), &value);
    return value;
}

nlohmann::json Meter::Report() const
{
    const auto rms = [&](int ear) { return Rounded(Decibels(std::sqrt(energy[ear] / double(numFrames)))); };
    const auto truePeak = [&](unsigned ear) {
        double value = 0.0;
        ebur128_true_peak(loudness.get(), ear, &value);
        return Rounded(Decibels(value));
    };
    double range = 0.0;
    ebur128_loudness_range(loudness.get(), &range);
    return {
        {"peakDbfs", {Rounded(Decibels(peak[0])), Rounded(Decibels(peak[1]))}},
        {"truePeakDbtp", {truePeak(0), truePeak(1)}},
        {"rmsDbfs", {rms(0), rms(1)}},
        {"integratedLufs", Rounded(Loudness())},
        {"loudnessRangeLu", Rounded(range)},
        {"clippedFrames", clippedFrames},
    };
}

} // namespace kalrender
