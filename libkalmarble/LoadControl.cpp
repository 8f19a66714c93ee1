#include "libkalmarble/LoadControl.h"

#include "Kal/Base/KalInternals.h"

#include <algorithm>
#include <cstdint>

namespace kalmarble {

namespace {

constexpr int kLeastLimit = 16;

// What is left of the full-load share, so that the next blocks have headroom.
constexpr double kLoadMargin = 0.8;

int Raised(int limit, int by, int maxPolyphonics)
{
    return static_cast<int>(std::min<std::int64_t>(std::int64_t{limit} + by, maxPolyphonics));
}

} // namespace

int RaisedPolyphonyLimit(int limit, int maxPolyphonics)
{
    return Raised(limit, 1, maxPolyphonics);
}

PolyphonyAdjustment AdjustedPolyphonyLimit(double elapsed, double duration, int count, int limit, int maxPolyphonics)
{
    if (count <= 0) return {limit, std::nullopt};
    if (elapsed <= 0.5 * duration) return {count == limit ? Raised(limit, 2, maxPolyphonics) : limit, std::nullopt};

    const int affordable = kal::SaturatedToInt32(count * (duration / elapsed) * kLoadMargin);
    const int newLimit = std::max(std::min(affordable, maxPolyphonics), kLeastLimit);
    if (newLimit >= maxPolyphonics) return {newLimit, std::nullopt};
    return {newLimit, LoadPercent(elapsed, duration)};
}

std::optional<int> LateReadPercent(double elapsed, double duration)
{
    if (elapsed > 0.2 * duration) return LoadPercent(elapsed, duration);
    return std::nullopt;
}

int LoadPercent(double elapsed, double duration)
{
    return kal::SaturatedToInt32(elapsed / duration * 100.0);
}

} // namespace kalmarble
