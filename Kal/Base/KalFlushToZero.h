#pragma once

#include "Kal/Platform/KalPlatform.h"

namespace kal {

/// [render] Sets this thread's floating-point state to the library's own while it lives: denormals are taken and left
/// as zero, because decaying tails would otherwise end as denormals and triple the cost of a block; rounding to nearest
/// and no traps, so that an unusual host thread hears the same. The caller's state comes back at the end.
class ScopedFlushToZero {
public:
    ScopedFlushToZero() { platform::SetFloatControl(platform::kFlushedFloats); }
    ~ScopedFlushToZero() { platform::SetFloatControl(saved); }
    ScopedFlushToZero(const ScopedFlushToZero&) = delete;
    ScopedFlushToZero& operator=(const ScopedFlushToZero&) = delete;

private:
    platform::FloatControl saved = platform::GetFloatControl();
};

} // namespace kal
