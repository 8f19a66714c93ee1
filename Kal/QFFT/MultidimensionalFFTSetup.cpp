#include "Kal/QFFT/MultidimensionalFFTSetup.h"

#include "Kal/QFFT/Exception.h"
#include "Kal/QFFT/Scratch.h"

#include <algorithm>

namespace qfft {

MultidimensionalFFTSetup::MultidimensionalFFTSetup(const FFTParam& param) : type(DataType(param.dataType))
{
    if (param.parallel != 1) throw Exception("Multi-dimensional parallel transformation is not supported.");
    for (std::size_t dimension = param.size.size(); dimension-- > 0;) {
        FFTParam row = param;
        row.size = {param.size[dimension]};
        levels.push_back({CreateFFTSetup(row), param.size[dimension], points});
        points *= param.size[dimension];
        longest = std::max<std::size_t>(longest, param.size[dimension]);
    }
}

void MultidimensionalFFTSetup::Transform(const FFTInput& input) const
{
    type == DataType::Single ? TransformLevels<float>(input) : TransformLevels<double>(input);
}

template<class T>
void MultidimensionalFFTSetup::TransformLevels(const FFTInput& input) const
{
    auto real = static_cast<const T*>(input.inReal), imag = static_cast<const T*>(input.inImag);
    const auto outReal = static_cast<T*>(input.outReal), outImag = static_cast<T*>(input.outImag);
    Scratch<T, 65536> memory(2 * longest);
    for (const Level& level : levels) {
        T *const rowReal = memory.Get(), *const rowImag = rowReal + level.size;
        for (std::size_t row = 0; row < points / level.size; ++row) {
            const std::size_t start = row / level.stride * level.size * level.stride + row % level.stride;
            for (std::size_t i = 0; i < level.size; ++i) {
                rowReal[i] = real[start + i * level.stride];
                rowImag[i] = imag[start + i * level.stride];
            }
            level.setup->Transform({rowReal, rowImag, rowReal, rowImag});
            for (std::size_t i = 0; i < level.size; ++i) {
                outReal[start + i * level.stride] = rowReal[i];
                outImag[start + i * level.stride] = rowImag[i];
            }
        }
        real = outReal; // the dimensions that follow go on in place
        imag = outImag;
    }
}

} // namespace qfft
