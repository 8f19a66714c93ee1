#pragma once

#include <cstdint>

namespace qfft::cpu {

/// What the processor must offer for a setup to be built. The one level there is asks for nothing: its setups look for
/// the widest kernels at run time, stage by stage.
enum class FeatureLevel : std::int32_t { Generic = 0 };

/// [any] Whether setups of a level run here.
bool Supports(FeatureLevel level);

} // namespace qfft::cpu
