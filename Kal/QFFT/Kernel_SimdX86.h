#pragma once

#include "Kal/QFFT/AlignedVector.h"
#include "Kal/QFFT/Stage.h"

namespace qfft {

/// [control] Gives the stages of a plan the widest kernels that this processor has for each, and leaves the generic
/// ones where none fits. A radix-4 stage followed by a last radix-2 stage becomes one stage of radix 8. Returns the
/// twiddles in the order of the new kernels, to which the stages then point.
std::vector<AlignedVector<float>> UseSimdKernels(std::vector<Stage<float>>& stages);

/// A vector kernel for a stage: none if `kernel` is null.
struct SimdKernel {
    StageKernel<float> kernel;
    unsigned twiddleLanes; ///< how many twiddles it reads as one vector: all its lanes, or 1
};

/// [any] What one row has for a stage.
SimdKernel FindSse2Kernel(const Stage<float>& stage);
SimdKernel FindAvx2Kernel(const Stage<float>& stage);

} // namespace qfft
