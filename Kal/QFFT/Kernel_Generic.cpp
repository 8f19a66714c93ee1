#include "Kal/QFFT/Kernel_Generic.h"

#include "Kal/QFFT/Butterfly.h"

namespace qfft {
namespace {

template<class T, unsigned radix>
void GenericStage(const Stage<T>& stage, const T* inReal, const T* inImag, T* outReal, T* outImag)
{
    const std::size_t stride = stage.stride, count = stage.count;
    for (std::size_t p = 0; p < count; ++p) {
        Complex<T> twiddles[radix]; // the tables leave out p = 0, where all twiddles are 1
        for (unsigned j = 1; j < radix; ++j) {
            const std::size_t end = 2 * ((j - 1) * count + p); // of this p's twiddle
            twiddles[j] = p == 0 ? Complex<T>{1, 0} : Complex<T>{stage.twiddles[end - 2], stage.twiddles[end - 1]};
        }
        for (std::size_t q = 0; q < stride; ++q) {
            Complex<T> x[radix];
            for (unsigned k = 0; k < radix; ++k) x[k] = Load<T>(inReal, inImag, q + stride * (p + k * count));
            Butterfly<T>(x);
            for (unsigned j = 0; j < radix; ++j)
                Store(outReal, outImag, q + stride * (radix * p + j), j == 0 ? x[j] : x[j] * Conjugate(twiddles[j]));
        }
    }
}

} // namespace

template<class T>
StageKernel<T> GenericKernel(unsigned radix)
{
    return radix == 4 ? GenericStage<T, 4> : radix == 3 ? GenericStage<T, 3> : GenericStage<T, 2>;
}

template StageKernel<float> GenericKernel<float>(unsigned radix);
template StageKernel<double> GenericKernel<double>(unsigned radix);

} // namespace qfft
