#include "Kal/QFFT/CpuFeature.h"

#include <atomic>

namespace qfft::cpu {
namespace {

std::atomic<InstructionSet>& Selection()
{
    static std::atomic<InstructionSet> selection = UsableInstructionSets().back();
    return selection;
}

} // namespace

bool Supports(FeatureLevel)
{
    return true;
}

const char* NameOf(InstructionSet set)
{
    static constexpr const char* names[] = {"Generic", "SSE2", "AVX2"};
    return names[static_cast<int>(set)];
}

std::vector<InstructionSet> UsableInstructionSets()
{
    std::vector<InstructionSet> sets = {InstructionSet::Generic, InstructionSet::Sse2};
    // In a 32-bit program all SSE code runs up to four times slower once 8-lane code has run, and its eight registers
    // are too few for wide lanes anyway.
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) sets.push_back(InstructionSet::Avx2);
#endif
    return sets;
}

InstructionSet ActiveInstructionSet()
{
    return Selection().load(std::memory_order_relaxed);
}

void SelectInstructionSet(InstructionSet set)
{
    Selection().store(set, std::memory_order_relaxed);
}

} // namespace qfft::cpu
