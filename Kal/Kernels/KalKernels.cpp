#include "Kal/Kernels/KalKernels.h"

#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/Platform/KalPlatform.h"
#include "Kal/QFFT/CpuFeature.h"

namespace kal::kernels {

const Table& ActiveTable()
{
    using qfft::cpu::InstructionSet;
    const InstructionSet set = qfft::cpu::ActiveInstructionSet();
    if constexpr (platform::kHasWideLanes) {
        if (set == InstructionSet::Lanes16) return kLanes16Table;
        if (set == InstructionSet::Lanes8) return kLanes8Table;
    }
    return set == InstructionSet::Generic ? kGenericTable : kLanes4Table;
}

} // namespace kal::kernels
