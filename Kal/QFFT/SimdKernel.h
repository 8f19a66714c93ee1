#pragma once

#include "Kal/QFFT/Stage.h"

namespace qfft {

/// A vector kernel for a stage: none if `kernel` is null.
struct SimdKernel {
    StageKernel<float> kernel;
    unsigned twiddleLanes; ///< how many twiddles it reads as one vector: all its lanes, or 1
};

/// [any] What eight lanes have for a stage, and sixteen; there only if kal::platform::kHasWideLanes.
SimdKernel FindLanes8Kernel(const Stage<float>& stage);
SimdKernel FindLanes16Kernel(const Stage<float>& stage);

} // namespace qfft
