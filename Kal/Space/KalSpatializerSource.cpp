#include "Kal/Space/KalSpatializer.h"

#include <algorithm>
#include <cmath>

namespace kal {
namespace {

constexpr float kFadeLength = 128.0f; // samples
constexpr float kFadeStep = 1.0f / kFadeLength;
constexpr float kDegrees = 57.295776f; // per radian; not the nearest float but one step below

} // namespace

void Spatializer::Angle::Add(Side side, int offset, const float* __restrict samples, int count, float gain, float step)
{
    if (count <= 0) return;
    Input& input = inputs[side];
    if (!input.used) {
        const std::lock_guard lock(clearMutex);
        if (!input.used) {
            std::fill_n(input.signal.Frames(), bank.NumFrames(), 0.0f);
            input.used = true;
        }
    }
    const std::lock_guard lock(input.mutex);
    float* __restrict out = input.signal.Frames() + offset;
    if (step == 0.0f) {
        for (int i = 0; i < count; ++i) out[i] += samples[i];
        return;
    }
    // The gains of a fade are multiples of 1/128 up to 1 and exact in float: a product of the step is what adding up
    // the step yields, and there is no chain from one sample to the next.
    for (int i = 0; i < count; ++i) out[i] += samples[i] * (gain + static_cast<float>(i) * step);
}

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
