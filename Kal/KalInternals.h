#pragma once

#include <xmmintrin.h>

namespace kal {

/// Sets this thread's floating-point state to the library's own while it lives: flush-to-zero and denormals-are-zero,
/// because decaying tails would otherwise end as denormals and triple the cost of a block; rounding to nearest and no
/// traps, so that an unusual host thread hears the same. The caller's state comes back at the end.
class ScopedFlushToZero {
public:
    ScopedFlushToZero() { _mm_setcsr(kState); }
    ~ScopedFlushToZero() { _mm_setcsr(saved); }
    ScopedFlushToZero(const ScopedFlushToZero&) = delete;
    ScopedFlushToZero& operator=(const ScopedFlushToZero&) = delete;

private:
    static constexpr unsigned kState = 0x8000u | 0x0040u | 0x1f80u; // FTZ, DAZ, all exceptions masked, to nearest
    unsigned saved = _mm_getcsr();
};

} // namespace kal
