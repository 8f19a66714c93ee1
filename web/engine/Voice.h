#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Voice/KalChannel.h"
#include "Kal/Voice/KalChannelParam.h"
#include "libkalmarble/Listener.h"

#include <cstdint>
#include <memory>

namespace kal::web {

/// How a voice is placed.
enum class Place {
    World,    ///< at a point of the world
    Listener, ///< at a point that moves and turns with the listener
    None,     ///< as recorded: neither place nor room
};

/// What is fixed for a voice's life.
struct VoiceStart {
    Place place = Place::World;
    double offset = 0.0; ///< where in the buffer it begins, frames
    bool isLooped = false;
    std::int32_t loopStart = 0, loopEnd = 0; ///< frames of the buffer; loopEnd is one past the loop
};

/// What may change. In a change, a number that is none leaves the voice's as it is.
struct VoiceSettings {
    Vector3 position; ///< metres: of the world, or +x right, +y up, +z ahead of the listener
    double gain = 1.0;
    double speed = 1.0;
    double occlusion = 0.0;         ///< 0 (open) ... 1 (closed): the low-pass coefficient is 1 - occlusion
    double referenceDistance = 1.0; ///< metres up to which it is not attenuated

    /// [control]
    void Take(const VoiceSettings& change);
};

/// A sound that plays or is to play.
struct Voice {
    std::shared_ptr<const Buffer> buffer;
    VoiceStart start;
    VoiceSettings settings;
    std::shared_ptr<Channel> channel; ///< null before it begins
    bool isStopped = false;
    bool isRising = false; ///< it was begun anew, silent, and is to be faded in

    /// [control] How it is heard. @param roomSize metres
    ChannelParam Record(const kalmarble::Listener& listener, float roomSize) const;
};

} // namespace kal::web
