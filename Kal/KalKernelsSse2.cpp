#include "Kal/KalKernelRows.h"
#include "Kal/KalReverbKernel.h"

namespace kal::kernels {

constexpr Row kSse2Row{"SSE2", kNumLanes<Float4>, AdvanceNetwork<Float4>};

} // namespace kal::kernels
