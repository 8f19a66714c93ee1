#include "Kal/Base/KalException.h"
#include "Modules.h"
#include "tools/kalrender/SoundFile.h"
#include "tools/scene/Renderer.h"
#include "tools/scene/SceneReader.h"

#include <cmath>
#include <memory>
#include <pybind11/numpy.h>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace kalpython {

namespace {

// Lets Ctrl-C end a rendering that takes long.
void CheckSignals()
{
    const py::gil_scoped_acquire locked;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

std::vector<float> Rendered(const std::string& text, const kalscene::ReadParam& param, const std::string& hrtf)
{
    const py::gil_scoped_release released;
    kal::EngineParam{param.samplingRate}.Validate();
    if (std::isinf(param.samplingRate)) throw kal::Exception("Invalid sampling rate: %f", param.samplingRate);
    const auto scene = std::make_shared<const kalscene::Scene>(kalscene::ReadScene(text, param));
    kalscene::RenderParam how;
    if (!hrtf.empty()) how.hrtf = {reinterpret_cast<const unsigned char*>(hrtf.data()), hrtf.size()};
    kalscene::Renderer renderer(scene, how);

    constexpr std::size_t kStep = 1 << 15; // frames
    std::vector<float> samples;
    for (;;) {
        const std::size_t done = samples.size();
        samples.resize(done + 2 * kStep);
        const auto count = static_cast<std::size_t>(renderer.Render(samples.data() + done, static_cast<int>(kStep)));
        samples.resize(done + 2 * count);
        if (count < kStep) return samples;
        CheckSignals();
    }
}

py::array_t<float> RenderText(const std::string& text, const std::string& name, const std::string& folder,
                              double samplingRate, const std::string& hrtf)
{
    auto samples =
        std::make_unique<std::vector<float>>(Rendered(text, {samplingRate, name, folder, kalrender::LoadSound}, hrtf));
    const auto numFrames = static_cast<py::ssize_t>(samples->size() / 2);
    float* const data = samples->data();
    const py::capsule owner(samples.release(), [](void* owned) { delete static_cast<std::vector<float>*>(owned); });
    return py::array_t<float>({numFrames, py::ssize_t{2}}, data, owner);
}

} // namespace

void AddScenes(py::module_& module)
{
    py::register_exception<kalscene::SceneError>(module, "SceneError", PyExc_ValueError).attr("__doc__") =
        "All that is wrong with a scene, a line each: the scene's name, the place in it, what was expected there.";
    module.def("render_text", &RenderText, py::arg("text"), py::arg("name"), py::arg("folder"),
               py::arg("sampling_rate"), py::arg("hrtf"));
}

} // namespace kalpython
