// Compiled for AVX-512; called only where the processor has the parts of it that the build names.
#include "Kal/QFFT/SimdStages.h"

namespace qfft {

SimdKernel FindLanes16Kernel(const Stage<float>& stage)
{
    return FindKernel<Float16>(stage);
}

} // namespace qfft
