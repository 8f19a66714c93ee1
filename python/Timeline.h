#pragma once

#include "Kal/KalEngine.h"
#include "include/KALMarble.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace kalpython {

/// How a voice is played, but for what is fixed for its life.
struct VoiceSettings {
    double speed = 1.0;
    double gain = 1.0;
    double roomSend = 0.0;  ///< of the gain, into the room
    double occlusion = 0.0; ///< 0 ... 1
    double referenceDistance = 1.0;
    kal::Vector3 position; ///< as the listener hears it: +x right, +y up, +z ahead, m

    /// Writes itself into a record. Throws kal::Exception for a number out of its range.
    void WriteTo(kal::ChannelParam& record) const;
};

/// What is to become different about a voice; what is absent stays.
struct VoiceChange {
    std::optional<double> speed, gain, roomSend, occlusion, referenceDistance;
    std::optional<kal::Vector3> position;

    void WriteTo(VoiceSettings& settings) const;
};

class Timeline;

/// One playing of a buffer. Frames are those of the output, counted from the engine's first. Without a frame, `at`, a
/// change holds from the next one on, or from the voice's first.
class Voice {
public:
    /// A voice of the engine and what it was told last; events keep it.
    struct State {
        std::shared_ptr<kal::Channel> channel;
        kal::ChannelParam record;
        VoiceSettings settings;
    };

    Voice(std::shared_ptr<Timeline> theTimeline, std::shared_ptr<State> theState, std::int64_t firstFrame)
        : timeline(std::move(theTimeline)), state(std::move(theState)), start(firstFrame)
    {
    }

    /// These throw kal::Exception for a frame that is rendered already or lies before the voice's first, and for a
    /// number out of its range.
    void Change(const VoiceChange& change, std::optional<std::int64_t> at);
    void Seek(double position, std::optional<std::int64_t> at);
    void Stop(std::optional<std::int64_t> at);

    bool IsPlaying() const { return state->channel->IsPlaying(); }

private:
    std::shared_ptr<Timeline> timeline;
    std::shared_ptr<State> state;
    std::int64_t start;
};

/// An engine that is told everything by frames of the output, however far ahead, and passes it on in the block in which
/// it is due. Safe to use from several threads.
class Timeline : public std::enable_shared_from_this<Timeline> {
public:
    /// @param hrtf a data set as Spatializer reads it; empty: the one built in
    /// Throws kal::Exception what Engine's constructor throws.
    Timeline(double samplingRate, std::string hrtf, unsigned numThreads);

    /// Begins a voice at a frame, by default the next one. `record` holds what is fixed, `settings` the rest.
    std::shared_ptr<Voice> Play(std::shared_ptr<const kal::Buffer> buffer, kal::ChannelParam record,
                                const VoiceSettings& settings, std::optional<std::int64_t> at);

    using Event = std::function<void(double time)>; ///< takes frames from the start of the next block

    /// Has an event happen in the block in which a frame lies, by default the next one, but `earliest` at the earliest.
    void Schedule(std::optional<std::int64_t> at, std::int64_t earliest, Event event);

    /// Changes the room at a frame, by default the next one.
    void SetRoom(const KalReverbParam& room, std::optional<std::int64_t> at);

    /// Renders the next numFrames interleaved stereo frames in blocks that end at multiples of 512, where the room
    /// changes and at the last of them.
    void Render(float* out, std::int64_t numFrames);

    std::int64_t Position() const;
    std::uint64_t NumLimitedFrames() const;
    double SamplingRate() const { return samplingRate; }

private:
    std::int64_t FrameOf(std::optional<std::int64_t> at, std::int64_t earliest) const;
    int PrepareBlock(std::int64_t numFrames);

    double samplingRate;
    std::string hrtf;
    std::shared_ptr<kal::Engine> engine;

    // Locks, in the order in which they may be nested: `renderMutex`, then `mutex`.
    mutable std::mutex renderMutex; ///< held while a block is rendered
    mutable std::mutex mutex;       ///< guards what follows, and the states of voices
    std::multimap<std::int64_t, Event> events;
    std::map<std::int64_t, kal::ReverbSettings> rooms;
    std::int64_t position = 0; ///< of the next block
};

} // namespace kalpython
