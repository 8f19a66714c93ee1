#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Space/KalConvolverBank.h"
#include "Kal/Space/KalInterpolationHelper.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace kal {

/// Turns mono voices into one binaural stereo signal. A voice's source adds its samples to the input of the measured
/// direction nearest to it; at the end of a block every direction that is in use convolves its input with its responses
/// of both ears. So the cost grows with the number of directions in use, not with that of the voices.
///
/// Measurements cover the right half of the sphere, azimuth 0 ... 180 degrees. Each direction also serves its mirror
/// image on the left, with the ears swapped, through an input of its own.
///
/// A block is BeginRender, any number of Source::Mix, PrepareEndRender, and EndRender until every index below the
/// number that it returned was rendered; one that was begun is to be finished so. Mix of different sources may run at
/// once, and so may EndRender of different directions on different workers; the rest is for one thread, with no other
/// call at the same time.
class Spatializer : public std::enable_shared_from_this<Spatializer> {
public:
    class Source;

    /// [control] Builds the directions of a data set, which is read and refused as by ReadHrtfSet. The responses are
    /// used as they are at every sampling rate.
    Spatializer(const void* data, unsigned size, double samplingRate, unsigned numWorkers = 1);

    /// [any] True if a direction may have no measurement, because there is no ring or a ring has no angle. Then no
    /// source may be mixed.
    bool Empty() const;

    /// [control] A new source, which mixes nothing once the spatializer is gone.
    /// @throws std::bad_weak_ptr unless the spatializer is owned by a shared pointer.
    std::shared_ptr<Source> CreateSource();

    /// [render] Starts a block of numFrames frames. Allocates for the longest block so far.
    void BeginRender(unsigned numFrames);

    /// [render] Gathers the directions that have input or still ring, and returns their number.
    unsigned PrepareEndRender();

    /// [render] For measurements: how many sides of directions had input in this block or still ring: what EndRender's
    /// cost grows with.
    unsigned NumActiveSides() const;

    /// [render] Adds the sound of `count` gathered directions from `index` on to out, numFrames frames of interleaved
    /// stereo; with direction 0 comes what the blocks before left. Directions of one call share most of their cost.
    /// @param worker below the number of workers
    void EndRender(float* out, unsigned index, unsigned count = 1, unsigned worker = 0);

private:
    struct Angle;
    struct Ring;

    void LoadData(const char* data, unsigned size);
    const std::shared_ptr<Angle>& Nearest(float azimuth, float elevation) const;

    unsigned numWorkers;
    std::map<std::uint32_t, ConvolverBank> banks; ///< by the length of their responses; a sum for each worker
    std::vector<std::shared_ptr<Ring>> rings;
    InterpolationHelper elevations;
    unsigned blockSize = 0;
    unsigned longestBlock = 0; ///< that there is room for
    std::vector<Angle*> enabledAngles;
};

/// One measured direction.
struct Spatializer::Angle {
    /// The two ways of hearing it, as indices.
    enum Side : bool { Direct, Mirrored };

    struct Input {
        explicit Input(const ConvolverBank& bank) : signal(bank) {}

        ConvolverBank::Signal signal;
        std::atomic<bool> used = false; ///< some source wrote into it this block
        bool active = false;            ///< used, or still ringing
        std::mutex mutex;               ///< held while samples are added
    };

    Angle(float degrees, ConvolverBank& owner, const float* left, const float* right)
        : azimuth(degrees), bank(owner), responses(owner, left, right), inputs{Input(owner), Input(owner)}
    {
    }

    /// [render] Adds samples[i], or samples[i] (gain + i step) when there is a step, i < count, to the frames from
    /// offset on of this block's input of a side.
    void Add(Side side, int offset, const float* samples, int count, float gain = 0.0f, float step = 0.0f);

    float azimuth; ///< degrees, 0 ... 180
    ConvolverBank& bank;
    ConvolverBank::Responses responses;
    std::array<Input, 2> inputs;
    std::mutex clearMutex; ///< held for the first clearing of either input in a block
};

/// The directions of one elevation.
struct Spatializer::Ring {
    explicit Ring(float degrees) : elevation(degrees) {}

    float elevation; ///< degrees
    InterpolationHelper azimuths;
    std::vector<std::shared_ptr<Angle>> angles;
};

/// A voice's way into its spatializer. It serves one thread at a time.
class Spatializer::Source {
public:
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
    std::weak_ptr<Spatializer> spatializer;
    const Spatializer* directions;    ///< its address. Locking would make all threads write to one counter
    std::shared_ptr<Angle> current;   ///< null before the first Mix
    std::shared_ptr<Angle> next;      ///< null but during a fade
    float fadePosition = 0.0f;        ///< 0 ... 1
    Angle::Side side = Angle::Direct; ///< on which current is heard
};

} // namespace kal
