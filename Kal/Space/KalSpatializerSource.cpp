#include "Kal/Space/KalSpatializerSource.h"

#include <algorithm>

namespace kal {
namespace {

constexpr float kFadeLength = 128.0f; // samples
constexpr float kFadeStep = 1.0f / kFadeLength;

} // namespace

void Spatializer::Source::Mix(const float* input, int offset, int count, float azimuth, float elevation)
{
    Mix(input, offset, count, Bearing::Of(azimuth, elevation));
}

void Spatializer::Source::Mix(const float* input, int offset, int count, const Vector3& direction)
{
    Mix(input, offset, count, Bearing::Of(direction));
}

void Spatializer::Source::Mix(const float* input, int offset, int count, const Bearing& bearing)
{
    if (spatializer.expired()) return;

    const Angle::Side newSide = bearing.IsLeft() ? Angle::Mirrored : Angle::Direct;
    const std::shared_ptr<Angle>& target = directions->Nearest(bearing);

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

} // namespace kal
