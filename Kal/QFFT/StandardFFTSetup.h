#pragma once

#include "Kal/QFFT/AlignedVector.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Kal/QFFT/FFTSetup.h"
#include "Kal/QFFT/Stage.h"
#include "Kal/QFFT/Twiddles.h"

#include <type_traits>

namespace qfft {

/// The one-dimensional setup: a list of stages, one per radix step, that pass the data to and fro between the output
/// and scratch memory and leave it in natural order.
template<cpu::FeatureLevel level, DataType type, bool backward>
class StandardFFTSetup final : public FFTSetup {
public:
    /// [control] @throws qfft::Exception as PlanRadices does.
    explicit StandardFFTSetup(const FFTParam& param);

    void Transform(const FFTInput& input) const override;

private:
    using Element = std::conditional_t<type == DataType::Single, float, double>;

    /// Transforms with scratch memory of that size on its stack.
    template<std::size_t stackBytes>
    [[gnu::noinline]] void TransformWithin(const FFTInput& input) const;

    std::shared_ptr<const Twiddles> twiddles;
    std::vector<Stage<Element>> stages;
    std::vector<AlignedVector<Element>> packedTwiddles; ///< for the stages that do not read the shared tables
    std::size_t points = 0;
};

extern template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Single, false>;
extern template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Single, true>;
extern template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Double, false>;
extern template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Double, true>;

} // namespace qfft
