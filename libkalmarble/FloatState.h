#pragma once

#include "Kal/Platform/KalPlatform.h"

namespace kalmarble {

/// [any] Gives this thread the usual floating-point state while it lives: rounding to nearest, denormals kept, nothing
/// trapped, full precision. A host may run with less. Its own state, with what its arithmetic has noted so far, comes
/// back at the end.
class ScopedFloatState {
public:
    ScopedFloatState() { kal::platform::FloatEnvironment::UseUsual(); }
    ~ScopedFloatState() { saved.Restore(); }
    ScopedFloatState(const ScopedFloatState&) = delete;
    ScopedFloatState& operator=(const ScopedFloatState&) = delete;

private:
    kal::platform::FloatEnvironment saved;
};

} // namespace kalmarble
