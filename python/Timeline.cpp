#include "Timeline.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtf.h"
#include "libkalmarble/RoomReverb.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kalpython {

namespace {

// A sound that moves is heard from the next measured direction at the edge of a block, so blocks are short and lie
// alike however many frames are asked for.
constexpr std::int64_t kBlockFrames = 512;

constexpr double kEndOfBuffers = 2147483647.0; // frames: none is longer, and the engine counts no further ahead

void Check(bool isRight, const char* what, double value)
{
    if (!isRight) throw kal::Exception("expected %s, found %g", what, value);
}

kal::EngineParam EngineParamOf(double samplingRate, const std::string& hrtf, unsigned numThreads)
{
    if (hrtf.empty()) return {samplingRate, 2, numThreads, kal::hrtfData, kal::hrtfDataSize};
    return {samplingRate, 2, numThreads, hrtf.data(), static_cast<std::uint32_t>(hrtf.size())};
}

} // namespace

void VoiceSettings::WriteTo(kal::ChannelParam& record) const
{
    Check(speed >= 0.001 && speed <= 1000.0, "a speed, 0.001 to 1000", speed);
    Check(gain >= 0.0 && gain <= 1000.0, "a linear gain, 0 to 1000", gain);
    Check(roomSend >= 0.0 && roomSend <= 1000.0, "a room send, 0 to 1000", roomSend);
    Check(occlusion >= 0.0 && occlusion <= 1.0, "an occlusion, 0 (open) to 1 (closed)", occlusion);
    Check(referenceDistance > 0.0 && referenceDistance <= 1e6, "a reference distance above 0, up to 1e6",
          referenceDistance);
    for (const float x : {position.x, position.y, position.z})
        Check(std::abs(x) <= 1e6f, "a coordinate, -1e6 to 1e6", x);
    record.speed = speed;
    record.gain = static_cast<float>(gain);
    record.reverbSendGain = static_cast<float>(gain * roomSend);
    record.lowpassCoef = static_cast<float>(1.0 - occlusion);
    record.sourcePosition = position;
    const auto distance = static_cast<float>(referenceDistance);
    record.referenceDistanceSq = distance * distance;
}

void VoiceChange::WriteTo(VoiceSettings& settings) const
{
    settings.speed = speed.value_or(settings.speed);
    settings.gain = gain.value_or(settings.gain);
    settings.roomSend = roomSend.value_or(settings.roomSend);
    settings.occlusion = occlusion.value_or(settings.occlusion);
    settings.referenceDistance = referenceDistance.value_or(settings.referenceDistance);
    settings.position = position.value_or(settings.position);
}

void Voice::Change(const VoiceChange& change, std::optional<std::int64_t> at)
{
    VoiceSettings changed;
    kal::ChannelParam record;
    change.WriteTo(changed);
    changed.WriteTo(record); // what is wrong is to be said now, not when it is due
    timeline->Schedule(at, start, [voice = state, change](double time) {
        change.WriteTo(voice->settings);
        voice->settings.WriteTo(voice->record);
        voice->channel->UpdateChannelParam(time, voice->record);
    });
}

void Voice::Seek(double position, std::optional<std::int64_t> at)
{
    Check(position >= 0.0 && position < kEndOfBuffers, "a position within the buffer", position);
    timeline->Schedule(at, start, [voice = state, position](double time) { voice->channel->Seek(time, position); });
}

void Voice::Stop(std::optional<std::int64_t> at)
{
    timeline->Schedule(at, start, [voice = state](double time) { voice->channel->Stop(time); });
}

Timeline::Timeline(double rate, std::string hrtfData, unsigned numThreads)
    : samplingRate(rate),
      hrtf(std::move(hrtfData)),
      engine(std::make_shared<kal::Engine>(EngineParamOf(rate, hrtf, numThreads)))
{
    engine->reverbSettings = kalmarble::RoomReverb({});
}

std::shared_ptr<Voice> Timeline::Play(std::shared_ptr<const kal::Buffer> buffer, kal::ChannelParam record,
                                      const VoiceSettings& settings, std::optional<std::int64_t> at)
{
    settings.WriteTo(record);
    const std::scoped_lock lock(mutex);
    const std::int64_t start = FrameOf(at, 0);
    const auto delay = static_cast<double>(start - position);
    Check(delay < kEndOfBuffers, "a start less than 2^31 frames ahead", delay);
    const auto state = std::make_shared<Voice::State>();
    *state = {engine->CreateChannel(delay, std::move(buffer), record), record, settings};
    return std::make_shared<Voice>(shared_from_this(), state, start);
}

void Timeline::Schedule(std::optional<std::int64_t> at, std::int64_t earliest, Event event)
{
    const std::scoped_lock lock(mutex);
    events.emplace(FrameOf(at, earliest), std::move(event));
}

void Timeline::SetRoom(const KalReverbParam& room, std::optional<std::int64_t> at)
{
    const std::scoped_lock lock(mutex);
    rooms[FrameOf(at, 0)] = kalmarble::RoomReverb(room);
}

void Timeline::Render(float* out, std::int64_t numFrames)
{
    const std::scoped_lock renderLock(renderMutex);
    while (numFrames > 0) {
        const int count = PrepareBlock(numFrames);
        engine->Render(out, count);
        out += std::ptrdiff_t{2} * count;
        numFrames -= count;
    }
}

std::int64_t Timeline::Position() const
{
    const std::scoped_lock lock(mutex);
    return position;
}

std::uint64_t Timeline::NumLimitedFrames() const
{
    const std::scoped_lock renderLock(renderMutex);
    return engine->NumLimitedFrames();
}

std::int64_t Timeline::FrameOf(std::optional<std::int64_t> at, std::int64_t earliest) const
{
    earliest = std::max(earliest, position);
    if (at.value_or(earliest) >= earliest) return at.value_or(earliest);
    throw kal::Exception("expected frame %lld or later, found %lld", static_cast<long long>(earliest),
                         static_cast<long long>(*at));
}

// Tells the engine what is due in the next block, in the order of time. What is said while it renders lies behind.
int Timeline::PrepareBlock(std::int64_t numFrames)
{
    const std::scoped_lock lock(mutex);
    const std::int64_t begin = position;
    std::int64_t end = std::min(begin + numFrames, (begin / kBlockFrames + 1) * kBlockFrames);
    while (!rooms.empty() && rooms.begin()->first <= begin) {
        engine->reverbSettings = rooms.begin()->second;
        rooms.erase(rooms.begin());
    }
    if (!rooms.empty()) end = std::min(end, rooms.begin()->first);
    while (!events.empty() && events.begin()->first < end) {
        const auto event = events.extract(events.begin());
        event.mapped()(static_cast<double>(event.key() - begin));
    }
    engine->Prerender();
    position = end;
    return static_cast<int>(end - begin);
}

} // namespace kalpython
