// What the module kalmarble-scene.wasm exports. One instance of it holds one scene, which sounds just as the program
// that renders scenes to files has it. Calls that only do something return whether they could; what was wrong is told
// by `problem`. Texts come as UTF-8 with their length.

#include "Export.h"
#include "PackedHead.h"
#include "tools/scene/Renderer.h"
#include "tools/scene/SampleBuffer.h"
#include "tools/scene/SceneReader.h"

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kal::web {

namespace {

using nlohmann::json;

/// What a name in the scene stands for: samples, or why there are none.
struct Sound {
    std::shared_ptr<const Buffer> buffer;
    std::string problem;
};

std::map<std::string, Sound, std::less<>> sounds;
std::shared_ptr<const kalscene::Scene> scene;
std::unique_ptr<kalscene::Renderer> renderer;

std::shared_ptr<const Buffer> Load(const std::string& name)
{
    const auto found = sounds.find(name);
    if (found == sounds.end()) throw std::runtime_error("nobody has given it");
    if (!found->second.buffer) throw std::runtime_error(found->second.problem);
    return found->second.buffer;
}

} // namespace

/// Reads a WAV file for a name in the scene.
KAL_EXPORT(wav)
bool GiveWav(const char* name, std::size_t nameSize, const char* bytes, std::size_t size)
{
    return Done([&] { sounds[{name, nameSize}] = {kalscene::ReadWav({bytes, size}), {}}; });
}

/// Takes samples for a name in the scene: interleaved frames of numChannels.
KAL_EXPORT(samples)
bool GiveSamples(const char* name, std::size_t nameSize, const float* samples, std::size_t size, int numChannels,
                 double rate)
{
    return Done([&] {
        std::vector<float> copy(samples, samples + size / sizeof(float));
        sounds[{name, nameSize}] = {std::make_shared<kalscene::SampleBuffer>(std::move(copy), numChannels, rate), {}};
    });
}

/// Says why there is no sound for a name in the scene.
KAL_EXPORT(absent)
bool GiveProblem(const char* name, std::size_t nameSize, const char* text, std::size_t size)
{
    return Done([&] { sounds[{name, nameSize}] = {nullptr, {text, size}}; });
}

/// Reads the scene and sets its renderer up. @param title of the document, in messages  @param head a data set; null:
/// the one built in
KAL_EXPORT(open)
bool Open(const char* text, std::size_t size, const char* title, std::size_t titleSize, double samplingRate,
          const unsigned char* head, std::size_t headSize)
{
    return Done([&] {
        const kalscene::ReadParam param = {samplingRate, {title, titleSize}, {}, Load};
        scene = std::make_shared<const kalscene::Scene>(kalscene::ReadScene({text, size}, param));
        WithHead(head, headSize, [](auto data) {
            renderer = std::make_unique<kalscene::Renderer>(scene, kalscene::RenderParam{1, data});
        });
        sounds.clear();
    });
}

/// Frames of the scene; infinite when it lasts until it is silent.
KAL_EXPORT(frames)
double Frames()
{
    if (scene->length == kalscene::kNever) return std::numeric_limits<double>::infinity();
    return static_cast<double>(scene->length);
}

/// Writes the next interleaved frames. @returns their number: fewer only where the scene ends; -1 on failure
KAL_EXPORT(render)
int Render(float* out, int numFrames)
{
    return Guarded(-1, [&] { return renderer->Render(out, numFrames); });
}

/// Where listener and sounds are at a frame, as JSON text, until the next call; null on failure.
KAL_EXPORT(places)
const char* Places(double frame)
{
    static std::string text;
    return Guarded<const char*>(nullptr, [&] {
        const auto at = static_cast<std::int64_t>(frame);
        json list = json::array();
        for (const kalscene::Sound& sound : scene->sounds) {
            const char* place = sound.place == kalscene::Place::World      ? "world"
                                : sound.place == kalscene::Place::Listener ? "listener"
                                                                           : "none";
            list.push_back({{"sound", sound.name}, {"place", place}, {"position", sound.position.At(at)}});
        }
        const json listener = {{"position", scene->listener.At(at)}, {"turn", scene->turn.At(at)}};
        text = json{{"listener", listener}, {"sounds", list}}.dump();
        return text.c_str();
    });
}

} // namespace kal::web
