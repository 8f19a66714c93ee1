#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Space/KalSpatializerAngle.h"

#include <memory>

namespace kal {

/// A voice's way into its spatializer. It serves one thread at a time.
class Spatializer::Source {
public:
    /// [control]
    explicit Source(const std::shared_ptr<Spatializer>& owner) : spatializer(owner), directions(owner.get()) {}

    /// [render] Adds count >= 0 samples to frames offset ... offset + count - 1 of the block, from the measured
    /// direction that is nearest to the given one. Angles are in degrees, azimuth clockwise from ahead and of any size,
    /// elevation upwards and limited to -90 ... 90; what is not a number counts as 0.
    ///
    /// A change of direction is a linear crossfade of 128 samples, over as many calls as it takes. A fade under way
    /// goes on to the direction it began with; the side it fades in on is that of each call.
    void Mix(const float* input, int offset, int count, float azimuth, float elevation);

    /// [render] As above, with the direction as a vector from the listener, of any length: +x right, +y up, +z ahead.
    void Mix(const float* input, int offset, int count, const Vector3& direction);

private:
    void Mix(const float* input, int offset, int count, const Bearing& bearing);

    std::weak_ptr<Spatializer> spatializer;
    const Spatializer* directions;    ///< its address. Locking would make all threads write to one counter
    std::shared_ptr<Angle> current;   ///< null before the first Mix
    std::shared_ptr<Angle> next;      ///< null but during a fade
    float fadePosition = 0.0f;        ///< 0 ... 1
    Angle::Side side = Angle::Direct; ///< on which current is heard
};

} // namespace kal
