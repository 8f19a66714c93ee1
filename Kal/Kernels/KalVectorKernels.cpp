#include "Kal/Kernels/KalVectorKernels.h"

#include "Kal/QFFT/Complex.h"

#include <complex>
#include <cstdint>

namespace kal {
namespace {

using qfft::Float4, qfft::Load, qfft::Store;

template<class... Array>
bool AreAligned(const Array*... arrays)
{
    return ((reinterpret_cast<std::uintptr_t>(arrays) | ...) % sizeof(Float4)) == 0;
}

template<class V, class... Source>
void AddSum(unsigned int i, float* dst, const Source*... sources)
{
    Store(dst + i, Load<V>(dst + i) + (... + Load<V>(sources + i)));
}

template<class... Source>
void AccumulateSum(unsigned int n, float* dst, const Source*... sources)
{
    unsigned int i = 0;
    if (AreAligned(dst, sources...))
        for (; n - i > 3; i += 4) AddSum<Float4>(i, dst, sources...);
    for (; i < n; ++i) AddSum<float>(i, dst, sources...);
}

/// The library's complex product recovers the infinities that the plain formula turns into NaN.
std::complex<float> MultiplyOne(float aRe, float aIm, float bRe, float bIm)
{
    return std::complex<float>(aRe, aIm) * std::complex<float>(bRe, bIm);
}

} // namespace

void Accumulate(unsigned int n, float* dst, const float* a)
{
    AccumulateSum(n, dst, a);
}

void Accumulate(unsigned int n, float* dst, const float* a, const float* b)
{
    AccumulateSum(n, dst, a, b);
}

void Accumulate(unsigned int n, float* dst, const float* a, const float* b, const float* c)
{
    AccumulateSum(n, dst, a, b, c);
}

void Accumulate(unsigned int n, float* dst, const float* a, const float* b, const float* c, const float* d)
{
    AccumulateSum(n, dst, a, b, c, d);
}

void Scale(unsigned int n, float* buf, float factor)
{
    unsigned int i = 0;
    if (AreAligned(buf))
        for (; n - i > 3; i += 4) Store(buf + i, Load<Float4>(buf + i) * factor);
    for (; i < n; ++i) buf[i] *= factor;
}

void ComplexMultiply(unsigned int n, float* outRe, float* outIm, const float* aRe, const float* aIm, const float* bRe,
                     const float* bIm)
{
    unsigned int i = 0;
    if (AreAligned(outRe, outIm, aRe, aIm, bRe, bIm)) {
        for (; n - i > 7; i += 8) {
            for (const unsigned int k : {i, i + 4})
                Store(outRe, outIm, k, Load<Float4>(aRe, aIm, k) * Load<Float4>(bRe, bIm, k));
        }
    }
    for (; i < n; ++i) {
        const auto product = MultiplyOne(aRe[i], aIm[i], bRe[i], bIm[i]);
        outRe[i] = product.real();
        outIm[i] = product.imag();
    }
}

void ComplexMultiply(unsigned int n, float* out1Re, float* out1Im, float* out2Re, float* out2Im, const float* aRe,
                     const float* aIm, const float* b1Re, const float* b1Im, const float* b2Re, const float* b2Im)
{
    unsigned int i = 0;
    if (AreAligned(out1Re, out1Im, out2Re, out2Im, aRe, aIm, b1Re, b1Im, b2Re, b2Im)) {
        for (; n - i > 3; i += 4) {
            const auto a = Load<Float4>(aRe, aIm, i);
            Store(out1Re, out1Im, i, a * Load<Float4>(b1Re, b1Im, i));
            Store(out2Re, out2Im, i, a * Load<Float4>(b2Re, b2Im, i));
        }
    }
    for (; i < n; ++i) {
        const auto first = MultiplyOne(aRe[i], aIm[i], b1Re[i], b1Im[i]);
        const auto second = MultiplyOne(aRe[i], aIm[i], b2Re[i], b2Im[i]);
        out1Re[i] = first.real();
        out1Im[i] = first.imag();
        out2Re[i] = second.real();
        out2Im[i] = second.imag();
    }
}

} // namespace kal
