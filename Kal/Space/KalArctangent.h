#pragma once

#include <cmath>
#include <limits>

namespace kal {

/// [any] The angle from the x axis to (x, y), radians, -pi ... pi; error below 1.4 units of the last place. NaN gives
/// NaN. The C libraries differ in the last bit, which tips the choice between two measured directions; this makes it
/// alike everywhere, and spares 32-bit Windows the x87 unit.
/// Reduction of the argument and polynomial: fdlibm, atan2f and atanf (Sun Microsystems, 1993).
inline float Arctangent(float y, float x)
{
    constexpr float kHalfPi = 1.57079637f, kPi = 3.14159274f, kPiError = 8.74227766e-8f; // pi is the difference
    constexpr float kInfinity = std::numeric_limits<float>::infinity();

    if (std::isnan(x) || std::isnan(y)) return x + y;
    const bool isLong = std::abs(x) == kInfinity, isHigh = std::abs(y) == kInfinity;
    if (isLong && isHigh) return std::copysign(x > 0.0f ? 0.5f * kHalfPi : 1.5f * kHalfPi, y);
    if (x == 0.0f ? y != 0.0f : isHigh) return std::copysign(kHalfPi, y);

    // atan(t) = atan(c) + atan((t - c) / (1 + c t)) with c = 0, 1/2, 1, 3/2 or infinity; atan(c) is angle + rest
    const float t = x == 0.0f ? 0.0f : std::abs(y / x);
    float angle = 0.0f, rest = 0.0f, u = t;
    if (t >= 2.4375f) {
        angle = 1.57079625f;
        rest = 7.54978942e-8f;
        u = t < 0x1p25f ? -1.0f / t : 0.0f;
    } else if (t >= 1.1875f) {
        angle = 0.982793689f;
        rest = 3.44732172e-8f;
        u = (t - 1.5f) / (1.0f + 1.5f * t);
    } else if (t >= 0.6875f) {
        angle = 0.785398126f;
        rest = 3.77489471e-8f;
        u = (t - 1.0f) / (t + 1.0f);
    } else if (t >= 0.4375f) {
        angle = 0.463647604f;
        rest = 5.01215824e-9f;
        u = (2.0f * t - 1.0f) / (2.0f + t);
    }
    const float z = u * u, w = z * z;
    // clang-format off
    const float odd = z * (0.333333343f + w * (0.142857149f + w * (0.0909088701f + w * (0.0666107312f +
                      w * (0.0497687794f + w * 0.0162858199f)))));
    const float even = w * (0.200000003f + w * (0.111111104f + w * (0.0769187585f + w * (0.0583357029f +
                       w * 0.0365315713f))));
    // clang-format on
    angle -= u * (odd - even) - rest - u;
    return std::copysign(std::signbit(x) ? kPi - (angle + kPiError) : angle, y);
}

} // namespace kal
