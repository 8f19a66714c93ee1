#pragma once

#include "Kal/QFFT/AlignedVector.h"
#include "Kal/QFFT/Stage.h"

namespace qfft {

/// [control] Gives the stages of a plan the widest kernels that this processor has for each, and leaves the generic
/// ones where none fits. A radix-4 stage followed by a last radix-2 stage becomes one stage of radix 8. Returns the
/// twiddles in the order of the new kernels, to which the stages then point.
std::vector<AlignedVector<float>> UseSimdKernels(std::vector<Stage<float>>& stages);

} // namespace qfft
