#pragma once

#if defined(__SSE2__)
#include <xmmintrin.h>
#else
#error "Rendering needs flush-to-zero arithmetic, which is written for x86 with SSE2 alone."
#endif

namespace kal {

/// The SSE unit's state as programs start with it: rounding to nearest, denormals kept, no traps.
inline constexpr unsigned kDefaultMxcsr = 0x1f80;

/// [render] Sets this thread's floating-point state to the library's own while it lives: flush-to-zero and
/// denormals-are-zero, because decaying tails would otherwise end as denormals and triple the cost of a block; rounding
/// to nearest and no traps, so that an unusual host thread hears the same. The caller's state comes back at the end.
class ScopedFlushToZero {
public:
    ScopedFlushToZero() { _mm_setcsr(kDefaultMxcsr | kFlushToZero | kDenormalsAreZero); }
    ~ScopedFlushToZero() { _mm_setcsr(saved); }
    ScopedFlushToZero(const ScopedFlushToZero&) = delete;
    ScopedFlushToZero& operator=(const ScopedFlushToZero&) = delete;

private:
    static constexpr unsigned kFlushToZero = 0x8000, kDenormalsAreZero = 0x0040;

    unsigned saved = _mm_getcsr();
};

} // namespace kal
