#pragma once

#include "Kal/QFFT/Stage.h"

namespace qfft {

/// A vector kernel for a stage: none if `kernel` is null.
struct SimdKernel {
    StageKernel<float> kernel;
    unsigned twiddleLanes; ///< how many twiddles it reads as one vector: all its lanes, or 1
};

/// [any] What one instruction set has for a stage.
SimdKernel FindSse2Kernel(const Stage<float>& stage);
SimdKernel FindAvx2Kernel(const Stage<float>& stage);

} // namespace qfft
