#pragma once

#include <pybind11/pybind11.h>

namespace kalpython {

/// Adds Buffer, Voice and Engine.
void AddEngine(pybind11::module_& module);

/// Adds what renders scenes, and SceneError.
void AddScenes(pybind11::module_& module);

} // namespace kalpython
