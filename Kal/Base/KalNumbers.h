#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace kal {

/// x truncated toward zero and kept within what 32 bits hold; NaN gives 0. A plain conversion of such a value would be
/// undefined.
inline std::int32_t SaturatedToInt32(double x)
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(x)) return 0;
    if (x <= Limits::min()) return Limits::min();
    if (x >= Limits::max()) return Limits::max();
    return static_cast<std::int32_t>(x);
}

/// x, or 0 when it is infinite or not a number: what keeps one bad number from silencing a filter for good.
inline float FiniteOrZero(float x)
{
    return std::isfinite(x) ? x : 0.0f;
}

} // namespace kal
