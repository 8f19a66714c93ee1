#pragma once

#include "Kal/Platform/KalPlatform.h"

#include <cstdint>

namespace kal::test {

/// What the arithmetic of a thread does: rounding, denormals and traps.
struct FloatState {
    platform::FloatControl control;
    std::uint16_t x87; ///< the control word of the x87 unit, where there is one

    static FloatState OfThisThread()
    {
        FloatState state{platform::GetFloatControl(), 0};
#ifdef __SSE2__
        asm volatile("fnstcw %0" : "=m"(state.x87));
#endif
        return state;
    }

    void Set() const
    {
#ifdef __SSE2__
        asm volatile("fnclex\n\tfldcw %0" : : "m"(x87)); // what was noted before would be trapped now
#endif
        platform::SetFloatControl(control);
    }

    bool operator==(const FloatState&) const = default;
};

/// States that a host may call with.
#if defined(__SSE2__)
inline constexpr FloatState kRoundingUp = {0x5f80, 0xb7f};
inline constexpr FloatState kFloatStates[] = {{0x1f80, 0x07f},  // the x87 unit in single precision
                                              {0x9fc0, 0x37f},  // flush to zero, denormals are zero
                                              {0x3f80, 0x77f},  // round down
                                              kRoundingUp,      //
                                              {0x7f80, 0xc7f},  // round toward zero, in single precision
                                              {0x0000, 0x340}}; // every trap armed
#elif defined(__aarch64__)
inline constexpr FloatState kRoundingUp = {1u << 22, 0};
inline constexpr FloatState kFloatStates[] = {{1u << 24, 0},  // flush to zero
                                              {2u << 22, 0},  // round down
                                              kRoundingUp,    //
                                              {3u << 22, 0}}; // round toward zero
#else
inline constexpr FloatState kRoundingUp = {}; // as all there is does not
#endif

} // namespace kal::test
