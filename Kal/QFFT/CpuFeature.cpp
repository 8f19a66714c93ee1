#include "Kal/QFFT/CpuFeature.h"

#include "Kal/Platform/KalPlatform.h"

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
    return kal::platform::kTableNames[static_cast<int>(set)];
}

std::vector<InstructionSet> UsableInstructionSets()
{
    std::vector<InstructionSet> sets = {InstructionSet::Generic, InstructionSet::Lanes4};
    if (kal::platform::WideLanesPay()) sets.push_back(InstructionSet::Lanes8);
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
