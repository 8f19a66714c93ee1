#include "Kal/Kernels/KalConvolverKernel.h"
#include "Kal/Kernels/KalFilterKernel.h"
#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/Kernels/KalReverbKernel.h"
#include "Kal/Kernels/KalVoiceKernel.h"

namespace kal::kernels {

constexpr Table kLanes8Table{kNumLanes<Float8>,
                             AdvanceNetwork<Float8>,
                             {Resample<Float8, std::uint8_t>, Resample<Float8, std::int16_t>, Resample<Float8, float>},
                             Lowpass<Float8>,
                             AddSmoothed<Float8>,
                             ScaleSmoothed<Float8>,
                             AddFaded<Float8>,
                             ApplyTwiddlePairs<Float8>,
                             Deinterleave<Float8>,
                             AddProducts<Float8>,
                             AddPairProducts<Float8>,
                             RunCascade<Double4>};

} // namespace kal::kernels
