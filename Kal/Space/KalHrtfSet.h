#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kal {

/// One measured direction of a set.
struct HrtfAngle {
    float azimuth;                  ///< degrees, clockwise from ahead
    std::vector<float> left, right; ///< the responses of either ear, equally long
};

/// The directions of one elevation.
struct HrtfRing {
    float elevation; ///< degrees, upwards
    std::vector<HrtfAngle> angles;
};

/// A set of head-related impulse responses as plain values. Elevations ascend, and so do the azimuths of each ring.
using HrtfSet = std::vector<HrtfRing>;

/// [control] The set that these bytes hold. They are little-endian and packed:
///     "KALHRTFD", int32 rings, then per ring float32 elevation, int32 angles, then per angle float32 azimuth,
///     uint32 length, float32[length] left response, float32[length] right response.
/// Counts below zero are read as zero; bytes after the last ring are not looked at.
/// @throws kal::Exception "Invalid KAL HRTF data: wrong signature.", "Invalid KAL HRTF data: file truncated." or
/// "Invalid KAL HRTF data: bad data.", the latter for a sample outside -1 ... 1, a length that is not a power of two
/// and an elevation or azimuth that is not a number. What is cut is truncated, whatever the values before the cut.
HrtfSet ReadHrtfSet(std::string_view bytes);

/// [control] The bytes that ReadHrtfSet reads the set from. Values are written as they are.
std::string WriteHrtfSet(const HrtfSet& set);

} // namespace kal
