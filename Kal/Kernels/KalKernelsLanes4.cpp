#include "Kal/Kernels/KalConvolverKernel.h"
#include "Kal/Kernels/KalFilterKernel.h"
#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/Kernels/KalReverbKernel.h"
#include "Kal/Kernels/KalVoiceKernel.h"

namespace kal::kernels {

constexpr Table kLanes4Table{kNumLanes<Float4>,
                             AdvanceNetwork<Float4>,
                             {Resample<Float4, std::uint8_t>, Resample<Float4, std::int16_t>, Resample<Float4, float>},
                             Lowpass<Float4>,
                             AddSmoothed<Float4>,
                             ScaleSmoothed<Float4>,
                             AddFaded<Float4>,
                             ApplyTwiddlePairs<Float4>,
                             Deinterleave<Float4>,
                             AddProducts<Float4>,
                             AddPairProducts<Float4>,
                             RunCascade<Double2>};

} // namespace kal::kernels
