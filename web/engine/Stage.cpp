#include "Stage.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalSpatializer.h"
#include "libkalmarble/RoomReverb.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace kal::web {

namespace {

constexpr double kFadeFrames = 128.0; // from one head to the next
constexpr float kQuiet = 1e-5f;       // -100 dBFS
constexpr double kQuietFor = 0.5;     // s, after which an engine has rung out
constexpr std::size_t kMostRinging = 3;
constexpr double kTailFade = 0.02; // s, of a tail that is one too many

bool IsQuiet(float sample)
{
    return std::abs(sample) <= kQuiet;
}

float NumberOr(float number, float other)
{
    return std::isnan(number) ? other : number;
}

Vector3 NumbersOr(const Vector3& v, const Vector3& other)
{
    return {NumberOr(v.x, other.x), NumberOr(v.y, other.y), NumberOr(v.z, other.z)};
}

} // namespace

Stage::Stage(double rate, std::span<const unsigned char> head) : samplingRate(rate), engine(EngineWith(head))
{
    engine->reverbSettings = kalmarble::RoomReverb({});
    listenerUp = {0.0f, 1.0f, 0.0f};
    listener.Place({}, {0.0f, 0.0f, -1.0f}, listenerUp);
}

std::shared_ptr<Engine> Stage::EngineWith(std::span<const unsigned char> head) const
{
    auto made =
        std::make_shared<Engine>(EngineParam{samplingRate, 2, 1, head.data(), static_cast<std::uint32_t>(head.size())});
    if (!made->GetSpatializer()) throw Exception("The head has no measured directions.");
    return made;
}

Samples& Stage::AddBuffer(int id, int numChannels, std::int32_t numFrames, double rate)
{
    if (numChannels != 1 && numChannels != 2) throw Exception("Invalid channel count: %d", numChannels);
    if (numFrames < 0) throw Exception("Invalid buffer length: %d", numFrames);
    if (!(rate > 0.0)) throw Exception("Invalid sampling rate: %f", rate);
    return *(buffers[id] = std::make_shared<Samples>(numChannels, numFrames, rate));
}

void Stage::Add(int id, int buffer, const VoiceStart& start, const VoiceSettings& settings, std::int64_t frame)
{
    const auto found = buffers.find(buffer);
    if (found == buffers.end()) throw Exception("There is no buffer %d.", buffer);
    Voice voice{found->second, start, settings, nullptr};
    voice.Record(listener, roomSize).Validate();
    voices[id] = std::move(voice);
    events.emplace(frame, [this, id](double time) {
        const auto due = voices.find(id);
        if (due != voices.end()) Begin(due->second, time);
    });
}

void Stage::Begin(Voice& voice, double time)
{
    if (!voice.isStopped) voice.channel = engine->CreateChannel(time, voice.buffer, voice.Record(listener, roomSize));
}

void Stage::Set(int id, const VoiceSettings& change, std::int64_t frame)
{
    const bool isLate = frame <= position;
    if (isLate) {
        const auto [late, isFirst] = lateChanges.try_emplace(id, change);
        if (!isFirst) return late->second.Take(change);
    }
    events.emplace(frame, [this, id, change, isLate](double time) {
        const VoiceSettings latest = isLate ? lateChanges.extract(id).mapped() : change;
        const auto due = voices.find(id);
        if (due == voices.end()) return;
        due->second.settings.Take(latest);
        Tell(due->second, time);
    });
}

void Stage::Seek(int id, double to, std::int64_t frame)
{
    events.emplace(frame, [this, id, to](double time) {
        const auto due = voices.find(id);
        if (due == voices.end()) return;
        if (due->second.channel)
            due->second.channel->Seek(time, to);
        else
            due->second.start.offset = to;
    });
}

void Stage::Stop(int id, std::int64_t frame)
{
    events.emplace(frame, [this, id](double time) {
        const auto due = voices.find(id);
        if (due == voices.end()) return;
        due->second.isStopped = true;
        if (due->second.channel) due->second.channel->Stop(time);
    });
}

void Stage::PlaceListener(const Vector3& eye, const Vector3& front, const Vector3& up, std::int64_t frame)
{
    const View view = {eye, front, up};
    if (frame > position) {
        events.emplace(frame, [this, view](double time) { Place(view, time); });
    } else if (lateView) {
        lateView = {NumbersOr(eye, lateView->eye), NumbersOr(front, lateView->front), NumbersOr(up, lateView->up)};
    } else {
        lateView = view;
        events.emplace(frame, [this](double time) { Place(*std::exchange(lateView, {}), time); });
    }
}

void Stage::Place(const View& view, double time)
{
    listenerUp = NumbersOr(view.up, listenerUp);
    listener.Place(NumbersOr(view.eye, listener.eye), NumbersOr(view.front, listener.front), listenerUp);
    TellAll(time);
}

void Stage::SetRoom(const KalReverbParam& room, std::int64_t frame)
{
    rooms[frame] = room;
}

void Stage::Tell(Voice& voice, double time)
{
    if (voice.channel && !voice.isStopped) voice.channel->UpdateChannelParam(time, voice.Record(listener, roomSize));
}

void Stage::TellAll(double time)
{
    for (auto& [id, voice] : voices) Tell(voice, time);
}

// The new engine is there before anything changes, so that a head that is refused is not heard.
void Stage::ChangeHead(std::span<const unsigned char> head)
{
    const std::shared_ptr<Engine> next = EngineWith(head);
    next->reverbSettings = engine->reverbSettings;
    if (!isUnheard) ringing.push_back({engine});
    limitedBefore += engine->NumLimitedFrames();
    engine = next;
    isUnheard = true;
    for (auto& [id, voice] : voices)
        if (voice.channel && !voice.isStopped) Attempt([&, &begun = voice] { HandOver(begun); });
}

// Gains of a placed voice are smoothed, so that it fades when it is told to be silent. Of one that is not, the engines
// make the same samples, and one goes on where the other ends.
void Stage::HandOver(Voice& voice)
{
    ChannelParam record = voice.Record(listener, roomSize);
    record.position = voice.channel->Position();
    voice.isRising = record.isSpatialized;
    if (voice.isRising) record.gain = record.reverbSendGain = 0.0f;
    const auto begun = engine->CreateChannel(0.0, voice.buffer, record);
    if (voice.isRising) voice.channel->UpdateChannelParam(0.0, record);
    voice.channel->Stop(voice.isRising ? kFadeFrames : 0.0);
    voice.channel = begun;
}

void Stage::Render(std::int64_t frame, float* left, float* right, int numFrames)
{
    position = frame;
    for (int done = 0; done < numFrames;) {
        const int count = PrepareBlock(numFrames - done);
        block.resize(2 * static_cast<std::size_t>(count));
        engine->Prerender();
        engine->Render(block.data(), count);
        isUnheard = isUnheard && std::all_of(block.begin(), block.end(), IsQuiet);
        RingOut(count);
        Measure(block.data(), count);
        for (int i = 0; i < count; ++i, ++done) {
            left[done] = block[2 * static_cast<std::size_t>(i)];
            right[done] = block[2 * static_cast<std::size_t>(i) + 1];
        }
        position += count;
        ForgetEnded();
    }
}

// Tells the engine what is due in the next block, which ends where the room changes.
int Stage::PrepareBlock(int numFrames)
{
    std::int64_t end = position + numFrames;
    for (; !rooms.empty() && rooms.begin()->first <= position; rooms.erase(rooms.begin())) {
        const KalReverbParam& room = rooms.begin()->second;
        engine->reverbSettings = kalmarble::RoomReverb(room);
        for (Ringing& tail : ringing) tail.engine->reverbSettings = engine->reverbSettings;
        roomSize = room.roomSize;
        Attempt([&] { TellAll(0.0); });
    }
    if (!rooms.empty()) end = std::min(end, rooms.begin()->first);
    RunDue(end);
    return static_cast<int>(end - position);
}

void Stage::RunDue(std::int64_t end)
{
    while (!events.empty() && events.begin()->first < end) {
        const auto event = events.extract(events.begin());
        Attempt([&] { event.mapped()(static_cast<double>(std::max<std::int64_t>(0, event.key() - position))); });
    }
    for (auto& [id, voice] : voices)
        if (std::exchange(voice.isRising, false)) Attempt([&, &begun = voice] { Tell(begun, 1.0); });
}

template<class Action>
void Stage::Attempt(Action action)
{
    try {
        action();
    } catch (const std::exception& error) {
        problem = error.what();
    }
}

void Stage::RingOut(int numFrames)
{
    if (ringing.empty()) return;
    ringingBlock.resize(block.size());
    const std::size_t numFaded = ringing.size() - std::min(ringing.size(), kMostRinging);
    for (std::size_t i = 0; i < ringing.size(); ++i) {
        ringing[i].engine->Prerender();
        ringing[i].engine->Render(ringingBlock.data(), numFrames);
        AddTail(ringing[i], i < numFaded);
    }
    for (float& sample : block) sample = std::clamp(sample, -1.0f, 1.0f);
    std::erase_if(ringing, [&](const Ringing& tail) {
        return tail.quietFrames >= kQuietFor * samplingRate || tail.fadedFrames >= kTailFade * samplingRate;
    });
}

void Stage::AddTail(Ringing& tail, bool isFaded)
{
    const float step = isFaded ? static_cast<float>(1.0 / (kTailFade * samplingRate)) : 0.0f;
    for (std::size_t i = 0; i < block.size(); i += 2) {
        const float gain = std::max(0.0f, 1.0f - step * static_cast<float>(tail.fadedFrames));
        const float left = gain * ringingBlock[i], right = gain * ringingBlock[i + 1];
        block[i] += left;
        block[i + 1] += right;
        if (isFaded) ++tail.fadedFrames;
        tail.quietFrames = IsQuiet(left) && IsQuiet(right) ? tail.quietFrames + 1 : 0;
    }
}

void Stage::Measure(const float* frames, int numFrames)
{
    for (int i = 0; i < 2 * numFrames; ++i) {
        const double x = frames[i];
        report.peak[i % 2] = std::max(report.peak[i % 2], std::abs(x));
        squares[i % 2] += x * x;
    }
    numMeasured += numFrames;
}

void Stage::ForgetEnded()
{
    std::erase_if(voices, [&](const auto& entry) {
        const auto& [id, voice] = entry;
        const bool hasEnded = voice.channel ? !voice.channel->IsPlaying() : voice.isStopped;
        if (hasEnded) report.ended.push_back(id);
        return hasEnded;
    });
}

Report Stage::TakeReport()
{
    for (int side = 0; side < 2; ++side)
        report.rms[side] = std::sqrt(squares[side] / static_cast<double>(std::max<std::int64_t>(1, numMeasured)));
    report.numLimitedFrames = limitedBefore + engine->NumLimitedFrames();
    report.numSides = engine->GetSpatializer()->NumActiveSides();
    for (const auto& [id, voice] : voices) {
        if (!voice.channel) continue;
        ++report.numVoices;
        const ChannelParam record = voice.Record(listener, roomSize);
        if (record.isSpatialized)
            report.measured.push_back({id, engine->GetSpatializer()->NearestTo(record.sourcePosition)});
    }
    squares[0] = squares[1] = 0.0;
    numMeasured = 0;
    return std::exchange(report, {});
}

} // namespace kal::web
