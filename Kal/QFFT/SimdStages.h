#pragma once

#include "Kal/QFFT/Butterfly.h"
#include "Kal/QFFT/SimdKernel.h"

#include <cstddef>

/// [render] Stage kernels on vectors of floats, written once and compiled once for every instruction set.
namespace qfft {

namespace {

/// A stage whose stride is a multiple of the lanes. Twiddles, conjugate: per p and per j, one real and one imaginary
/// part. The last stage of a transform has a count of 1 and needs none.
template<class V, unsigned radix, bool isLast>
void WideStage(const Stage<float>& stage, const float* inReal, const float* inImag, float* outReal, float* outImag)
{
    const std::size_t stride = stage.stride, count = isLast ? 1 : stage.count;
    constexpr std::size_t kLanes = kNumLanes<V>;
    for (std::size_t p = 0; p < count; ++p) {
        Complex<V> twiddles[radix];
        if constexpr (!isLast) {
            const float* from = stage.twiddles + 2 * (radix - 1) * p;
#pragma GCC unroll 8
            for (unsigned j = 1; j < radix; ++j)
                twiddles[j] = {Broadcast<V>(from[2 * j - 2]), Broadcast<V>(from[2 * j - 1])};
        }
        for (std::size_t q = 0; q < stride; q += kLanes) {
            Complex<V> x[radix];
#pragma GCC unroll 8
            for (unsigned k = 0; k < radix; ++k) x[k] = Load<V>(inReal, inImag, q + stride * (p + k * count));
            Butterfly<float>(x);
#pragma GCC unroll 8
            for (unsigned j = 0; j < radix; ++j)
                Store(outReal, outImag, q + stride * (radix * p + j), isLast || j == 0 ? x[j] : x[j] * twiddles[j]);
        }
    }
}

/// A radix-4 stage whose stride is at most the lanes, which divide stride times count. Twiddles, conjugate:
/// per vector and per j, a vector of real and one of imaginary parts.
template<class V, unsigned stride>
void NarrowStage(const Stage<float>& stage, const float* inReal, const float* inImag, float* outReal, float* outImag)
{
    constexpr std::size_t kLanes = kNumLanes<V>;
    const std::size_t quarter = stride * stage.count;
    const float* twiddles = stage.twiddles;
    for (std::size_t i = 0; i < quarter; i += kLanes, twiddles += 6 * kLanes) {
        Complex<V> x[4];
#pragma GCC unroll 8
        for (unsigned k = 0; k < 4; ++k) x[k] = Load<V>(inReal, inImag, i + k * quarter);
        Butterfly<float>(x);
#pragma GCC unroll 8
        for (unsigned j = 1; j < 4; ++j) x[j] = x[j] * Load<V>(twiddles, twiddles + kLanes, 2 * (j - 1) * kLanes);
        V real[4] = {x[0].re, x[1].re, x[2].re, x[3].re}, imag[4] = {x[0].im, x[1].im, x[2].im, x[3].im};
        StoreInterleaved<stride>(outReal + 4 * i, real);
        StoreInterleaved<stride>(outImag + 4 * i, imag);
    }
}

/// The kernel of a stage, or none if these vectors do not fit it.
template<class V>
SimdKernel FindKernel(const Stage<float>& stage)
{
    constexpr unsigned kLanes = kNumLanes<V>;
    const bool isLast = stage.count == 1;
    if (stage.radix == 4 && stage.stride <= kLanes && !isLast) {
        if (stage.stride * stage.count % kLanes != 0) return {};
        if (stage.stride == 1) return {NarrowStage<V, 1>, kLanes};
        if (stage.stride == 4) return {NarrowStage<V, 4>, kLanes};
    }
    if (stage.stride % kLanes != 0) return {};
    if (stage.radix == 2) return {isLast ? WideStage<V, 2, true> : WideStage<V, 2, false>, 1};
    if (stage.radix == 3) return {isLast ? WideStage<V, 3, true> : WideStage<V, 3, false>, 1};
    if (stage.radix == 4) return {isLast ? WideStage<V, 4, true> : WideStage<V, 4, false>, 1};
    return {isLast ? WideStage<V, 8, true> : nullptr, 1};
}

} // namespace

} // namespace qfft
