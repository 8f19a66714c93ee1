#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Voice/KalChannelParam.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

namespace kal {

class ChannelHost;
struct ThreadLocalBuffer;

/// A parameter record on its way to a voice.
struct ChannelUpdate {
    ChannelParam param;
    bool isSeek = false;    ///< moves the play position too
    bool isCarried = false; ///< a block before has seen it
};

/// One playing voice: a buffer, the parameters it is played with, the renderer that does the sample work, the countdown
/// to its start, and the changes that the host has scheduled. It refers to its engine weakly: when the engine is gone,
/// every operation does nothing.
class Channel {
public:
    class Renderer;
    using UpdateQueue = std::multimap<std::int32_t, ChannelUpdate>;

    /// A change of a voice that was checked and has its memory: to schedule it cannot fail.
    using PreparedUpdate = UpdateQueue::node_type;

    /// [control] For Engine::CreateChannel, which checks the arguments.
    /// @param delay samples, >= 0, from the start of the next block; the voice starts on the whole sample
    /// Throws what CreateRenderer throws.
    Channel(std::weak_ptr<ChannelHost> engine, double delay, std::shared_ptr<const Buffer> buffer,
            const ChannelParam& param);
    ~Channel();

    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// [control] Checks and prepares new parameters, for Schedule. Throws what UpdateChannelParam throws but for the
    /// time; without an engine there is nothing to prepare.
    PreparedUpdate PrepareUpdate(const ChannelParam& param) const;

    /// [control] Prepares the end of the voice.
    PreparedUpdate PrepareStop() const;

    /// [control] Schedules what this voice prepared; once it is stopped, it stays so. A change replaces one of the same
    /// sample that no block has seen, so that changes do not pile up while nothing is rendered.
    /// @param time samples from the start of the next block, 0 ... 2^31 - 2
    void Schedule(double time, PreparedUpdate&& update) noexcept;

    /// [control] Schedules new parameters. They hold from `time` samples after the start of the next block, or from the
    /// end of that block if that is sooner; the play position is not touched.
    /// Throws what ChannelParam::Validate throws, then "Delay is negative.", "NaN delay", "Too big delay value." (from
    /// 2^31 - 1 on), then for what cannot change: "Cannot modify the value of 'isLooped' of ChannelParam.", likewise
    /// 'isSpatialized', and "Cannot cancel stopping the channel (shouldStop set to false)."
    void UpdateChannelParam(double time, const ChannelParam& param);

    /// [control] Schedules the end of the voice, without a fade. Checks and messages as UpdateChannelParam.
    void Stop(double time);

    /// [control] For programs that drive the engine itself; the binding has no use for it. Schedules a jump of the play
    /// position to `position` (frames of the buffer). Neither argument is checked: a time below zero means the start of
    /// the next block.
    void Seek(double time, double position);

    /// [control] Ends a voice that is to stop before it begins and that no block has seen. Under channelListMutex.
    /// @returns whether the voice has ended
    bool EndIfUnheard() noexcept;

    /// [any] False for good once the voice has ended or a stop has been applied.
    bool IsPlaying() const { return playing; }

    /// [render] Between blocks: the play position, frames of the buffer.
    double Position() const { return param.position; }

    /// [render] Takes over what was scheduled since the last block. Under the engine's channelListMutex.
    void Prerender();

    /// [render] Renders the voice's part of a block, applying scheduled changes at their samples.
    void RenderBlock(ChannelHost& owner, int numFrames, ThreadLocalBuffer& buffer) noexcept;

    /// [render] Carries changes that are not due yet into the next block. Under the engine's channelListMutex.
    void Postrender(std::int32_t numFrames);

private:
    void CreateRenderer(double startOffset, ChannelHost* owner);
    void Enqueue(std::int32_t key, PreparedUpdate& update) noexcept;
    void InternalUpdateChannelParam(const ChannelUpdate& update);
    void Render(ChannelHost& owner, int offset, int count, ThreadLocalBuffer& buffer);

    std::weak_ptr<ChannelHost> engine;
    std::shared_ptr<const Buffer> buffer;
    ChannelParam param;     ///< in force; read live by the renderer
    ChannelParam lastParam; ///< most recently scheduled; guarded by channelListMutex
    std::atomic<bool> playing{true};
    std::unique_ptr<Renderer> renderer;
    // The queues change places by pointer: swapping maps would write into their nodes, which lie in the cache of the
    // core that rendered.
    std::array<UpdateQueue, 3> queues;
    UpdateQueue* pendingUpdates = &queues[0]; ///< by samples from the next block's start; under channelListMutex
    UpdateQueue* renderUpdates = &queues[1];  ///< by samples from this block's start
    UpdateQueue* spentUpdates = &queues[2];   ///< to be freed by the next call that schedules: rendering never frees
    std::int32_t startDelay;                  ///< samples still to wait
    bool isNew = true;                        ///< no block has seen the voice; under channelListMutex
    bool isUnheard = false;                   ///< it is to stop before it begins; while it is new
};

} // namespace kal
