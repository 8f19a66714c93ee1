// Renders a scene to raw interleaved 32-bit floats, without any library but the engine's own. It runs on Linux and,
// under Wine, as a Windows program, so that the two can be compared frame by frame.
//
//     scene_raw SCENE OUT [SAMPLING_RATE]

#include "Renderer.h"
#include "SceneReader.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

int main(int argc, char** argv)
try {
    if (argc < 3 || argc > 4) throw std::runtime_error("usage: scene_raw SCENE OUT [SAMPLING_RATE]");
    kalscene::ReadParam param;
    if (argc == 4) param.samplingRate = std::stod(argv[3]);
    const auto scene = std::make_shared<const kalscene::Scene>(kalscene::ReadSceneFile(argv[1], param));
    kalscene::Renderer renderer(scene, {});

    std::ofstream out(argv[2], std::ios::binary);
    std::vector<float> frames(2 * 4096);
    while (const int count = renderer.Render(frames.data(), 4096))
        out.write(reinterpret_cast<const char*>(frames.data()), std::streamsize{2 * sizeof(float)} * count);
    if (!out.flush()) throw std::runtime_error(std::string("cannot write ") + argv[2]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
