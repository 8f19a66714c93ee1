#pragma once

#include "Kal/Base/KalTypes.h"

namespace kal {

/// A direction as the listener sees it, degrees.
struct Bearing {
    float azimuth;   ///< clockwise from ahead, -180 ... 180
    float elevation; ///< upwards, -90 ... 90

    /// [any] Brings angles within their ranges: an azimuth of any size, an elevation by limiting it. What is not a
    /// number counts as 0.
    static Bearing Of(float azimuth, float elevation);

    /// [any] Where a vector from the listener points, of any length: +x right, +y up, +z ahead.
    static Bearing Of(const Vector3& direction);

    /// [any] Whether the mirror image of a measured direction serves it.
    bool IsLeft() const { return azimuth < 0.0f; }
};

} // namespace kal
