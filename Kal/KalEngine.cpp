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

// A worker joins for every full eight voices: below that, waking it costs more than it saves.
constexpr std::size_t kVoicesPerWorker = 8;

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
      threadLocalBuffers(engineParam.numThreads),
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
    // Room for the voices that the end of the block puts back, so that rendering need not allocate it.
    const auto needed = [this] { return channels.size() + 1 + renderChannels.size(); };
    if (channels.capacity() < needed()) {
        std::erase_if(channels, [](const auto& voice) { return voice->EndIfUnheard(); }); // while nothing is rendered
        if (channels.capacity() < needed()) channels.reserve(2 * needed());
    }
    channels.push_back(channel);
    return channel;
}

void Engine::Prerender()
{
    std::lock_guard lock(mutex);
    threadPool->BeginBlock(NumVoiceWorkers()); // those that the last block took, as a guess: it only saves time
    {
        std::lock_guard listLock(channelListMutex);
        renderChannels.clear();
        renderChannels.reserve(channels.capacity()); // first, so that no voice is lost when there is no memory for it
        renderChannels.swap(channels);
        for (const auto& channel : renderChannels) channel->Prerender();
    }
    renderReverbSettings = reverbSettings;
}

void Engine::Render(float* out, int numFrames)
{
    std::lock_guard lock(mutex);
    const ScopedFlushToZero flushToZero;
    const auto n = static_cast<unsigned>(numFrames);
    try {
        for (ThreadLocalBuffer& buffer : threadLocalBuffers) buffer.Clear(n);
        if (spatializer) spatializer->BeginRender(n);
    } catch (...) {
        threadPool->EndBlock();
        // No memory for such a block: what it took is given back, and the voices wait for one that fits.
        for (ThreadLocalBuffer& buffer : threadLocalBuffers) buffer = ThreadLocalBuffer();
        if (spatializer) spatializer->ForgetLongBlock();
        FinishBlock(0);
        throw;
    }
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

unsigned Engine::NumVoiceWorkers() const
{
    return std::max(
        1u, static_cast<unsigned>(std::min<std::size_t>(renderChannels.size() / kVoicesPerWorker, param.numThreads)));
}

void Engine::RenderChannels(unsigned numFrames)
{
    const unsigned numWorkers = NumVoiceWorkers();
    threadPool->Run(numWorkers, [&](unsigned w) {
        for (std::size_t i = w; i < renderChannels.size(); i += numWorkers)
            renderChannels[i]->RenderBlock(*this, static_cast<int>(numFrames), threadLocalBuffers[w]);
    });
}

void Engine::RenderRoom(unsigned numFrames)
{
    ThreadLocalBuffer& sum = threadLocalBuffers[0];
    sendNetwork.Render(numFrames, renderReverbSettings, sum.reverbSend.data(), sum.lowSend.data(), sum.mix.data());
    lowBand.Render(numFrames, sum.lowSend.data(), sum.mix.data());
}

// Every worker convolves its share of the directions in use. The room, which they do not touch, is part of the first
// worker's: the second one is on its way meanwhile.
void Engine::FinishSpatializer(unsigned numFrames)
{
    const unsigned numParts = spatializer->PrepareEndRender();
    const unsigned numWorkers = std::max(1u, std::min(param.numThreads, numParts));
    const unsigned room = sendNetwork.IsAsleep() ? 0 : kRoomParts;
    const unsigned share = (numParts + room + numWorkers - 1) / numWorkers;
    const auto firstPart = [&](unsigned w) {
        return w == 0 ? 0 : std::min(numParts, std::max(w * share, room) - room);
    };
    threadPool->Run(numWorkers, [&](unsigned w) {
        if (w == 0) RenderRoom(numFrames);
        const unsigned first = firstPart(w), count = firstPart(w + 1) - first;
        if (count > 0) spatializer->EndRender(threadLocalBuffers[w].spatialOut.data(), first, count, w);
    });
}

// Adds the other workers' bus to the first one's, up to four at a time.
void Engine::SumBuses(AlignedVector ThreadLocalBuffer::*bus)
{
    const auto source = [&](std::size_t i) { return (threadLocalBuffers[i].*bus).data(); };
    float* const sum = source(0);
    const auto n = static_cast<unsigned>((threadLocalBuffers[0].*bus).size());
    std::size_t i = 1;
    for (; i + 4 <= threadLocalBuffers.size(); i += 4)
        Accumulate(n, sum, source(i), source(i + 1), source(i + 2), source(i + 3));
    switch (threadLocalBuffers.size() - i) {
    case 3:
        Accumulate(n, sum, source(i), source(i + 1), source(i + 2));
        break;
    case 2:
        Accumulate(n, sum, source(i), source(i + 1));
        break;
    case 1:
        Accumulate(n, sum, source(i));
        break;
    }
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
