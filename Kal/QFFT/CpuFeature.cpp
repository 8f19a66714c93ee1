#include "Kal/QFFT/CpuFeature.h"

#include "Kal/Platform/KalPlatform.h"

#include <atomic>

namespace qfft::cpu {
namespace {

std::atomic<InstructionSet>& Selection()
{
    static std::atomic<InstructionSet> selection = static_cast<InstructionSet>(kal::platform::FastestTable());
    return selection;
}

} // namespace

bool Supports(FeatureLevel)
{
    return true;
}

const char* NameOf(InstructionSet set)
{
    return kal::platform::kTableNames[static_cast<int>(set)];
}

std::vector<InstructionSet> UsableInstructionSets()
{
    std::vector<InstructionSet> sets;
    for (int table = 0; table <= kal::platform::WidestTable(); ++table)
        sets.push_back(static_cast<InstructionSet>(table));
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
