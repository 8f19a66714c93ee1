#pragma once

#include <cstdint>
#include <vector>

namespace qfft::cpu {

/// What the processor must offer for a setup to be built. The one level there is asks for nothing: its setups look for
/// the widest kernels at run time, stage by stage.
enum class FeatureLevel : std::int32_t { Generic = 0 };

/// [any] Whether setups of a level run here.
bool Supports(FeatureLevel level);

/// The families of kernels, one for each instruction set, from narrow to wide.
enum class KernelRow { Generic, Sse2, Avx2 }; // in the order of what they index

/// [any] "Generic", "SSE2", "AVX2".
const char* NameOf(KernelRow row);

/// [any] The rows that this processor can run, from narrow to wide.
std::vector<KernelRow> UsableRows();

/// [any] The row in use: what was selected last; before that the usable row that the environment variable
/// KALMARBLE_KERNELS names, so that support can rule out a kernel on a player's machine; else the widest usable one.
KernelRow SelectedRow();

/// [any] Makes a usable row the one in use for the whole process: for tests and benchmarks. Transforms take their
/// kernels when they are planned.
void SelectRow(KernelRow row);

} // namespace qfft::cpu
