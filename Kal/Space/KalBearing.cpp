#include "Kal/Space/KalBearing.h"

#include "Kal/Space/KalArctangent.h"

#include <algorithm>
#include <cmath>

namespace kal {
namespace {

constexpr float kDegrees = 57.295776f; // per radian; not the nearest float but one step below

} // namespace

Bearing Bearing::Of(float azimuth, float elevation)
{
    return {std::isfinite(azimuth) ? azimuth - 360.0f * std::floor(azimuth / 360.0f + 0.5f) : 0.0f,
            std::isnan(elevation) ? 0.0f : std::clamp(elevation, -90.0f, 90.0f)};
}

Bearing Bearing::Of(const Vector3& direction)
{
    const auto [x, y, z] = direction;
    const float flat = std::sqrt(x * x + z * z);
    const float azimuth = x == 0.0f && z == 0.0f ? 0.0f : Arctangent(x, z) * kDegrees;
    const float elevation = flat == 0.0f && y == 0.0f ? 0.0f : Arctangent(y, flat) * kDegrees;
    return Of(azimuth, elevation);
}

} // namespace kal
