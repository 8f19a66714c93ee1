#include "Kal/Kernels/KalConvolverKernel.h"
#include "Kal/Kernels/KalFilterKernel.h"
#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/Kernels/KalResampleKernel16.h"
#include "Kal/Kernels/KalReverbKernel.h"
#include "Kal/Kernels/KalVoiceKernel.h"

namespace kal::kernels {

// Runs end at multiples of eight frames, not of sixteen, which would leave more of them to be advanced and resampled
// one by one. So these two kernels take what remains of sixteen in eight lanes.
constexpr Table kLanes16Table{kNumLanes<Float8>,
                              AdvanceNetwork<Float16, Float8>,
                              {ResampleIn16<std::uint8_t>, ResampleIn16<std::int16_t>, ResampleIn16<float>},
                              Lowpass<Float16>,
                              AddSmoothed<Float16>,
                              ScaleSmoothed<Float16>,
                              AddFaded<Float16>,
                              ScaleFaded<Float16>,
                              ApplyTwiddlePairs<Float16>,
                              Deinterleave<Float16>,
                              AddProducts<Float16>,
                              AddPairProducts<Float16>,
                              RunCascade<Double8>};

} // namespace kal::kernels
