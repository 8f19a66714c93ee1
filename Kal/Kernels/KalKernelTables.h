#pragma once

#include "Kal/Kernels/KalKernelTable.h"

namespace kal::kernels {

extern const Table kGenericTable;
extern const Table kSse2Table; ///< the floor: every processor that the library runs on
extern const Table kAvx2Table;

} // namespace kal::kernels
