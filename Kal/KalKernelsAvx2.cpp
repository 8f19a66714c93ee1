#include "Kal/KalConvolverKernel.h"
#include "Kal/KalKernelRows.h"
#include "Kal/KalReverbKernel.h"

namespace kal::kernels {

constexpr Row kAvx2Row{"AVX2",
                       kNumLanes<Float8>,
                       AdvanceNetwork<Float8>,
                       TurnPairs<Float8>,
                       Deinterleave<Float8>,
                       OverlapAdd<Float8>,
                       AccumulateStereo<Float8>};

} // namespace kal::kernels
