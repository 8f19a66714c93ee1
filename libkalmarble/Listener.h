#pragma once

#include "Kal/Base/KalTypes.h"

namespace kalmarble {

/// Where the listener is and looks, in world coordinates. All zero until the first Place.
struct Listener {
    kal::Vector3 eye, front, up, right;

    /// [control] Takes the frame over: right = front x up and up = right x front are made of unit length, front stays
    /// as given. Parallel front and up give numbers that are not finite.
    void Place(const kal::Vector3& newEye, const kal::Vector3& newFront, const kal::Vector3& newUp);

    /// [control] A world position as seen by the listener: x along right, y along up, z along front.
    kal::Vector3 ToListener(const kal::Vector3& position) const;
};

} // namespace kalmarble
