// Renders a program of the browser tests by the native engine alone: blocks of 128 frames, which end early where the
// room changes, and the table of four lanes, as the browser has it.
//
//     web_reference PROGRAM.json OUT.raw

#include "Kal/KalEngine.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Kal/Space/KalHrtf.h"
#include "libkalmarble/Listener.h"
#include "libkalmarble/RoomReverb.h"
#include "libkalmarble/VoiceRecord.h"
#include "tools/scene/SampleBuffer.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

std::shared_ptr<const kal::Buffer> Noise(const json& sound)
{
    std::uint32_t x = sound["seed"];
    const std::size_t frames = sound["frames"], channels = sound["channels"];
    std::vector<float> samples(frames * channels);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        for (std::size_t i = 0; i < frames; ++i) {
            x = x * 1664525u + 1013904223u;
            samples[i * channels + channel] = static_cast<float>(x / 2147483648.0 - 1.0);
        }
    }
    return std::make_shared<kalscene::SampleBuffer>(std::move(samples), static_cast<int>(channels), sound["rate"]);
}

kal::Vector3 Vector(const json& v)
{
    return {v[0], v[1], v[2]};
}

struct Voice {
    json settings; ///< of the add, and what was set since
    std::shared_ptr<const kal::Buffer> buffer;
    std::shared_ptr<kal::Channel> channel;
    bool isStopped = false;
};

class Player {
public:
    explicit Player(const json& program) : events(program["events"])
    {
        for (const json& sound : program["buffers"]) buffers.push_back(Noise(sound));
        engine = std::make_shared<kal::Engine>(
            kal::EngineParam{program["samplingRate"], 2, 1, kal::hrtfData, kal::hrtfDataSize});
        listener.Place({}, {0, 0, -1}, {0, 1, 0});
    }

    // Up to 128 frames.
    std::vector<float> RenderBlock()
    {
        std::int64_t end = (position / 128 + 1) * 128;
        for (std::size_t i = next; i < events.size(); ++i)
            if (events[i].contains("room") && events[i]["at"] > position)
                end = std::min<std::int64_t>(end, events[i]["at"]);
        for (; next < events.size() && events[next]["at"] < end; ++next) Apply(events[next]);
        std::vector<float> block(2 * static_cast<std::size_t>(end - position));
        engine->Prerender();
        engine->Render(block.data(), static_cast<int>(end - position));
        position = end;
        return block;
    }

private:
    void Apply(const json& event)
    {
        const double time = event["at"].get<double>() - static_cast<double>(position);
        if (event.contains("add")) {
            const json& add = event["add"];
            const auto& buffer = buffers[add["buffer"].get<std::size_t>()];
            voices.push_back({add, buffer, nullptr});
            voices.back().channel = engine->CreateChannel(time, buffer, RecordOf(voices.back()));
            return;
        }
        if (event.contains("room")) {
            const json& room = event["room"];
            const auto [x, y, z] = room["dimensions"].get<std::array<double, 3>>();
            roomSize = static_cast<float>(std::max({x, y, z}));
            const auto volume = static_cast<float>(x * y * z), area = static_cast<float>(2 * (x * y + y * z + z * x));
            engine->reverbSettings = kalmarble::RoomReverb({room["wetA"], volume, area, roomSize, room["wetB"]});
        } else if (event.contains("listener")) {
            listener.Place(Vector(event["listener"]["position"]), Vector(event["listener"]["front"]), {0, 1, 0});
        } else {
            Voice& voice = voices[event["voice"].get<std::size_t>()];
            if (event.contains("seek")) return voice.channel->Seek(time, event["seek"]);
            voice.isStopped = voice.isStopped || event.contains("stop");
            if (voice.isStopped) return voice.channel->Stop(time);
            voice.settings.update(event["set"]);
            return Tell(voice, time);
        }
        for (Voice& voice : voices) Tell(voice, time);
    }

    void Tell(Voice& voice, double time)
    {
        if (!voice.isStopped) voice.channel->UpdateChannelParam(time, RecordOf(voice));
    }

    kal::ChannelParam RecordOf(const Voice& voice) const
    {
        const json& s = voice.settings;
        const float distance = s.value("referenceDistance", 1.0f);
        const KalPlayParam param = {s["gain"], s.value("speed", 1.0f), distance * distance};
        kal::ChannelParam record =
            s.value("local", false) ? kalmarble::VoiceRecord(param)
                                    : kalmarble::VoiceRecord({param, Vector(s["position"]), s.value("relative", false),
                                                              voice.buffer->GetNumChannels() == 1},
                                                             listener, roomSize, 1.0f);
        record.speed = s.value("speed", 1.0);
        record.lowpassCoef = static_cast<float>(1.0 - s.value("occlusion", 0.0));
        record.position = s.value("offset", 0.0);
        const json loop = s.value("loop", json(false));
        record.isLooped = loop != false;
        if (loop == true) record.loopEnd = voice.buffer->GetNumSamples();
        if (loop.is_array()) {
            record.loopStart = loop[0];
            record.loopEnd = loop[1];
        }
        return record;
    }

    json events;
    std::size_t next = 0;
    std::vector<std::shared_ptr<const kal::Buffer>> buffers;
    std::vector<Voice> voices;
    std::shared_ptr<kal::Engine> engine;
    kalmarble::Listener listener;
    float roomSize = 0.0f;
    std::int64_t position = 0;
};

} // namespace

int main(int argc, char** argv)
try {
    if (argc != 3) throw std::runtime_error("usage: web_reference PROGRAM.json OUT.raw");
    qfft::cpu::SelectInstructionSet(qfft::cpu::InstructionSet::Lanes4);
    const json program = json::parse(std::ifstream(argv[1]));
    Player player(program);
    std::vector<float> samples;
    const std::size_t wanted = 2 * program["frames"].get<std::size_t>();
    while (samples.size() < wanted) {
        const std::vector<float> block = player.RenderBlock();
        samples.insert(samples.end(), block.begin(), block.end());
    }
    std::ofstream out(argv[2], std::ios::binary);
    if (!out.write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(sizeof(float) * wanted)))
        throw std::runtime_error(std::string("cannot write ") + argv[2]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
