#include "libkalmarble/Context.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtf.h"
#include "libkalmarble/Clock.h"
#include "libkalmarble/LoadControl.h"
#include "libkalmarble/RoomReverb.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace kalmarble {

namespace {

constexpr double kMaxStartOffset = 10000.0;

kal::EngineParam EngineParamFrom(const InitParam& param)
{
    // A negative count is refused by the engine as the huge one that it then is.
    return {.samplingRate = param.samplingRate,
            .numChannels = 2,
            .numThreads = static_cast<std::uint32_t>(param.numThreads),
            .hrtfData = kal::hrtfData,
            .hrtfDataSize = kal::hrtfDataSize};
}

} // namespace

Context::Context(const InitParam& initParam)
    : param(initParam),
      engineParam(EngineParamFrom(initParam)),
      surroundings{initParam.occlusionQuery, initParam.occlusionQueryUserData, {}, 0.0f},
      currentPolyphonyLimit(initParam.maxPolyphonics)
{
    engine = std::make_shared<kal::Engine>(engineParam);
    roundStartTime = Now();
    thread = std::thread([this] { RunBackground(); });
}

Context::~Context()
{
    running = false;
    ring.Close();
    thread.join();
    while (!channels.empty()) channels.pop_front();
}

void Context::RunBackground()
{
    while (running) {
        ring.WaitForTurn();
        if (!running) break;
        RenderRound();
    }
}

void Context::RenderRound()
{
    currentPolyphonyLimit = RaisedPolyphonyLimit(currentPolyphonyLimit, param.maxPolyphonics);
    const double start = Now();
    const int numFrames = blockFrames;
    const std::size_t count = 2 * static_cast<std::size_t>(numFrames);
    try {
        renderScratch.resize(count); // before the engine takes over the voices of a block that may not come
        {
            std::lock_guard lock(engineMutex);
            roundStartTime = Now();
            engine->Prerender();
        }
        engine->Render(renderScratch.data(), numFrames);
        ring.Write(renderScratch);
    } catch (...) {
        ring.Fail(count, std::current_exception()); // no memory for so long a block, say: the host's Render tells
        return;
    }
    AdjustLoad(Now() - start, numFrames / param.samplingRate);
}

void Context::AdjustLoad(double elapsed, double duration)
{
    const int count = channelCount;
    const auto [limit, loadPercent] =
        AdjustedPolyphonyLimit(elapsed, duration, count, currentPolyphonyLimit, param.maxPolyphonics);
    currentPolyphonyLimit = limit;
    if (loadPercent)
        DebugLog("Auto Load Control Activated: %d poly caused %d%c CPU load. Limited to %d temporally.", count,
                 *loadPercent, '%', limit);
}

void Context::Render(float* out, int numFrames)
{
    if (numFrames < 0) throw kal::Exception("Frame count is negative.");
    if (static_cast<std::size_t>(numFrames) > BlockRing::kMaxFloats / 2)
        throw kal::Exception("Frame count is too large.");

    const double start = Now();
    blockFrames = numFrames;
    ring.Read(out, 2 * static_cast<std::size_t>(numFrames));
    const double elapsed = Now() - start;
    const double duration = numFrames / param.samplingRate;
    if (elapsed > 0.2 * duration)
        DebugLog("Read time exceeded 20%c (%d%c): possibly overload", '%', LoadPercent(elapsed, duration), '%');
}

void Context::PlayLocal(const Buffer& buffer, const PlayParam& playParam)
{
    std::lock_guard lock(engineMutex);
    engine->CreateChannel(StartOffset(), buffer.Samples(), VoiceRecord(playParam));
}

void Context::PlayAbsolute(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& playParam)
{
    PlayPositional(buffer, origin, playParam, false);
}

void Context::PlayRelative(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& playParam)
{
    PlayPositional(buffer, origin, playParam, true);
}

void Context::PlayPositional(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& playParam,
                             bool isRelative)
{
    auto samples = buffer.Samples();
    const auto channel =
        std::make_shared<Channel>(surroundings, samples->GetNumChannels() == 1, playParam, origin, isRelative);
    {
        std::lock_guard lock(engineMutex);
        const double offset = StartOffset();
        channel->Start(*engine, offset, std::move(samples));
        LimitPolyphonics(offset); // the new one is not yet among those that may have to give way
    }
    channels.push_back(channel);
    channelCount = static_cast<int>(channels.size());
    // Sounds that have ended are only found by an update; a host that plays much between two listener moves needs one.
    if (std::int64_t{channelCount} > 4 * std::int64_t{param.maxPolyphonics}) Update();
}

void Context::Respatialize(const kal::Vector3& eye, const kal::Vector3& front, const kal::Vector3& up,
                           const ReverbParam& reverb)
{
    surroundings.listener.Place(eye, front, up);
    surroundings.roomSize = reverb.roomSize;
    {
        std::lock_guard lock(engineMutex);
        LimitPolyphonics(StartOffset());
        engine->reverbSettings = RoomReverb(reverb);
    }
    Update();
}

// A sound that cannot be brought up to date leaves all as they were: the new queue replaces the old one at the end.
void Context::Update()
{
    std::deque<std::shared_ptr<Channel>> kept;
    for (const auto& channel : channels) {
        if (!channel->IsPlaying()) continue;
        if (const auto record = channel->Change(surroundings)) {
            std::lock_guard lock(engineMutex);
            channel->Update(StartOffset(), *record);
        }
        kept.push_back(channel);
    }
    channels.swap(kept);
    channelCount = static_cast<int>(channels.size());
}

void Context::LimitPolyphonics(double time)
{
    const int limit = std::min<int>(currentPolyphonyLimit, param.maxPolyphonics);
    while (!channels.empty() && std::int64_t(channels.size()) > limit) {
        channels.front()->Terminate(time);
        channels.pop_front();
    }
    channelCount = static_cast<int>(channels.size());
}

double Context::StartOffset() const
{
    return std::clamp((Now() - roundStartTime) * param.samplingRate, 0.0, kMaxStartOffset);
}

void Context::DebugLog(const char* format, ...) const
{
    if (!param.debugLog) return;
    char message[2048];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    param.debugLog(message, param.debugLogUserData);
}

} // namespace kalmarble
