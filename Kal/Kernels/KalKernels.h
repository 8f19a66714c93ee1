#pragma once

#include "Kal/Kernels/KalKernelTable.h"

namespace kal::kernels {

/// [render] The table of the instruction set in use (qfft::cpu), whose transforms it goes with.
const Table& ActiveTable();

} // namespace kal::kernels
