#pragma once

#include "Kal/QFFT/AlignedVector.h"

namespace kal {

/// A float array that the vector kernels' aligned loads may read.
using AlignedVector = qfft::AlignedVector<float>;

} // namespace kal
