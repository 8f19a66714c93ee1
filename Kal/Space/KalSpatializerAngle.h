#pragma once

#include "Kal/Base/KalBriefMutex.h"
#include "Kal/Space/KalSpatializer.h"

#include <array>
#include <memory>
#include <vector>

namespace kal {

/// One measured direction.
struct Spatializer::Angle {
    /// The two ways of hearing it, as indices.
    enum Side : bool { Direct, Mirrored };

    /// What comes in on one side.
    struct SideInput {
        explicit SideInput(const ConvolverBank& bank) : signal(bank) {}

        ConvolverBank::Input signal;
        bool used = false;   ///< some source wrote into it this block
        bool active = false; ///< used, or still ringing
        BriefMutex mutex;    ///< held while samples are added
    };

    Angle(float degrees, ConvolverBank& owner, const float* left, const float* right)
        : azimuth(degrees), bank(owner), responses(owner, left, right), inputs{SideInput(owner), SideInput(owner)}
    {
    }

    /// [render] Adds samples[i] (gain + i step), i < count, to the frames from offset on of this block's input of a
    /// side.
    void Add(Side side, int offset, const float* samples, int count, float gain = 1.0f, float step = 0.0f);

    float azimuth; ///< degrees, 0 ... 180
    ConvolverBank& bank;
    ConvolverBank::Responses responses;
    std::array<SideInput, 2> inputs;
};

/// The directions of one elevation.
struct Spatializer::Ring {
    explicit Ring(float degrees) : elevation(degrees) {}

    float elevation; ///< degrees
    InterpolationHelper azimuths;
    std::vector<std::shared_ptr<Angle>> angles;
};

} // namespace kal
