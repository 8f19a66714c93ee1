// Compiled for AVX2 and FMA; called only where the processor has both.
#include "Kal/QFFT/SimdStages.h"

namespace qfft {

SimdKernel FindLanes8Kernel(const Stage<float>& stage)
{
    return FindKernel<Float8>(stage);
}

} // namespace qfft
