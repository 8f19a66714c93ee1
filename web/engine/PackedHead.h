#pragma once

#include <string>

namespace kal::web {

/// [control] The bytes of the data set built into the module, which holds it packed by pack_head.py.
std::string BuiltInHead();

} // namespace kal::web
