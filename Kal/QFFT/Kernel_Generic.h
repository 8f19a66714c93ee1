#pragma once

#include "Kal/QFFT/Stage.h"

namespace qfft {

/// [control] The plain kernel of a radix: 2, 3 or 4. It takes any stride and count and reads its twiddles where
/// qfft::Twiddles holds them, as pairs of a real and an imaginary part.
template<class T>
StageKernel<T> GenericKernel(unsigned radix);

extern template StageKernel<float> GenericKernel<float>(unsigned radix);
extern template StageKernel<double> GenericKernel<double>(unsigned radix);

} // namespace qfft
