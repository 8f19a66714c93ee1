#pragma once

#include <string>

namespace kalrender {

/// An Ogg file of one stream whose pages carry another serial number: libsndfile draws one by lot for every file.
std::string WithSerialNumber(std::string ogg, unsigned number);

} // namespace kalrender
