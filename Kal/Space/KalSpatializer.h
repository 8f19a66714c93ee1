#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Space/KalBearing.h"
#include "Kal/Space/KalConvolverBank.h"
#include "Kal/Space/KalInterpolationHelper.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace kal {

/// Turns mono voices into one binaural stereo signal. A voice's source adds its samples to the input of the measured
/// direction nearest to it; at the end of a block every direction that is in use convolves its input with its responses
/// of both ears. So the cost grows with the number of directions in use, not with that of the voices.
///
/// Measurements cover the right half of the sphere, azimuth 0 ... 180 degrees. Each direction also serves its mirror
/// image on the left, with the ears swapped, through an input of its own.
///
/// A block is BeginRender, any number of Source::Mix, PrepareEndRender, and EndRender, or its halves, until every index
/// below the number that it returned was rendered; one that was begun is to be finished so. Mix of different sources
/// may run at once, and so may EndRender of different directions on different workers; the rest is for one thread, with
/// no other call at the same time.
class Spatializer : public std::enable_shared_from_this<Spatializer> {
public:
    class Source;

    /// [control] Builds the directions of a data set, which is read and refused as by ReadHrtfSet. The responses are
    /// used as they are at every sampling rate.
    Spatializer(const void* data, unsigned size, double samplingRate, unsigned numWorkers = 1);

    /// [any] True if a direction may have no measurement, because there is no ring or a ring has no angle. Then no
    /// source may be mixed.
    bool Empty() const;

    /// [any] The measured direction, or on the left its mirror image, from which a sound in this direction is heard: a
    /// vector from the listener, of any length. Not while it is Empty.
    Bearing NearestTo(const Vector3& direction) const;

    /// [control] A new source, which mixes nothing once the spatializer is gone.
    /// @throws std::bad_weak_ptr unless the spatializer is owned by a shared pointer.
    std::shared_ptr<Source> CreateSource();

    /// [render] Starts a block of numFrames frames. Allocates for the longest block so far; when that fails, no block
    /// is begun.
    void BeginRender(unsigned numFrames);

    /// [render] Gives back, as far as can be, what a BeginRender that failed has allocated.
    void ForgetLongBlock() noexcept;

    /// [render] Gathers the directions that have input or still ring, and returns their number.
    unsigned PrepareEndRender();

    /// [render] How many sides of directions had input in the block that was gathered last or still rang: what its cost
    /// grew with.
    unsigned NumActiveSides() const;

    /// [render] Adds the sound of `count` gathered directions from `index` on to out, numFrames frames of interleaved
    /// stereo; with direction 0 comes what the blocks before left. Directions of one call share most of their cost.
    /// @param worker below the number of workers
    void EndRender(float* out, unsigned index, unsigned count = 1, unsigned worker = 0);

    /// [render] The two halves of EndRender, for a worker that takes directions a few at a time: any number of
    /// Convolve, then AddConvolved once. One worker of a block adds the tails of the blocks before.
    void Convolve(unsigned index, unsigned count, unsigned worker);
    void AddConvolved(float* out, unsigned worker, bool addsTails);

private:
    struct Angle;
    struct Ring;

    void LoadData(const char* data, unsigned size);
    const Ring& NearestRing(float elevation) const;
    const std::shared_ptr<Angle>& Nearest(const Bearing& bearing) const;

    unsigned numWorkers;
    std::map<std::uint32_t, ConvolverBank> banks; ///< by the length of their responses; a sum for each worker
    std::vector<std::shared_ptr<Ring>> rings;
    InterpolationHelper elevations;
    unsigned blockSize = 0;
    unsigned longestBlock = 0; ///< that there is room for
    std::vector<Angle*> enabledAngles;
};

} // namespace kal
