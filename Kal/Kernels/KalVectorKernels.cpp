#include "Kal/Kernels/KalVectorKernels.h"

#include <complex>
#include <cstdint>

namespace kal {
namespace {

using Float4 [[gnu::vector_size(16), gnu::may_alias]] = float;

Float4& Four(float* p)
{
    return *reinterpret_cast<Float4*>(p);
}
const Float4& Four(const float* p)
{
    return *reinterpret_cast<const Float4*>(p);
}

template<class... Array>
bool AreAligned(const Array*... arrays)
{
    return ((reinterpret_cast<std::uintptr_t>(arrays) | ...) % sizeof(Float4)) == 0;
}

template<class... Source>
void AccumulateSum(unsigned int n, float* dst, const Source*... sources)
{
    unsigned int i = 0;
    if (AreAligned(dst, sources...))
        for (; n - i > 3; i += 4) Four(dst + i) += (... + Four(sources + i));
    for (; i < n; ++i) dst[i] += (... + sources[i]);
}

struct FourProducts {
    Float4 re, im;
};

FourProducts MultiplyFour(Float4 aRe, Float4 aIm, Float4 bRe, Float4 bIm)
{
    return {aRe * bRe - aIm * bIm, aRe * bIm + aIm * bRe};
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
    if (AreAligned(buf)) {
        for (; n - i > 15; i += 16) {
            Four(buf + i) *= factor;
            Four(buf + i + 4) *= factor;
            Four(buf + i + 8) *= factor;
            Four(buf + i + 12) *= factor;
        }
        for (; n - i > 3; i += 4) Four(buf + i) *= factor;
    }
    for (; i < n; ++i) buf[i] *= factor;
}

void ComplexMultiply(unsigned int n, float* outRe, float* outIm, const float* aRe, const float* aIm, const float* bRe,
                     const float* bIm)
{
    unsigned int i = 0;
    if (AreAligned(outRe, outIm, aRe, aIm, bRe, bIm)) {
        for (; n - i > 7; i += 8) {
            const auto low = MultiplyFour(Four(aRe + i), Four(aIm + i), Four(bRe + i), Four(bIm + i));
            const auto high = MultiplyFour(Four(aRe + i + 4), Four(aIm + i + 4), Four(bRe + i + 4), Four(bIm + i + 4));
            Four(outRe + i) = low.re;
            Four(outRe + i + 4) = high.re;
            Four(outIm + i) = low.im;
            Four(outIm + i + 4) = high.im;
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
            const auto first = MultiplyFour(Four(aRe + i), Four(aIm + i), Four(b1Re + i), Four(b1Im + i));
            const auto second = MultiplyFour(Four(aRe + i), Four(aIm + i), Four(b2Re + i), Four(b2Im + i));
            Four(out1Re + i) = first.re;
            Four(out1Im + i) = first.im;
            Four(out2Re + i) = second.re;
            Four(out2Im + i) = second.im;
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
