#pragma once

#include "Kal/QFFT/FFTSetup.h"

namespace qfft {

/// The setup for several dimensions, in row-major order (the last dimension is contiguous): transforms every row along
/// every dimension in turn. Takes twice the working memory of its longest rows' transform.
class MultidimensionalFFTSetup final : public FFTSetup {
public:
    /// [control] @throws qfft::Exception for parallel transforms, and as the setups of the single dimensions do.
    explicit MultidimensionalFFTSetup(const FFTParam& param);

    void Transform(const FFTInput& input) const override;

private:
    /// One dimension: the transform of its rows, their length, and the distance of their elements.
    struct Level {
        std::unique_ptr<FFTSetup> setup;
        std::size_t size;
        std::size_t stride;
    };

    template<class T>
    void TransformLevels(const FFTInput& input) const;

    std::vector<Level> levels;
    std::size_t points = 1;
    std::size_t longest = 0;
    DataType type;
};

} // namespace qfft
