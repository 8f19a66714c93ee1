#include "SceneReader.h"

#include "SchemaCheck.h"
#include "SoundReader.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <set>
#include <utility>

namespace kalscene {

namespace {

using nlohmann::json;

// Five numbers of KalReverbParam; the room's longest side is its size.
std::array<double, 5> RoomNumbers(const json& room)
{
    double volume = room.value("volume", 0.0), area = room.value("area", 0.0), size = room.value("size", 0.0);
    if (room.contains("dimensions")) {
        const auto [x, y, z] = room["dimensions"].get<std::array<double, 3>>();
        volume = x * y * z;
        area = 2.0 * (x * y + y * z + z * x);
        size = std::max({x, y, z});
    }
    return {room.value("wetLevelA", 1.0), volume, area, size, room.value("wetLevelB", 1.0)};
}

// The times of key points must not go back, which a schema cannot say.
void ReadKeys(CurveReader& reader, const json& document, Scene& scene)
{
    if (document.contains("gain")) scene.gain = reader.Scalar(document["gain"], "/gain");
    if (document.contains("listener")) {
        const json& listener = document["listener"];
        if (listener.contains("position")) scene.listener = reader.Path(listener["position"], "/listener/position");
        if (listener.contains("turn")) scene.turn = reader.Path(listener["turn"], "/listener/turn");
    }
    if (document.contains("room")) scene.room = reader.Read<5>(document["room"], "/room", RoomNumbers);
}

void CheckEnd(const json& document, const Scene& scene, std::vector<Fault>& faults)
{
    if (document.contains("length") && scene.length == 0)
        faults.push_back({"/length", "expected a time above 0, found 0"});
    if (scene.length != kNever) return;
    for (std::size_t i = 0; i < scene.sounds.size(); ++i) {
        if (!scene.sounds[i].loop || scene.sounds[i].stop != kNever) continue;
        faults.push_back(
            {"/sounds/" + std::to_string(i), "expected a \"stop\": it loops, and the scene has no \"length\""});
    }
}

std::string Joined(const std::vector<std::string>& lines)
{
    return std::accumulate(lines.begin(), lines.end(), std::string(), [](std::string all, const std::string& line) {
        return std::move(all) + (all.empty() ? "" : "\n") + line;
    });
}

[[noreturn]] void Refuse(const std::string& name, const std::vector<Fault>& faults)
{
    std::vector<std::string> lines;
    lines.reserve(faults.size());
    for (const Fault& fault : faults)
        lines.push_back(name + ": " + (fault.path.empty() ? "" : fault.path + ": ") + fault.text);
    throw SceneError(std::move(lines));
}

json Parsed(const std::string& text, const std::string& name)
{
    try {
        return json::parse(text);
    } catch (const json::parse_error& error) {
        const std::string what = error.what();
        const std::size_t place = what.find("line "); // behind the parser's own prefix
        throw SceneError({name + ": " + (place == std::string::npos ? what : what.substr(place))});
    }
}

} // namespace

SceneError::SceneError(std::vector<std::string> lines) : std::runtime_error(Joined(lines)), messages(std::move(lines))
{
}

Scene ReadScene(const std::string& text, const ReadParam& param)
{
    const json document = Parsed(text, param.name);
    std::vector<Fault> faults = CheckSchema(json::parse(SceneSchema()), document);
    if (!faults.empty()) Refuse(param.name, faults);

    Scene scene;
    scene.samplingRate = param.samplingRate;
    CurveReader curves(param.samplingRate, faults);
    scene.step = document.value("step", scene.step);
    if (document.contains("length") && !document["length"].is_string())
        scene.length = FrameOf(document["length"], param.samplingRate);
    ReadKeys(curves, document, scene);

    SoundReader sounds(param, curves, faults);
    std::set<std::string> names;
    for (std::size_t i = 0; i < document["sounds"].size(); ++i) {
        const std::string path = "/sounds/" + std::to_string(i);
        Sound sound = sounds.Read(document["sounds"][i], path);
        const bool isNamed = document["sounds"][i].contains("name");
        const std::string name = sound.name;
        for (int number = 2; !isNamed && names.contains(sound.name); ++number)
            sound.name = name + "-" + std::to_string(number);
        if (!names.insert(sound.name).second)
            faults.push_back({path + "/name", "expected a name of its own, found \"" + sound.name + "\" again"});
        scene.sounds.push_back(std::move(sound));
    }
    scene.files = sounds.Files();
    CheckEnd(document, scene, faults);
    if (!faults.empty()) Refuse(param.name, faults);
    return scene;
}

Scene ReadSceneFile(const std::string& path, ReadParam param)
{
    std::ifstream file(path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file || std::filesystem::is_directory(path))
        throw SceneError({path + ": there is no such file, or it cannot be read"});
    param.name = path;
    param.folder = std::filesystem::path(path).parent_path().string();
    return ReadScene(text, param);
}

} // namespace kalscene
