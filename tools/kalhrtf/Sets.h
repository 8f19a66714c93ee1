#pragma once

#include "Kal/Space/KalHrtfSet.h"
#include "tools/kalhrtf/Head.h"

#include <string>
#include <vector>

namespace kal::hrtf {

/// The rate at which the set that ships was measured. The format carries none, so every set is taken to be at this one
/// where none is named.
constexpr double kUsualRate = 44100.0;

/// What a user names the set that is built into the library by.
constexpr char kBuiltIn[] = "built-in";

/// The elevations and azimuths of a set, without its responses.
struct GridRing {
    float elevation;
    std::vector<float> azimuths;
};
using Grid = std::vector<GridRing>;

/// The set in a file, in standard input for "-", or the one that is built in.
/// @throws tools::Failure with the loader's sentence
HrtfSet LoadSet(const std::string& path);

/// True if nothing is heard of a direction in one ear.
bool IsSilent(const HrtfAngle& angle);

/// As LoadSet, and every voice can be placed with it and is heard: there are rings, none is empty, no response is
/// silent and the keys are finite.
HrtfSet LoadSoundingSet(const std::string& path);

/// Lowers all samples, where one is beyond 1, until none is. Returns by how many dB.
double LimitPeak(HrtfSet& set);

template<class Use>
void ForEachEar(HrtfSet& set, Use use)
{
    for (HrtfRing& ring : set)
        for (HrtfAngle& angle : ring.angles)
            for (auto* ear : {&angle.left, &angle.right}) use(*ear);
}

Grid GridOf(const HrtfSet& set);

/// The grid of a set, by its name, or one in words: "-45:13,0:37,90:1" has 13, 37 and 1 directions at these elevations,
/// evenly spread over azimuths of 0 ... 180 degrees.
/// @throws tools::Failure
Grid ParseGrid(const std::string& text);

Pair ResponsesOf(const HrtfAngle& angle);

/// What is heard of one direction.
struct Hearing {
    double itd;         ///< samples by which the right ear is earlier
    double ild;         ///< dB by which the right ear is louder
    double left, right; ///< dB, the energy of either response
};
Hearing HearingOf(const Pair& responses);

/// The share of the sphere that a direction stands for, up to a common factor.
double AreaOf(float elevation, std::size_t directionsInRing);

/// The mean |H|^2 of both ears over the sphere, as PowerSpectrum has it.
Signal MeanPowerSpectrum(const HrtfSet& set, int size);

} // namespace kal::hrtf
