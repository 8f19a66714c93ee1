#pragma once

#include "Kal/Base/KalTypes.h"

#include <cstdint>

namespace kal {

/// How a voice is played. The voice's renderer reads it live.
struct ChannelParam {
    double speed = 1.0;               ///< playback rate factor, > 0; 1 = unchanged pitch
    double position = 0.0;            ///< play position, frames of the buffer; after creation only a seek moves it
    float gain = 1.0f;                ///< linear gain of the direct sound
    float reverbSendGain = 0.0f;      ///< linear gain of the send into the reverb bus
    float lowpassCoef = 1.0f;         ///< one-pole low-pass coefficient, 0 ... 2; 1 = unfiltered
    bool isLooped = false;            ///< repeats loopStart ... loopEnd; fixed for the voice's life
    std::int32_t loopStart = 0;       ///< first frame of the loop
    std::int32_t loopEnd = 0;         ///< frame one past the loop
    bool shouldStop = false;          ///< the voice is to end; cannot be taken back
    bool isSpatialized = false;       ///< the voice goes through the spatializer; fixed for the voice's life
    Vector3 sourcePosition;           ///< relative to the listener
    float referenceDistanceSq = 0.0f; ///< squared distance up to which a spatialized voice is not attenuated

    /// [any] Throws the first that applies: "Speed is not positive.", "NaN speed.", "NaN position.", "NaN gain.",
    /// "Invalid loop position." (a looped record whose loopStart is not below its loopEnd).
    void Validate() const;
};

} // namespace kal
