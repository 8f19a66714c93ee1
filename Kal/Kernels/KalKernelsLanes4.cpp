#include "Kal/Kernels/KalLaneTable.h"

namespace kal::kernels {

constexpr Table kLanes4Table = kLaneTable<Float4, Double2>;

} // namespace kal::kernels
