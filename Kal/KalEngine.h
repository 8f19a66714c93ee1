#pragma once

#include "Kal/Base/KalLock.h"
#include "Kal/Base/KalThreadPool.h"
#include "Kal/Base/KalTypes.h"
#include "Kal/Base/KalWorkShares.h"
#include "Kal/Master/KalCompressor.h"
#include "Kal/Master/KalEqualizer.h"
#include "Kal/Master/KalLowBand.h"
#include "Kal/Room/KalReverbSetting.h"
#include "Kal/Room/KalSendNetwork.h"
#include "Kal/Space/KalConvolver.h"
#include "Kal/Space/KalSpatializer.h"
#include "Kal/Voice/KalChannel.h"
#include "Kal/Voice/KalChannelHost.h"
#include "Kal/Voice/KalChannelParam.h"
#include "Kal/Voice/KalThreadLocalBuffer.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kal {

/// How an engine is set up.
struct EngineParam {
    double samplingRate = 48000.0;  ///< output rate, Hz
    std::int32_t numChannels = 2;   ///< interleaved output channels; only 2 is supported
    std::uint32_t numThreads = 1;   ///< workers, the rendering thread included; 1 or more
    const void* hrtfData = nullptr; ///< HRTF data set; null means no spatializer
    std::uint32_t hrtfDataSize = 0; ///< its length in bytes

    /// [any] Throws "Invalid channel count: %d" (0 or below), then "Invalid sampling rate: %f" (not above 0).
    void Validate() const;
};

/// The mixer: owns the voices and renders them, block by block, into interleaved stereo. Always held by a shared
/// pointer; voices refer to it weakly.
///
/// Locks, in the order in which they may be nested: `mutex`, then `channelListMutex`.
class Engine : public ChannelHost, public std::enable_shared_from_this<Engine> {
public:
    using ThreadLocalBuffer = kal::ThreadLocalBuffer;

    /// [control] Builds everything a block needs and starts the workers.
    /// Throws what EngineParam::Validate throws, "Unsupported channel count: %d" unless 2, "Invalid thread count: %u"
    /// beyond kMaxThreads, "Invalid sampling rate: %f" for a rate that the reverbs cannot serve,
    /// what Spatializer's constructor throws.
    explicit Engine(const EngineParam& param);

    /// [control] Waits for a block that is being rendered and releases everything. No other call may follow.
    ~Engine();

    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// [control] Creates a voice that starts `delay` samples after the start of the next block; never waits for a block
    /// that is being rendered.
    /// Throws "Buffer is null.", "Delay is negative.", "NaN delay.", what ChannelParam::Validate and MakeRenderer
    /// throw.
    std::shared_ptr<Channel> CreateChannel(double delay, std::shared_ptr<const Buffer> buffer,
                                           const ChannelParam& param);

    /// [render] Takes over new voices and scheduled changes for the next block.
    void Prerender();

    /// [render] Renders the block that Prerender prepared, once: numFrames (0 or more) interleaved stereo frames, each
    /// sample within -1 ... 1. Allocates only for a block longer than any before.
    void Render(float* out, int numFrames);

    /// The room. Written by the host's binding under the lock that it also holds around Prerender, which takes the
    /// records over for the next block. Record 0 drives the short reverb, 1 the middle one, 2 the long one.
    ReverbSettings reverbSettings = kDefaultReverbSettings;

    /// [render] For measurements: how many frames so far the limiter brought down to full scale.
    std::uint64_t NumLimitedFrames() const { return limiter.NumLimitedFrames(); }

    /// More workers than any machine a game runs on has.
    static constexpr unsigned kMaxThreads = 256;

private:
    unsigned NumHelpfulWorkers() const;
    ThreadLocalBuffer& BufferOf(unsigned worker, unsigned numFrames);
    void RenderChannels(unsigned numFrames);
    void RenderRoom(unsigned numFrames);
    void FinishSpatializer(unsigned numFrames);
    void SumBuses(AlignedVector ThreadLocalBuffer::*bus);
    void FinishBlock(int numFrames);

    Mutex mutex; ///< held for the whole of Prerender and of Render
    std::shared_ptr<ThreadPool> threadPool;
    Compressor limiter;
    SendNetwork sendNetwork;
    Equalizer equalizer;
    LowBand lowBand;
    std::vector<std::unique_ptr<MiniConvolver>> convolvers; ///< kept on purpose; take no part in the output
    std::vector<std::shared_ptr<Channel>> channels;         ///< of the next block; guarded by channelListMutex
    std::vector<std::shared_ptr<Channel>> renderChannels;   ///< of this block; resized under channelListMutex
    std::vector<ThreadLocalBuffer> threadLocalBuffers;
    WorkShares workShares; ///< of voices, then of directions
    EngineParam param;
    ReverbSettings renderReverbSettings = kDefaultReverbSettings; ///< of this block
};

} // namespace kal
