#include "Kal/Kernels/KalLaneTable.h"
#include "Kal/Kernels/KalResampleKernel16.h"

namespace kal::kernels {

// A mixture: what has not many more frames to work on at a time stays in lanes of 32 bytes, of which this instruction
// set has twice as many registers in 64-bit programs; and runs of eight frames leave fewer to be resampled one by one.
constexpr Table kLanes16Table = [] {
    Table table = kLaneTable<Float8, Double4>;
    table.resample[0] = ResampleIn16<std::uint8_t>;
    table.resample[1] = ResampleIn16<std::int16_t>;
    table.resample[2] = ResampleIn16<float>;
    table.lowpass = Lowpass<Float16>;
    table.addSmoothed = AddSmoothed<Float16>;
    table.scaleSmoothed = ScaleSmoothed<Float16>;
    table.addFaded = AddFaded<Float16>;
    table.scaleFaded = ScaleFaded<Float16>;
    table.twiddlePairs = ApplyTwiddlePairs<Float16>;
    table.deinterleave = Deinterleave<Float16>;
    table.addProducts = AddProducts<Float16>;
    table.addPairProducts = AddPairProducts<Float16>;
    return table;
}();

} // namespace kal::kernels
