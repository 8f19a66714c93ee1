#include "Kal/Kernels/KalLaneTable.h"
#include "Kal/Kernels/KalResampleKernel16.h"

namespace kal::kernels {

// A mixture: what has not many more frames to work on at a time stays in lanes of 32 bytes, of which this instruction
// set has twice as many registers in 64-bit programs; and runs of eight frames leave fewer to be resampled one by one.
constexpr Table kLanes16Table{kNumLanes<Float8>,
                              AdvanceNetwork<Float8>,
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
                              RunCascade<Double4>};

} // namespace kal::kernels
