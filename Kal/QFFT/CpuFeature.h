#pragma once

#include <cstdint>
#include <vector>

namespace qfft::cpu {

/// What the processor must offer for a setup to be built. The one level there is asks for nothing: its setups look for
/// the widest kernels at run time, stage by stage.
enum class FeatureLevel : std::int32_t { Generic = 0 };

/// [any] Whether setups of a level run here: they all do. Kept on purpose, though nothing asks.
bool Supports(FeatureLevel level);

/// The instruction sets that there are kernels for, from narrow to wide: plain loops, four lanes of floats, eight,
/// sixteen.
enum class InstructionSet { Generic, Lanes4, Lanes8, Lanes16 }; // in the order of the names that they index

/// [any] As the processor's makers name it; "Generic" for plain loops.
const char* NameOf(InstructionSet set);

/// [any] The sets that this processor can run, from narrow to wide.
std::vector<InstructionSet> UsableInstructionSets();

/// [any] The set in use: what was selected last; before that the one that should be the fastest.
InstructionSet ActiveInstructionSet();

/// [any] Makes a usable set the one in use for the whole process: for tests and benchmarks. Transforms take their
/// kernels when they are planned.
void SelectInstructionSet(InstructionSet set);

} // namespace qfft::cpu
