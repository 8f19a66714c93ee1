#include "Kal/Space/KalSpatializerSource.h"

#include <algorithm>
#include <cmath>

namespace kal {
namespace {

constexpr float kFadeLength = 128.0f; // samples
constexpr float kFadeStep = 1.0f / kFadeLength;
constexpr float kDegrees = 57.295776f; // per radian; not the nearest float but one step below

} // namespace

void Spatializer::Source::Mix(const float* input, int offset, int count, float azimuth, float elevation)
{
    if (spatializer.expired()) return;

    azimuth = std::isfinite(azimuth) ? azimuth - 360.0f * std::floor(azimuth / 360.0f + 0.5f) : 0.0f;
    elevation = std::isnan(elevation) ? 0.0f : std::clamp(elevation, -90.0f, 90.0f);
    const Angle::Side newSide = azimuth < 0.0f ? Angle::Mirrored : Angle::Direct;
    const std::shared_ptr<Angle>& target = directions->Nearest(std::fabs(azimuth), elevation);

    if (!current) {
        current = target;
        side = newSide;
    }
    if (!next) {
        if (target == current && newSide == side) {
            current->Add(side, offset, input, count);
            return;
        }
        next = target;
        fadePosition = 0.0f;
    }

    const float fadeOut = 1.0f - fadePosition;
    const int length = std::min(static_cast<int>(fadeOut * kFadeLength), count);
    current->Add(side, offset, input, length, fadeOut, -kFadeStep);
    next->Add(newSide, offset, input, length, fadePosition, kFadeStep);
    if (length < count) {
        current = std::move(next);
        side = newSide;
        current->Add(side, offset + length, input + length, count - length);
    } else {
        fadePosition += static_cast<float>(count) * kFadeStep;
    }
}

void Spatializer::Source::Mix(const float* input, int offset, int count, const Vector3& direction)
{
    const auto [x, y, z] = direction;
    const float flat = std::sqrt(x * x + z * z);
    const float azimuth = x == 0.0f && z == 0.0f ? 0.0f : std::atan2(x, z) * kDegrees;
    const float elevation = flat == 0.0f && y == 0.0f ? 0.0f : std::atan2(y, flat) * kDegrees;
    Mix(input, offset, count, azimuth, elevation);
}

} // namespace kal
