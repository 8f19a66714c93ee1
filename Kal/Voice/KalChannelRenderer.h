#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Voice/KalChannel.h"
#include "Kal/Voice/KalChannelParam.h"
#include "Kal/Voice/KalThreadLocalBuffer.h"

#include <memory>

namespace kal {

class Engine;

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
    virtual bool Render(Engine* engine, int offset, int count, ThreadLocalBuffer& buffer) = 0;
};

/// How a renderer interpolates between frames. Voices are linear; the others are complete and interchangeable.
enum class Interpolation { Nearest, Linear, Cubic };

/// [control] Makes the renderer of a voice: two channels go straight to the mix; one channel goes to the spatializer
/// when the record asks for it and there is one, else to both sides of the mix.
/// @param buffer outlives the renderer  @param param the voice's record, outlives the renderer and is read live
/// Throws "Invalid channel count: %d" unless 1 or 2, "Invalid audio format: %d" unless 0, 1 or 2.
std::unique_ptr<Channel::Renderer> MakeRenderer(Interpolation interpolation, Engine& engine, const Buffer& buffer,
                                                ChannelParam& param);

} // namespace kal
