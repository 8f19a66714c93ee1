#pragma once

#include "Kal/Base/KalTypes.h"

#include <memory>
#include <string>

namespace kalrender {

/// Reads a sound file of any format that libsndfile knows. Throws std::runtime_error with what is wrong.
std::shared_ptr<const kal::Buffer> LoadSound(const std::string& path);

} // namespace kalrender
