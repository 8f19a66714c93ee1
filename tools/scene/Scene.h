#pragma once

#include "Curve.h"
#include "Kal/Base/KalTypes.h"
#include "include/KALMarble.h"
#include "libkalmarble/Listener.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kalscene {

/// Never happens.
inline constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

/// How a sound is placed.
enum class Place {
    World,    ///< at a point of the world
    Listener, ///< at a point that moves and turns with the listener
    None,     ///< as recorded: neither place nor room
};

/// One playing of a sound: a voice.
struct Start {
    std::int64_t frame = 0;
    kal::Vector3 offset; ///< from the sound's position
    double gain = 1.0;   ///< factors on those of the sound
    double speed = 1.0;
};

struct Seek {
    std::int64_t frame;
    double position; ///< to which it jumps, frames of the buffer
};

struct Loop {
    std::int32_t start, end; ///< frames of the buffer; end is one past the loop
};

/// One sound of a scene and all its voices.
struct Sound {
    std::string name; ///< unique in the scene
    std::shared_ptr<const kal::Buffer> buffer;
    Place place = Place::World;
    Curve<3> position; ///< metres: of the world, or +x right, +y up, +z ahead of the listener
    Curve<1> gain{{1.0}}, speed{{1.0}};
    Curve<1> occlusion;             ///< 0 (open) ... 1 (closed): the voice's low-pass coefficient is 1 - occlusion
    double referenceDistance = 1.0; ///< metres up to which it is not attenuated
    double from = 0.0;              ///< where in the buffer it begins, frames
    std::optional<Loop> loop;
    std::vector<Start> starts;
    std::vector<Seek> seeks;    ///< in order of time
    std::int64_t stop = kNever; ///< the first silent frame
};

/// What is heard, frame by frame: read-only once made, so that several renderers may share it. All times are in frames
/// of the output, at one sampling rate.
struct Scene {
    double samplingRate = 48000.0;
    std::int64_t length = kNever; ///< frames; kNever: until it is silent
    int step = 64;                ///< frames between two looks at what moves
    Curve<1> gain{{1.0}};         ///< of the finished mix

    Curve<3> listener; ///< where the listener is
    Curve<3> turn;     ///< heading, pitch and roll, degrees: to the right, upwards, to the right shoulder
    enum { WetLevelA, Volume, Area, Size, WetLevelB };
    Curve<5> room; ///< numbers of KalReverbParam, in its order

    std::vector<Sound> sounds;
    std::vector<std::string> files; ///< that it was read from, but for the scene itself
};

kal::Vector3 ToVector(const Curve<3>::Value& value);

/// Where the scene's listener is and looks.
kalmarble::Listener ListenerAt(const Scene& scene, std::int64_t frame);

KalReverbParam RoomAt(const Scene& scene, std::int64_t frame);

} // namespace kalscene
