#pragma once

#include "Kal/Kernels/KalKernels.h"

namespace kal::kernels {

extern const Row kGenericRow;
extern const Row kSse2Row; ///< the floor: every processor that the library runs on
extern const Row kAvx2Row;

} // namespace kal::kernels
