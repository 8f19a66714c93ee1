#include "SoundReader.h"

#include "Synth.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

namespace kalscene {

namespace {

using nlohmann::json;

Synth SynthOf(const json& document)
{
    Synth synth;
    synth.kind = document["kind"];
    synth.duration = document.value("duration", synth.duration);
    synth.frequency = document.value("frequency", synth.frequency);
    synth.to = document.value("to", synth.frequency);
    synth.harmonics = document.value("harmonics", synth.harmonics);
    synth.attack = document.value("attack", synth.attack);
    synth.decay = document.value("decay", synth.decay);
    synth.seed = document.value("seed", synth.seed);
    return synth;
}

// The language's standard fixes what this engine gives, so copies lie alike on every machine.
class Dice {
public:
    explicit Dice(std::uint32_t seed) : random(seed) {}
    double Within(double from, double to)
    {
        return from + (to - from) * (static_cast<double>(random()) / 4294967296.0);
    }

private:
    std::mt19937 random;
};

} // namespace

std::int64_t FrameOf(const json& time, double rate)
{
    if (time.is_object()) return time["frame"].get<std::int64_t>();
    return static_cast<std::int64_t>(std::llround(time.get<double>() * rate));
}

std::vector<std::string> SoundReader::Files() const
{
    std::vector<std::string> files;
    for (const auto& [file, buffer] : buffers) files.push_back(file);
    return files;
}

std::shared_ptr<const kal::Buffer> SoundReader::Load(const json& document, const std::string& path)
{
    if (document.contains("synth")) return Synthesize(SynthOf(document["synth"]));
    const std::string file = (std::filesystem::path(param.folder) / document["file"].get<std::string>()).string();
    const auto [entry, isNew] = buffers.try_emplace(file);
    if (isNew || !entry->second) {
        try {
            entry->second = param.loader(file);
        } catch (const std::exception& error) {
            faults.push_back(
                {path + "/file", "expected a sound file that can be read, found \"" + file + "\": " + error.what()});
        }
    }
    return entry->second;
}

Sound SoundReader::Read(const json& document, const std::string& path)
{
    Sound sound;
    const std::string source =
        document.contains("synth") ? document["synth"]["kind"].get<std::string>() : document["file"].get<std::string>();
    sound.name = document.value("name", std::filesystem::path(source).stem().string());
    const auto isUnfit = [](unsigned char c) { return c < ' ' || c == '/' || c == '\\'; };
    if (sound.name.empty() || std::any_of(sound.name.begin(), sound.name.end(), isUnfit))
        faults.push_back(
            {path + "/name", "expected a name that can be part of a file's, found " + Excerpt(sound.name)});
    const std::string place = document.value("place", "world");
    sound.place = place == "listener" ? Place::Listener : place == "none" ? Place::None : Place::World;
    sound.referenceDistance = document.value("referenceDistance", 1.0);
    if (document.contains("position")) sound.position = curves.Path(document["position"], path + "/position");
    for (const auto& [key, curve] :
         {std::pair{"gain", &sound.gain}, {"speed", &sound.speed}, {"occlusion", &sound.occlusion}})
        if (document.contains(key)) *curve = curves.Scalar(document[key], path + "/" + key);

    ReadStarts(document, path, sound);
    sound.buffer = Load(document, path);
    if (sound.buffer) ReadPlaying(document, path, sound);
    return sound;
}

// What is given in frames of the sound itself.
void SoundReader::ReadPlaying(const json& document, const std::string& path, Sound& sound)
{
    const double rate = sound.buffer->GetSamplingRate();
    const std::int64_t numFrames = sound.buffer->GetNumSamples();
    const auto within = [&](const json& time, const std::string& place) {
        const std::int64_t frame = FrameOf(time, rate);
        if (frame > numFrames)
            faults.push_back({place, "expected a time within the sound, which has " + std::to_string(numFrames) +
                                         " frames, found " + Excerpt(time)});
        return frame;
    };
    if (document.contains("from")) sound.from = static_cast<double>(within(document["from"], path + "/from"));

    for (const json& seek : document.value("seek", json::array())) {
        const std::string place = path + "/seek/" + std::to_string(sound.seeks.size());
        sound.seeks.push_back(
            {FrameOf(seek["at"], param.samplingRate), static_cast<double>(within(seek["to"], place + "/to"))});
    }
    std::stable_sort(sound.seeks.begin(), sound.seeks.end(),
                     [](const Seek& a, const Seek& b) { return a.frame < b.frame; });

    const json loop = document.value("loop", json(false));
    if (loop == false) return;
    std::int64_t start = 0, end = numFrames;
    if (loop.contains("start")) start = within(loop["start"], path + "/loop/start");
    if (loop.contains("end")) end = within(loop["end"], path + "/loop/end");
    if (start >= end)
        faults.push_back({path + "/loop", "expected a start before the end, found frames " + std::to_string(start) +
                                              " and " + std::to_string(end)});
    sound.loop = Loop{static_cast<std::int32_t>(start), static_cast<std::int32_t>(end)};
}

void SoundReader::ReadStarts(const json& document, const std::string& path, Sound& sound)
{
    const double rate = param.samplingRate;
    if (document.contains("stop")) sound.stop = FrameOf(document["stop"], rate);
    const json start = document.value("start", json(0));
    for (const json& time : start.is_array() ? start : json::array({start})) {
        sound.starts.push_back({FrameOf(time, rate), {}, 1.0, 1.0});
        if (sound.starts.back().frame >= sound.stop)
            faults.push_back({path + "/stop", "expected a time after every start, found " + Excerpt(document["stop"])});
    }
    if (!document.contains("copies")) return;

    const json& copies = document["copies"];
    using Range = std::array<double, 2>;
    const auto spread = copies.value("spread", std::array<double, 3>{});
    const auto gain = copies.value("gain", Range{1.0, 1.0}), speed = copies.value("speed", Range{1.0, 1.0});
    const auto delay = copies.contains("delay") ? static_cast<double>(FrameOf(copies["delay"], rate)) : 0.0;
    Dice dice(copies.value("seed", std::uint32_t{1}));
    std::vector<Start> all;
    for (const Start& original : sound.starts) {
        for (int i = copies["count"]; i > 0; --i) {
            Start copy = original;
            for (auto [coordinate, width] :
                 {std::pair{&copy.offset.x, spread[0]}, {&copy.offset.y, spread[1]}, {&copy.offset.z, spread[2]}})
                *coordinate = static_cast<float>(width * dice.Within(-0.5, 0.5));
            copy.frame += static_cast<std::int64_t>(dice.Within(0.0, delay));
            copy.gain = dice.Within(gain[0], gain[1]);
            copy.speed = dice.Within(speed[0], speed[1]);
            all.push_back(copy);
        }
    }
    sound.starts = std::move(all);
}

} // namespace kalscene
