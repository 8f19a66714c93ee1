#include "Renderer.h"

#include "libkalmarble/RoomReverb.h"
#include "libkalmarble/VoiceRecord.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace kalscene {

namespace {

// The engine's blocks end at multiples of this and, as it takes a new room at the edge of a block, at the room's keys.
// When a sound that moves is heard from the next measured direction depends on these edges, so they depend on nothing
// but the scene.
constexpr std::int64_t kBlockFrames = 512;

constexpr float kSilence = 3.16e-5f; // -90 dBFS
constexpr double kSilentFor = 0.5;   // s

template<std::size_t N>
void AppendKeys(std::vector<std::int64_t>& frames, const Curve<N>& curve)
{
    if (curve.IsConstant()) return;
    for (const auto& key : curve.keys) frames.push_back(key.frame);
}

bool Differs(const kal::ChannelParam& a, const kal::ChannelParam& b)
{
    const auto audible = [](const kal::ChannelParam& p) {
        return std::tuple(p.speed, p.gain, p.reverbSendGain, p.lowpassCoef, p.sourcePosition.x, p.sourcePosition.y,
                          p.sourcePosition.z);
    };
    return audible(a) != audible(b);
}

kal::EngineParam EngineParamOf(const Scene& scene, const RenderParam& param)
{
    return {scene.samplingRate, 2, param.numThreads, param.hrtf.data(), static_cast<std::uint32_t>(param.hrtf.size())};
}

} // namespace

Renderer::Renderer(std::shared_ptr<const Scene> theScene, const RenderParam& param)
    : scene(std::move(theScene)),
      engine(std::make_shared<kal::Engine>(EngineParamOf(*scene, param))),
      end(scene->length)
{
    for (const Sound& sound : scene->sounds) {
        if (param.only && param.only != &sound) continue;
        for (const Start& start : sound.starts) waiting.push_back({&sound, &start});
    }
    std::stable_sort(waiting.begin(), waiting.end(),
                     [](const Waiting& a, const Waiting& b) { return a.start->frame > b.start->frame; });
    AppendKeys(sharedKeys, scene->listener);
    AppendKeys(sharedKeys, scene->turn);
    AppendKeys(sharedKeys, scene->room);
    std::sort(sharedKeys.begin(), sharedKeys.end());
}

int Renderer::Render(float* out, int numFrames)
{
    int done = 0;
    while (done < numFrames) {
        if (taken == block.size()) {
            if (position >= end) break;
            RenderBlock();
        }
        const std::size_t count = std::min(block.size() - taken, 2 * static_cast<std::size_t>(numFrames - done));
        std::copy_n(block.data() + taken, count, out + 2 * static_cast<std::size_t>(done));
        taken += count;
        done += static_cast<int>(count / 2);
    }
    return done;
}

std::vector<Heard> Renderer::Voices() const
{
    std::vector<Heard> heard;
    for (const Voice& voice : voices) heard.push_back({voice.sound, voice.last.sourcePosition});
    return heard;
}

std::int64_t Renderer::BlockEnd() const
{
    std::int64_t blockEnd = std::min((position / kBlockFrames + 1) * kBlockFrames, end);
    for (const auto& key : scene->room.keys)
        if (key.frame > position) blockEnd = std::min(blockEnd, key.frame);
    return blockEnd;
}

void Renderer::RenderBlock()
{
    const std::int64_t begin = position, blockEnd = BlockEnd();
    const auto numFrames = static_cast<int>(blockEnd - begin);
    engine->reverbSettings = kalmarble::RoomReverb(RoomAt(*scene, begin));
    StartVoices(blockEnd);
    for (Voice& voice : voices) Change(voice, begin, blockEnd);

    block.resize(2 * static_cast<std::size_t>(numFrames));
    taken = 0;
    engine->Prerender();
    engine->Render(block.data(), numFrames);
    position = blockEnd;

    statistics.mostVoices = std::max(statistics.mostVoices, NumVoices());
    if (const auto& spatializer = engine->GetSpatializer())
        statistics.mostSides = std::max(statistics.mostSides, spatializer->NumActiveSides());
    std::erase_if(voices, [](const Voice& voice) { return !voice.channel->IsPlaying(); });
    statistics.limitedFrames = engine->NumLimitedFrames();
    ApplyGain(begin);
    if (scene->length == kNever) NoteSilence(begin);
}

void Renderer::StartVoices(std::int64_t blockEnd)
{
    for (; !waiting.empty() && waiting.back().start->frame < blockEnd; waiting.pop_back()) {
        const auto [sound, start] = waiting.back();
        const kal::ChannelParam record = RecordAt(*sound, *start, start->frame);
        const auto delay = static_cast<double>(start->frame - position);
        voices.push_back({sound, start, engine->CreateChannel(delay, sound->buffer, record), record});
        ++statistics.startedVoices;
    }
}

// The frames within begin ... blockEnd - 1 at which a voice is to be told something: when something moves, those of the
// scene's step and all keys.
void Renderer::CollectFrames(const Sound& sound, std::int64_t begin, std::int64_t blockEnd)
{
    frames.clear();
    for (const auto* curve : {&sound.gain, &sound.speed, &sound.occlusion}) AppendKeys(frames, *curve);
    AppendKeys(frames, sound.position);
    if (!frames.empty() || !sharedKeys.empty()) {
        frames.insert(frames.end(), sharedKeys.begin(), sharedKeys.end());
        for (std::int64_t f = begin + (scene->step - begin % scene->step) % scene->step; f < blockEnd; f += scene->step)
            frames.push_back(f);
    }
    for (const Seek& seek : sound.seeks) frames.push_back(seek.frame);
    frames.push_back(sound.stop);
    std::erase_if(frames, [&](std::int64_t f) { return f < begin || f >= blockEnd; });
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
}

// Tells a voice what changes within the block, in the order of time, as a seek carries the record that was told last.
// Nothing is said ahead of the block in which it is due: the engine would apply it at that block's end already.
void Renderer::Change(Voice& voice, std::int64_t begin, std::int64_t blockEnd)
{
    const Sound& sound = *voice.sound;
    CollectFrames(sound, begin, blockEnd);
    for (const std::int64_t frame : frames) {
        if (frame <= voice.start->frame) continue;
        const auto time = static_cast<double>(frame - begin);
        if (frame == sound.stop) {
            voice.channel->Stop(time);
            return;
        }
        const kal::ChannelParam record = RecordAt(sound, *voice.start, frame);
        if (Differs(record, voice.last)) {
            voice.channel->UpdateChannelParam(time, record);
            voice.last = record;
        }
        for (const Seek& seek : sound.seeks)
            if (seek.frame == frame) voice.channel->Seek(time, seek.position);
    }
}

kal::ChannelParam Renderer::RecordAt(const Sound& sound, const Start& start, std::int64_t frame) const
{
    const auto distance = static_cast<float>(sound.referenceDistance);
    const KalPlayParam param = {static_cast<float>(sound.gain.At(frame)[0] * start.gain), 1.0f, distance * distance};
    kal::Vector3 origin = ToVector(sound.position.At(frame));
    origin = {origin.x + start.offset.x, origin.y + start.offset.y, origin.z + start.offset.z};
    const bool isMono = sound.buffer->GetNumChannels() == 1;
    kal::ChannelParam record =
        sound.place == Place::None
            ? kalmarble::VoiceRecord(param)
            : kalmarble::VoiceRecord({param, origin, sound.place == Place::Listener, isMono}, ListenerAt(*scene, frame),
                                     RoomAt(*scene, frame).roomSize, 1.0f);
    record.speed = sound.speed.At(frame)[0] * start.speed;
    record.lowpassCoef = static_cast<float>(1.0 - sound.occlusion.At(frame)[0]);
    record.position = sound.from;
    if (sound.loop) {
        record.isLooped = true;
        record.loopStart = sound.loop->start;
        record.loopEnd = sound.loop->end;
    }
    return record;
}

void Renderer::ApplyGain(std::int64_t begin)
{
    if (scene->gain.IsConstant() && scene->gain.At(0)[0] == 1.0) return;
    for (std::size_t i = 0; i < block.size() / 2; ++i) {
        const auto gain = static_cast<float>(scene->gain.At(begin + static_cast<std::int64_t>(i))[0]);
        block[2 * i] *= gain;
        block[2 * i + 1] *= gain;
    }
}

void Renderer::NoteSilence(std::int64_t begin)
{
    for (std::size_t i = 0; i < block.size(); ++i)
        if (std::abs(block[i]) > kSilence) lastLoud = begin + static_cast<std::int64_t>(i / 2);
    const double quiet = static_cast<double>(position - 1 - lastLoud) / scene->samplingRate;
    if (waiting.empty() && voices.empty() && quiet >= kSilentFor) end = position;
}

} // namespace kalscene
