#pragma once

#include "Kal/Kernels/KalKernelTable.h"

namespace kal::kernels {

extern const Table kGenericTable;
extern const Table kLanes4Table;  ///< for every processor that the library runs on
extern const Table kLanes8Table;  ///< for some; there only if platform::kHasWideLanes
extern const Table kLanes16Table; ///< for some of those

} // namespace kal::kernels
