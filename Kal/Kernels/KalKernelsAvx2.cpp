#include "Kal/Kernels/KalLaneTable.h"

namespace kal::kernels {

constexpr Table kLanes8Table = kLaneTable<Float8, Double4>;

} // namespace kal::kernels
