#include "Kal/QFFT/CpuFeature.h"

#include <atomic>

namespace qfft::cpu {
namespace {

/// In 32-bit programs wide lanes have half the registers, and what lies between the kernels stays narrow code. They pay
/// on the makes of processor that were measured (docs/performance.md); on others the narrow table cannot lose.
bool PaysForWideLanes()
{
#ifdef __i386__
    return __builtin_cpu_is("intel") || __builtin_cpu_is("amd");
#else
    return true;
#endif
}

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
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && PaysForWideLanes())
        sets.push_back(InstructionSet::Avx2);
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
