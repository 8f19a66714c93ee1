#pragma once

#include "Kal/Voice/KalChannel.h"
#include "Kal/Voice/KalThreadLocalBuffer.h"

namespace kal {

/// Turns one voice into samples for one block: reads its buffer at its speed, filters, applies gains and writes to the
/// buses. One object serves one voice and one thread at a time.
class Channel::Renderer {
public:
    virtual ~Renderer() = default;

    /// [render] The voice's record has changed.
    virtual void ParamUpdated() {}

    /// [render] Renders frames offset ... offset + count - 1 of the block into the buses.
    /// @param count 1 or more
    /// @returns whether the voice goes on; a voice that ends inside the span leaves its remaining frames untouched, and
    /// one that ends with it says so at the next call
    virtual bool Render(ChannelHost* engine, int offset, int count, ThreadLocalBuffer& buffer) noexcept = 0;
};

} // namespace kal
