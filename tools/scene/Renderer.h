#pragma once

#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "Scene.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kalscene {

struct RenderParam {
    unsigned numThreads = 1;
    std::span<const unsigned char> hrtf{kal::hrtfData, kal::hrtfDataSize}; ///< a data set as Spatializer reads it
    const Sound* only = nullptr; ///< renders this sound of the scene alone: a stem
};

/// What a rendering was like so far.
struct Statistics {
    std::uint64_t limitedFrames = 0; ///< that the limiter held at full scale
    unsigned mostVoices = 0;         ///< at a time
    unsigned mostSides = 0;          ///< sides of measured directions in use at a time
    std::uint64_t startedVoices = 0;
};

/// A voice that plays.
struct Heard {
    const Sound* sound;
    kal::Vector3 position; ///< as the listener hears it: +x right, +y up, +z ahead
};

/// Renders a scene, on and on. Every event takes effect at its own frame, and the frames that come out do not depend,
/// to the last bit, on how many are asked for at a time. With one thread and one table of kernels they are the same in
/// every run.
class Renderer {
public:
    /// @throws kal::Exception what Engine's constructor throws: a sampling rate or a data set that it cannot serve.
    Renderer(std::shared_ptr<const Scene> scene, const RenderParam& param);

    /// Writes up to numFrames interleaved stereo frames, of which only a gain above 1 can take any beyond -1 ... 1.
    /// @returns their number: fewer, down to 0, only where the scene ends
    int Render(float* out, int numFrames);

    /// Voices that play after the frames rendered so far, or up to a block of the engine's later.
    std::vector<Heard> Voices() const;
    unsigned NumVoices() const { return static_cast<unsigned>(voices.size()); }
    const Statistics& Stats() const { return statistics; }

private:
    struct Voice {
        const Sound* sound;
        const Start* start;
        std::shared_ptr<kal::Channel> channel;
        kal::ChannelParam last; ///< what it was told
    };
    struct Waiting {
        const Sound* sound;
        const Start* start;
    };

    void RenderBlock();
    std::int64_t BlockEnd() const;
    void StartVoices(std::int64_t end);
    void Change(Voice& voice, std::int64_t begin, std::int64_t end);
    void CollectFrames(const Sound& sound, std::int64_t begin, std::int64_t end);
    kal::ChannelParam RecordAt(const Sound& sound, const Start& start, std::int64_t frame) const;
    void ApplyGain(std::int64_t begin);
    void NoteSilence(std::int64_t begin);

    std::shared_ptr<const Scene> scene;
    std::shared_ptr<kal::Engine> engine;
    std::vector<Waiting> waiting; ///< by frame, the latest first
    std::vector<Voice> voices;
    std::vector<std::int64_t> sharedKeys; ///< frames at which the listener or the room has a key
    std::vector<std::int64_t> frames;     ///< of CollectFrames
    std::int64_t position = 0;            ///< of the next block
    std::int64_t lastLoud = -1;           ///< latest frame above the level of silence
    std::int64_t end;                     ///< of the scene, once known
    std::vector<float> block;             ///< rendered
    std::size_t taken = 0;                ///< samples of it that were handed out
    Statistics statistics;
};

} // namespace kalscene
