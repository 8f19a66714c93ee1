#pragma once

#include "Kal/Room/KalReverbSetting.h"
#include "include/KALMarble.h"

namespace kalmarble {

/// [control] The three reverbs of a room: its decay time by Sabine's formula with an absorption of 0.4, lengthened by
/// half and kept within 1.2 ... 15 s. Numbers that are not numbers count as the smallest.
kal::ReverbSettings RoomReverb(const KalReverbParam& room);

} // namespace kalmarble
