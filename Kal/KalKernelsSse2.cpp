#include "Kal/KalConvolverKernel.h"
#include "Kal/KalKernelRows.h"
#include "Kal/KalReverbKernel.h"

namespace kal::kernels {

constexpr Row kSse2Row{"SSE2",
                       kNumLanes<Float4>,
                       AdvanceNetwork<Float4>,
                       TurnPairs<Float4>,
                       Deinterleave<Float4>,
                       OverlapAdd<Float4>,
                       AccumulateStereo<Float4>};

} // namespace kal::kernels
