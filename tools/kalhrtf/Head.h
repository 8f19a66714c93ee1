#pragma once

#include "tools/kalhrtf/Signal.h"

#include <string>
#include <vector>

namespace kal::hrtf {

/// The responses of both ears to one direction.
struct Pair {
    Signal left, right;
};

/// Degrees: azimuth clockwise from ahead, -180 ... 180, elevation upwards.
struct Direction {
    double azimuth, elevation;
};

/// The angle between two directions, in degrees.
double AngleBetween(const Direction& a, const Direction& b);

/// A head as it was measured, in whatever directions.
struct Head {
    struct Measurement {
        Direction direction;
        double distance; ///< metres
        Pair responses;
    };

    double samplingRate = 0.0; ///< Hz
    std::string title;         ///< for reports; may be empty
    std::vector<Measurement> measurements;
};

/// The head that a SOFA file of the convention SimpleFreeFieldHRIR holds ("-": standard input). The file is taken apart
/// in a process of its own, with bounded memory and time: the library for its format does not survive every damage.
/// All values are finite, no response is silent, and delays stored apart are part of the responses.
/// @throws tools::Failure with one sentence
Head LoadSofa(const std::string& path);

} // namespace kal::hrtf
