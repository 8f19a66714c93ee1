#include "Kal/Kernels/KalLaneTable.h"
#include "Kal/Kernels/KalResampleKernel16.h"

namespace kal::kernels {

// Of eight lanes where runs end: those of sixteen frames would leave more of them to be advanced and resampled one by
// one. What remains of sixteen is taken in eight.
constexpr Table kLanes16Table = [] {
    Table table = kLaneTable<Float8, Double4>;
    table.advanceNetwork = AdvanceNetwork<Float16, Float8>;
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
    table.runCascade = RunCascade<Double8>;
    return table;
}();

} // namespace kal::kernels
