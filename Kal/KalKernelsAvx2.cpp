#include "Kal/KalKernelRows.h"
#include "Kal/KalReverbKernel.h"

namespace kal::kernels {

constexpr Row kAvx2Row{"AVX2", kNumLanes<Float8>, AdvanceNetwork<Float8>};

} // namespace kal::kernels
