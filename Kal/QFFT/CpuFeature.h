#pragma once

#include <cstdint>
#include <vector>

namespace qfft::cpu {

/// What the processor must offer for a setup to be built. The one level there is asks for nothing: its setups look for
/// the widest kernels at run time, stage by stage.
enum class FeatureLevel : std::int32_t { Generic = 0 };

/// [any] Whether setups of a level run here.
bool Supports(FeatureLevel level);

/// The families of kernels, one for each instruction set, from narrow to wide. All but the first are for single
/// precision.
enum class KernelRow { Generic, Sse2, Avx2 };

/// [any] The rows that this processor can run, from narrow to wide.
std::vector<KernelRow> UsableRows();

/// [any] The row in use: the widest usable one, or the one that was selected.
KernelRow SelectedRow();

/// [any] Lets setups that are built from now on take their kernels from a usable row, and from narrower ones for stages
/// that it has none for: for tests and benchmarks.
void SelectRow(KernelRow row);

} // namespace qfft::cpu
