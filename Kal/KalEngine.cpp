#include "Kal/KalEngine.h"

#include "Kal/Base/KalException.h"
#include "Kal/Base/KalFlushToZero.h"
#include "Kal/Kernels/KalVectorKernels.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numbers>
#include <utility>

namespace kal {

namespace {

// A worker may join for every full eight voices.
constexpr unsigned kVoicesPerWorker = 8;

// Waking a worker takes as long as rendering some voices: it is done for every so many, and directions.
constexpr std::size_t kWorkWorthWaking = 96;

// What a worker claims at a time: about 5 us of work.
constexpr unsigned kVoicesPerClaim = 4;
constexpr unsigned kDirectionsPerClaim = 4;

// How many voices that will never be heard may wait for the next block.
constexpr unsigned kMostUnheard = 16;

// What rendering the room takes, in directions.
constexpr unsigned kRoomParts = 12;

EngineParam Checked(const EngineParam& param)
{
    param.Validate();
    if (param.numChannels != 2) throw Exception("Unsupported channel count: %d", param.numChannels);
    if (param.numThreads > Engine::kMaxThreads) throw Exception("Invalid thread count: %u", param.numThreads);
    if (!SendNetwork::CanServe(param.samplingRate)) throw Exception("Invalid sampling rate: %f", param.samplingRate);
    return param;
}

} // namespace

void EngineParam::Validate() const
{
    if (numChannels <= 0) throw Exception("Invalid channel count: %d", numChannels);
    if (!(samplingRate > 0.0)) throw Exception("Invalid sampling rate: %f", samplingRate);
}

Engine::Engine(const EngineParam& engineParam)
    : ChannelHost(Checked(engineParam).samplingRate),
      threadPool(std::make_shared<ThreadPool>(engineParam.numThreads)),
      limiter(engineParam.samplingRate),
      sendNetwork(engineParam.samplingRate),
      equalizer(engineParam.samplingRate),
      lowBand(engineParam.samplingRate),
      threadLocalBuffers(std::max(1u, engineParam.numThreads)),
      workShares(std::max(1u, engineParam.numThreads)),
      param(engineParam)
{
    if (param.hrtfData) {
        spatializer = std::make_shared<Spatializer>(param.hrtfData, param.hrtfDataSize, param.samplingRate,
                                                    std::max(1u, param.numThreads));
        if (spatializer->Empty()) spatializer = nullptr;
    }
    float kernel[128];
    for (int i = 0; i < 128; ++i)
        kernel[i] = std::sin(((static_cast<float>(i) * std::numbers::pi_v<float>)*2.0f * 0.0078125f) * 2.0f);
    for (int i = 0; i < 4; ++i) convolvers.push_back(std::make_unique<MiniConvolver>(kernel, 128));
}

// A block that another thread is rendering ends before anything is released.
Engine::~Engine()
{
    std::lock_guard lock(mutex);
}

std::shared_ptr<Channel> Engine::CreateChannel(double delay, std::shared_ptr<const Buffer> buffer,
                                               const ChannelParam& channelParam)
{
    if (!buffer) throw Exception("Buffer is null.");
    if (delay < 0.0) throw Exception("Delay is negative.");
    if (std::isnan(delay)) throw Exception("NaN delay.");
    channelParam.Validate();
    auto channel = std::make_shared<Channel>(shared_from_this(), delay, std::move(buffer), channelParam);

    std::lock_guard lock(channelListMutex);
    if (numUnheard >= kMostUnheard) { // while nothing is rendered
        std::erase_if(channels, [](const auto& voice) { return voice->EndIfUnheard(); });
        numUnheard = 0;
    }
    // Room for the voices that the end of the block puts back, so that rendering need not allocate it.
    const std::size_t needed = channels.size() + 1 + renderChannels.size();
    if (channels.capacity() < needed) channels.reserve(2 * needed);
    channels.push_back(channel);
    return channel;
}

void Engine::Prerender()
{
    std::lock_guard lock(mutex);
    {
        std::lock_guard listLock(channelListMutex);
        renderChannels.clear();
        renderChannels.reserve(channels.capacity()); // first, so that no voice is lost when there is no memory for it
        renderChannels.swap(channels);
        for (const auto& channel : renderChannels) channel->Prerender();
        numUnheard = 0;
    }
    renderReverbSettings = reverbSettings;
}

void Engine::Render(float* out, int numFrames)
{
    std::lock_guard lock(mutex);
    const ScopedFlushToZero flushToZero;
    const auto n = static_cast<unsigned>(numFrames);
    try {
        for (ThreadLocalBuffer& buffer : threadLocalBuffers) buffer.Reserve(n);
        if (spatializer) spatializer->BeginRender(n);
    } catch (...) {
        // No memory for such a block: what it took is given back, and the voices wait for one that fits.
        for (ThreadLocalBuffer& buffer : threadLocalBuffers) buffer = ThreadLocalBuffer();
        if (spatializer) spatializer->ForgetLongBlock();
        FinishBlock(0);
        throw;
    }
    threadPool->BeginBlock(NumHelpfulWorkers());
    RenderChannels(n);
    ThreadLocalBuffer& sum = threadLocalBuffers[0];
    SumBuses(&ThreadLocalBuffer::reverbSend);
    SumBuses(&ThreadLocalBuffer::lowSend);
    if (spatializer)
        FinishSpatializer(n);
    else
        RenderRoom(n);
    threadPool->EndBlock();
    SumBuses(&ThreadLocalBuffer::mix);
    SumBuses(&ThreadLocalBuffer::spatialOut);
    equalizer.Render(n, sum.spatialOut.data(), sum.mix.data());
    std::copy(sum.mix.begin(), sum.mix.end(), out);
    limiter.Process(out, n);
    for (float* sample = out + 2 * std::size_t{n}; sample != out;) {
        --sample;
        *sample = std::clamp(*sample, -1.0f, 1.0f);
    }
    FinishBlock(numFrames);
}

// How many workers it pays to wake: those that find enough to do, in voices and in the directions of the block before.
unsigned Engine::NumHelpfulWorkers() const
{
    if (param.numThreads < 2) return 1;
    const std::size_t work = renderChannels.size() + (spatializer ? spatializer->NumActiveSides() : 0);
    return 1 + static_cast<unsigned>(std::min<std::size_t>(work / kWorkWorthWaking, Engine::kMaxThreads));
}

// A worker's buses take part in a block from the first time that it finds something to do.
Engine::ThreadLocalBuffer& Engine::BufferOf(unsigned worker, unsigned numFrames)
{
    ThreadLocalBuffer& buffer = threadLocalBuffers[worker];
    if (!buffer.isUsed) buffer.Clear(numFrames);
    return buffer;
}

void Engine::RenderChannels(unsigned numFrames)
{
    const auto numVoices = static_cast<unsigned>(renderChannels.size());
    const unsigned numWorkers = std::clamp(numVoices / kVoicesPerWorker, 1u, std::max(1u, param.numThreads));
    for (ThreadLocalBuffer& buffer : threadLocalBuffers) buffer.isUsed = false;
    workShares.Deal(numVoices, numWorkers);
    threadPool->Run(numWorkers, [&](unsigned w) noexcept {
        if (w == 0) BufferOf(0, numFrames);
        workShares.Take(w, kVoicesPerClaim, [&](unsigned first, unsigned end) noexcept {
            ThreadLocalBuffer& buffer = BufferOf(w, numFrames);
            for (unsigned i = first; i < end; ++i)
                renderChannels[i]->RenderBlock(*this, static_cast<int>(numFrames), buffer);
        });
    });
}

void Engine::RenderRoom(unsigned numFrames)
{
    ThreadLocalBuffer& sum = threadLocalBuffers[0];
    sendNetwork.Render(numFrames, renderReverbSettings, sum.reverbSend.data(), sum.lowSend.data(), sum.mix.data());
    lowBand.Render(numFrames, sum.lowSend.data(), sum.mix.data());
}

// The first worker renders the room, which the directions do not touch, before it takes part in them: the others are on
// their way meanwhile.
void Engine::FinishSpatializer(unsigned numFrames)
{
    const unsigned numParts = spatializer->PrepareEndRender();
    const unsigned numWorkers = std::max(1u, std::min(param.numThreads, numParts));
    workShares.Deal(numParts, numWorkers, sendNetwork.IsAsleep() ? 0 : kRoomParts);
    threadPool->Run(numWorkers, [&](unsigned w) noexcept {
        if (w == 0) RenderRoom(numFrames);
        bool hasPart = w == 0;
        workShares.Take(w, kDirectionsPerClaim, [&](unsigned first, unsigned end) noexcept {
            spatializer->Convolve(first, end - first, w);
            hasPart = true;
        });
        if (hasPart) spatializer->AddConvolved(BufferOf(w, numFrames).spatialOut.data(), w, w == 0);
    });
}

// Adds the other workers' bus, as far as they had anything to do, to the first one's, up to four at a time.
void Engine::SumBuses(AlignedVector ThreadLocalBuffer::*bus)
{
    const float* sources[4];
    int numSources = 0;
    AlignedVector& sum = threadLocalBuffers[0].*bus;
    const auto n = static_cast<unsigned>(sum.size());
    const auto add = [&] {
        switch (numSources) {
        case 4:
            return Accumulate(n, sum.data(), sources[0], sources[1], sources[2], sources[3]);
        case 3:
            return Accumulate(n, sum.data(), sources[0], sources[1], sources[2]);
        case 2:
            return Accumulate(n, sum.data(), sources[0], sources[1]);
        case 1:
            return Accumulate(n, sum.data(), sources[0]);
        }
    };
    for (std::size_t w = 1; w < threadLocalBuffers.size(); ++w) {
        if (!threadLocalBuffers[w].isUsed) continue;
        sources[numSources++] = (threadLocalBuffers[w].*bus).data();
        if (numSources < 4) continue;
        add();
        numSources = 0;
    }
    add();
}

// Voices that play on join the next block behind those created meanwhile.
void Engine::FinishBlock(int numFrames)
{
    std::lock_guard lock(channelListMutex);
    for (auto& channel : renderChannels)
        if (channel->IsPlaying()) channels.push_back(std::move(channel));
    for (const auto& channel : channels) channel->Postrender(numFrames);
}

} // namespace kal
