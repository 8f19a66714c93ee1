#pragma once

#include "Kal/Base/KalConstants.h"
#include "Kal/Platform/KalPlatform.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

// Conversions and guards that keep odd numbers from doing harm.

namespace kal {

/// [any] std::bit_cast, which not every standard library has yet.
template<class To, class From>
constexpr To BitCast(const From& from)
{
    return __builtin_bit_cast(To, from);
}

/// [any] The greatest power of two that is not above x, which is positive and not denormal. In a vector register:
/// 32-bit programs would take an integer of as many bits apart, and wait until it is whole again.
inline double PowerOfTwoUpTo(double x)
{
    using Numbers = double __attribute__((vector_size(16)));
    using Bits = std::int64_t __attribute__((vector_size(16)));
    return BitCast<Numbers>(BitCast<Bits>(Numbers{x}) & Bits{0x7ff0000000000000})[0];
}

/// [any] x truncated toward zero and kept within what 32 bits hold; NaN gives 0. A plain conversion of such a value
/// would be undefined.
inline std::int32_t SaturatedToInt32(double x)
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(x)) return 0;
    if (x <= Limits::min()) return Limits::min();
    if (x >= Limits::max()) return Limits::max();
    return static_cast<std::int32_t>(x);
}

/// [any] x, or 0 when it is infinite or not a number: what keeps one bad number from silencing a filter for good.
inline float FiniteOrZero(float x)
{
    return std::isfinite(x) ? x : 0.0f;
}

/// [any] floor(x) kept within ±1e9; NaN gives 1e9. A plain conversion of such a value would be undefined.
inline int SaturatedFloor(float x)
{
    const float bounded = std::max(std::min(1e9f, x), -1e9f);
    // Of std::floor that becomes an integer, GCC makes a call of the C library, which is slow in 32-bit programs.
    const int whole = static_cast<int>(bounded);
    return whole - (static_cast<float>(whole) > bounded ? 1 : 0);
}

/// Beyond this, 120 dB over full scale, a sample is not usable: a long room would take a minute or more to let anything
/// else be heard.
inline constexpr float kLargestUsable = 1e6f;

/// [any] Whether filters may be fed with x: not NaN, infinite or absurdly large.
inline bool IsUsable(float x)
{
    return std::fabs(x) <= kLargestUsable;
}

/// [any] x, or 0 when it is not usable: what keeps one bad sample from silencing a filter for good.
inline float UsableOrZero(float x)
{
    return IsUsable(x) ? x : 0.0f;
}

/// [any] x, or 0 when it is denormal: on every processor what those give that flush denormals.
inline float NormalOrZero(float x)
{
    return std::fabs(x) < std::numeric_limits<float>::min() ? 0.0f : x;
}

/// [render] x, or 0 when it has decayed and would end as a denormal, because the processor cannot flush those.
inline float LastingOrZero(float x)
{
    if constexpr (!platform::kFlushesDenormals)
        if (std::fabs(x) < kDecayed) return 0.0f;
    return x;
}

/// [any] The largest magnitude among n samples; infinity when one of them is not a number. Compares bit patterns, which
/// order magnitudes as numbers do and NaN above all, so that compilers make a vector loop of it: of several peaks,
/// which do not wait for one another.
inline float Peak(std::size_t n, const float* x)
{
    constexpr std::size_t kPeaks = 16;
    std::int32_t peaks[kPeaks] = {};
    const auto raise = [&](std::int32_t& peak, float sample) {
        peak = std::max(peak, BitCast<std::int32_t>(sample) & 0x7fffffff);
    };
    const std::size_t rest = n % kPeaks;
    for (std::size_t i = 0; i < n - rest; i += kPeaks)
        for (std::size_t k = 0; k < kPeaks; ++k) raise(peaks[k], x[i + k]);
    for (std::size_t k = 0; k < rest; ++k) raise(peaks[k], x[n - rest + k]);
    return BitCast<float>(std::min(*std::max_element(peaks, peaks + kPeaks), 0x7f800000));
}

} // namespace kal
