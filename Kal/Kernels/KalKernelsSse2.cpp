#include "Kal/Kernels/KalConvolverKernel.h"
#include "Kal/Kernels/KalKernelRows.h"
#include "Kal/Kernels/KalReverbKernel.h"
#include "Kal/Kernels/KalVoiceKernel.h"

namespace kal::kernels {

constexpr Row kSse2Row{kNumLanes<Float4>,
                       AdvanceNetwork<Float4>,
                       {Resample<Float4, std::uint8_t>, Resample<Float4, std::int16_t>, Resample<Float4, float>},
                       Lowpass<Float4>,
                       AddRamped<Float4>,
                       ScaleRamped<Float4>,
                       TurnPairs<Float4>,
                       Deinterleave<Float4>,
                       AddProducts<Float4>};

} // namespace kal::kernels
