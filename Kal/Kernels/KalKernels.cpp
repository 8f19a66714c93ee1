#include "Kal/Kernels/KalKernels.h"

#include "Kal/Kernels/KalKernelRows.h"
#include "Kal/QFFT/CpuFeature.h"

namespace kal::kernels {

const Row& SelectedRow()
{
    static constexpr const Row* rows[] = {&kGenericRow, &kSse2Row, &kAvx2Row};
    return *rows[static_cast<int>(qfft::cpu::SelectedRow())];
}

} // namespace kal::kernels
