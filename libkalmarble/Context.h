#pragma once

#include "Kal/KalEngine.h"
#include "include/KALMarble.h"
#include "libkalmarble/BlockRing.h"
#include "libkalmarble/Buffer.h"
#include "libkalmarble/Channel.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
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

    /// [audio] Writes the next numFrames interleaved stereo frames; waits for the background thread when it is behind.
    /// Blocks of 0 frames write nothing. Throws "Frame count is negative.", "Frame count is too large." and what kept
    /// the background thread from rendering the block.
    void Render(float* out, int numFrames);

    /// [control] Plays a buffer as it is: at the listener, without reverb, outside the polyphony limit.
    void PlayLocal(const Buffer& buffer, const PlayParam& param);

    /// [control] Plays a buffer at a world position. Throws what Engine::CreateChannel throws.
    void PlayAbsolute(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& param);

    /// [control] Plays a buffer at a position relative to the listener. Throws what Engine::CreateChannel throws.
    void PlayRelative(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& param);

    /// [control] Moves the listener, sets the room, and brings every tracked sound up to date.
    void Respatialize(const kal::Vector3& eye, const kal::Vector3& front, const kal::Vector3& up,
                      const ReverbParam& reverb);

    /// [control] Brings tracked sounds up to date and drops those that have ended.
    void Update();

    /// [any] Sends a formatted line, at most 2047 characters, to the host's debugLog, if there is one.
    [[gnu::format(printf, 2, 3)]] void DebugLog(const char* format, ...) const;

private:
    void PlayPositional(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& param, bool isRelative);

    /// Stops the oldest tracked sounds beyond the limit in force, `time` samples into the next block. Under
    /// engineMutex.
    void LimitPolyphonics(double time);

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
    std::mutex engineMutex; ///< guards roundStartTime, the engine's voices and their changes, and its reverb settings
    double roundStartTime;  ///< seconds on the monotonic clock
    std::atomic<bool> running{true};
    BlockRing ring;
    std::atomic<std::int32_t> blockFrames{512}; ///< of the host's latest Render
    std::vector<float> renderScratch;           ///< the background thread's
    std::atomic<std::int32_t> currentPolyphonyLimit;
    std::deque<std::shared_ptr<Channel>> channels; ///< tracked sounds, oldest first
    std::atomic<int> channelCount{0};              ///< size of channels, for the background thread
    std::thread thread;
};

} // namespace kalmarble
