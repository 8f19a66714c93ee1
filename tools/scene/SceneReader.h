#pragma once

#include "SampleBuffer.h"
#include "Scene.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace kalscene {

/// All that is wrong with a scene, a line each: the document's name, the JSON pointer of the place, what was expected.
class SceneError : public std::runtime_error {
public:
    explicit SceneError(std::vector<std::string> lines);

    /// "walk.json: /sounds/0/gain: expected a linear gain (0 to 1000) or key points of it, found "loud""
    const std::vector<std::string>& Messages() const { return messages; }

private:
    std::vector<std::string> messages;
};

struct ReadParam {
    double samplingRate = 48000.0; ///< of the output, Hz
    std::string name = "scene";    ///< of the document, for messages
    std::string folder;            ///< against which the names of sound files are resolved; empty: the current one
    SoundLoader loader = LoadWav;
};

/// Makes a scene of JSON text. The text is checked as a whole: by the schema first, then for what only reading its
/// sounds can tell, and every fault is reported.
/// @throws SceneError
Scene ReadScene(const std::string& text, const ReadParam& param);

/// The same from a file, which gives the name and the folder.
Scene ReadSceneFile(const std::string& path, ReadParam param);

/// The JSON Schema of scenes, as text.
const char* SceneSchema();

} // namespace kalscene
