#include "Kal/Kernels/KalKernels.h"

#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/QFFT/CpuFeature.h"

namespace kal::kernels {

const Table& ActiveTable()
{
    static constexpr const Table* tables[] = {&kGenericTable, &kSse2Table, &kAvx2Table};
    return *tables[static_cast<int>(qfft::cpu::ActiveInstructionSet())];
}

} // namespace kal::kernels
