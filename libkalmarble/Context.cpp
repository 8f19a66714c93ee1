#include "libkalmarble/Context.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtf.h"
#include "libkalmarble/Clock.h"
#include "libkalmarble/LoadControl.h"
#include "libkalmarble/RoomReverb.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace kalmarble {

namespace {

constexpr double kMaxStartOffset = 10000.0; // samples
constexpr double kMaxBlockSeconds = 10.0;

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
    thread = std::make_shared<kal::Thread>("kal-render", [this] { RunBackground(); });
}

Context::~Context()
{
    running = false;
    ring.Close();
    thread->Join();
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
        // Before the engine takes over the voices of a block that may not come.
        renderScratch.resize(count);
        ring.Reserve(count);
        {
            std::lock_guard lock(engineMutex);
            roundStartTime = Now();
            engine->Prerender();
        }
        engine->Render(renderScratch.data(), numFrames);
        ring.Write(renderScratch);
    } catch (...) {
        renderScratch = std::vector<float>(); // no memory for so long a block, say: the host's Render tells
        ring.Fail(count, std::current_exception());
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
    if (numFrames > kMaxBlockSeconds * param.samplingRate) throw kal::Exception("Frame count is too large.");

    const double start = Now();
    {
        std::lock_guard lock(readerMutex);
        blockFrames = numFrames;
        ring.Read(out, 2 * static_cast<std::size_t>(numFrames));
    }
    if (const auto percent = LateReadPercent(Now() - start, numFrames / param.samplingRate))
        DebugLog("Read time exceeded 20%c (%d%c): possibly overload", '%', *percent, '%');
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

// What can fail comes before the voice starts, so that a call that failed is not heard.
void Context::PlayPositional(const Buffer& buffer, const kal::Vector3& origin, const PlayParam& playParam,
                             bool isRelative)
{
    auto samples = buffer.Samples();
    Channel channel(surroundings, samples->GetNumChannels() == 1, playParam, origin, isRelative);
    Changes changes = LimitPolyphonics(); // the new one is not yet among those that may have to give way
    if (channels.size() == channels.capacity()) channels.reserve(2 * channels.size() + 8);
    {
        std::lock_guard lock(engineMutex);
        const double offset = StartOffset();
        channel.Start(*engine, offset, std::move(samples));
        Commit(offset, changes);
    }
    ForgetStopped(changes);
    channels.push_back(std::move(channel));
    channelCount = static_cast<int>(channels.size());
}

void Context::Respatialize(const kal::Vector3& eye, const kal::Vector3& front, const kal::Vector3& up,
                           const ReverbParam& reverb)
{
    Surroundings next = surroundings;
    next.listener.Place(eye, front, up);
    next.roomSize = reverb.roomSize;
    const kal::ReverbSettings room = RoomReverb(reverb);
    Changes changes = LimitPolyphonics();
    PrepareUpdates(next, changes);
    surroundings = next;
    {
        std::lock_guard lock(engineMutex);
        Commit(StartOffset(), changes);
        engine->reverbSettings = room;
    }
    ForgetStopped(changes);
    ForgetEnded();
}

Context::Changes Context::LimitPolyphonics() const
{
    const std::int64_t limit = std::max(0, std::min<int>(currentPolyphonyLimit, param.maxPolyphonics));
    const auto beyond = static_cast<std::size_t>(std::max<std::int64_t>(0, std::int64_t(channels.size()) - limit));
    Changes changes{beyond, {}};
    changes.list.reserve(beyond);
    for (std::size_t i = 0; i < beyond; ++i) changes.list.push_back(channels[i].PrepareStop());
    return changes;
}

void Context::PrepareUpdates(const Surroundings& next, Changes& changes) const
{
    changes.list.reserve(channels.size());
    for (std::size_t i = changes.numStops; i < channels.size(); ++i)
        changes.list.push_back(channels[i].PrepareUpdate(next));
}

void Context::Commit(double time, Changes& changes) noexcept
{
    for (std::size_t i = 0; i < changes.list.size(); ++i) channels[i].Commit(time, changes.list[i]);
}

void Context::ForgetStopped(const Changes& changes) noexcept
{
    channels.erase(channels.begin(), channels.begin() + static_cast<std::ptrdiff_t>(changes.numStops));
    channelCount = static_cast<int>(channels.size());
}

void Context::ForgetEnded() noexcept
{
    std::erase_if(channels, [](const Channel& channel) { return !channel.IsPlaying(); });
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
