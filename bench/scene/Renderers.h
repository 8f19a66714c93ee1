#pragma once

#include "bench/scene/Workload.h"

#include <memory>

namespace scene {

/// This library's engine, without the host binding.
std::unique_ptr<Renderer> MakeOwnRenderer(int numVoices, Motion motion, unsigned numThreads);

/// The system's OpenAL, through a loopback device with HRTF, one reverb effect and a source a voice; null when it
/// offers no such device.
std::unique_ptr<Renderer> MakeOpenAlRenderer(int numVoices, Motion motion);

} // namespace scene
