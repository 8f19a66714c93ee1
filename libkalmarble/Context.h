#pragma once

#include "Kal/Base/KalLock.h"
#include "Kal/Base/KalThread.h"
#include "Kal/KalEngine.h"
#include "include/KALMarble.h"
#include "libkalmarble/BlockRing.h"
#include "libkalmarble/Buffer.h"
#include "libkalmarble/Channel.h"

#include <atomic>
#include <memory>
#include <vector>

namespace kalmarble {

using InitParam = KalInitParam;
using ReverbParam = KalReverbParam;

/// One sound context: the engine, the background thread that renders one host block ahead, the positional sounds that
/// are tracked, the listener and the room.
///
/// Threads: Render on the host's audio thread, everything else on its game thread.
class Context {
public:
    /// [control] Builds the engine and starts the background thread. Throws what Engine's constructor throws.
    explicit Context(const InitParam& param);

    /// [control] Stops the background thread, then lets go of sounds and engine.
    ~Context();

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    /// [audio] Writes the next numFrames interleaved stereo frames; waits for the background thread when it is behind,
    /// and for a Render of another thread. Blocks of 0 frames write nothing. Throws "Frame count is negative.", "Frame
    /// count is too large." (more than ten seconds) and what kept the background thread from rendering the block.
    void Render(float* out, int numFrames);

    /// [control] Plays a buffer as it is: at the listener, without reverb, outside the polyphony limit.
    void PlayLocal(const Buffer& buffer, const PlayParam& param);

    /// [control] Plays a buffer at a world position. Throws what Engine::CreateChannel throws.
    void PlayAbsolute(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& param);

    /// [control] Plays a buffer at a position relative to the listener. Throws what Engine::CreateChannel throws.
    void PlayRelative(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& param);

    /// [control] Stops the oldest sounds beyond the limit, moves the listener, sets the room, brings every tracked
    /// sound up to date and drops those that have ended.
    void Respatialize(const kal::Vector3& eye, const kal::Vector3& front, const kal::Vector3& up,
                      const ReverbParam& reverb);

    /// [any] Sends a formatted line, at most 2047 characters, to the host's debugLog, if there is one.
    [[gnu::format(printf, 2, 3)]] void DebugLog(const char* format, ...) const;

private:
    /// Changes of the tracked sounds, one each from the oldest on; the first `numStops` stop theirs.
    struct Changes {
        std::size_t numStops;
        std::vector<Channel::Change> list;
    };

    void PlayPositional(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& param, bool isRelative);

    /// Prepares the ends of the oldest tracked sounds beyond the limit in force.
    Changes LimitPolyphonics() const;

    /// Prepares what brings all sounds that are not stopped to where they are heard in new surroundings.
    void PrepareUpdates(const Surroundings& next, Changes& changes) const;

    /// Sends all changes, `time` samples into the next block. Under engineMutex.
    void Commit(double time, Changes& changes) noexcept;

    /// Drops the sounds that were stopped, or have ended, from the tracked ones.
    void ForgetStopped(const Changes& changes) noexcept;
    void ForgetEnded() noexcept;

    /// Samples since the current round began, 0 ... 10000: places what happens now into the next block. Under
    /// engineMutex.
    double StartOffset() const;

    void RunBackground();
    void RenderRound();
    void AdjustLoad(double elapsed, double duration);

    std::shared_ptr<kal::Engine> engine;
    InitParam param;
    kal::EngineParam engineParam;
    Surroundings surroundings;
    kal::Mutex engineMutex; ///< guards roundStartTime, the engine's voices and their changes, and its reverb settings
    double roundStartTime;  ///< seconds on the monotonic clock
    std::atomic<bool> running{true};
    BlockRing ring;
    kal::Mutex readerMutex;                     ///< held by the one Render that the ring serves
    std::atomic<std::int32_t> blockFrames{512}; ///< of the host's latest Render
    std::vector<float> renderScratch;           ///< the background thread's
    std::atomic<std::int32_t> currentPolyphonyLimit;
    std::vector<Channel> channels;    ///< tracked sounds, oldest first
    std::atomic<int> channelCount{0}; ///< size of channels, for the background thread
    std::shared_ptr<kal::Thread> thread;
};

} // namespace kalmarble
