#include "Kal/QFFT/CpuFeature.h"

namespace qfft::cpu {

bool Supports(FeatureLevel)
{
    return true;
}

} // namespace qfft::cpu
