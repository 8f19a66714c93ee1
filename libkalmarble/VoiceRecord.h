#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Voice/KalChannelParam.h"
#include "include/KALMarble.h"
#include "libkalmarble/Listener.h"

namespace kalmarble {

using PlayParam = KalPlayParam;

/// A sound as the host placed it.
struct PlacedSound {
    PlayParam param;
    kal::Vector3 origin; ///< world coordinates, or relative to the listener if isRelative
    bool isRelative;
    bool isMono; ///< goes through the spatializer; two channels are only attenuated
};

/// [any] The record of a sound that plays at the listener: no place, no reverb.
kal::ChannelParam VoiceRecord(const PlayParam& param);

/// [any] The record of a placed sound. With d the distance, r the reference distance and v the volume, two channels get
/// the gain v r / d and the send v sqrt(r / d), one channel v and v, which the spatialized renderer attenuates; beyond
/// 1.5 room sizes the send falls by (1.5 roomSize / d) more. A number that is none becomes 0.
/// @param roomSize metres  @param wall the low-pass coefficient of what stands between, for a sound in the world
kal::ChannelParam VoiceRecord(const PlacedSound& sound, const Listener& listener, float roomSize, float wall);

} // namespace kalmarble
