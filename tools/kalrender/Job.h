#pragma once

#include "Options.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kalrender {

/// Someone wants to stop.
struct Cancelled : std::runtime_error {
    Cancelled() : std::runtime_error("interrupted") {}
};

/// Renders one scene into all that the options ask for. Outputs appear at the end, together.
/// @param isCancelled asked once a block
/// @param files receives what was read: the scene and its sounds
/// @throws kalscene::SceneError and others for what is wrong; Cancelled. Nothing is written then.
void RenderScene(const Options& options, const std::string& scenePath, const std::function<bool()>& isCancelled,
                 std::vector<std::string>& files);

} // namespace kalrender
