#pragma once

#include "Kal/Base/KalFlushToZero.h"

#include <cstdint>
#include <xmmintrin.h>

namespace kalmarble {

/// [any] Gives this thread the usual floating-point state while it lives: rounding to nearest, denormals kept, nothing
/// trapped and, for the x87 unit, which some of the C library's functions use, full precision. A host may run with
/// less. Its own state, with what its arithmetic has noted so far, comes back at the end.
class ScopedFloatState {
public:
    ScopedFloatState()
    {
        asm volatile("fnstenv %0" : "=m"(saved)); // masks every trap, too
        asm volatile("fldcw %0" : : "m"(kControlWord));
        _mm_setcsr(kal::kDefaultMxcsr);
    }

    ~ScopedFloatState()
    {
        asm volatile("fldenv %0" : : "m"(saved));
        _mm_setcsr(savedMxcsr);
    }

    ScopedFloatState(const ScopedFloatState&) = delete;
    ScopedFloatState& operator=(const ScopedFloatState&) = delete;

private:
    /// What fnstenv stores.
    struct Environment {
        std::uint32_t words[7];
    };

    static constexpr std::uint16_t kControlWord = 0x37f;

    unsigned savedMxcsr = _mm_getcsr();
    Environment saved;
};

} // namespace kalmarble
