#pragma once

#include "Kal/Kernels/KalKernelTable.h"
#include "Kal/QFFT/Complex.h"

/// [render] The inner loops of convolution and of the real transform, written once for every lane width.
namespace kal {

namespace {

using namespace qfft;

/// Pairs k ... k + lanes - 1 of a TwiddlePairs and their mirror images, which stand in reverse.
template<class V>
inline void ApplyTwiddlePairsAt(const kernels::TwiddlePairs& t, int k)
{
    const int mirror = t.size - k - (kNumLanes<V> - 1);
    const auto x = Load<V>(t.inReal, t.inImag, k), y = Load<V>(t.inReal, t.inImag, mirror);
    const Complex<V> mirrored = {Reversed(y.re), -Reversed(y.im)};
    const Complex<V> twiddle = {Load<V>(t.twiddleReal + k - 1), Load<V>(t.twiddleImag + k - 1) * t.conjugate};
    const Complex<V> sum = x + mirrored, product = twiddle * (x - mirrored);
    Store(t.outReal, t.outImag, k, (sum + product) * t.factor);
    const Complex<V> difference = Complex<V>{sum.re - product.re, product.im - sum.im} * t.factor; // conjugate
    Store(t.outReal, t.outImag, mirror, Complex<V>{Reversed(difference.re), Reversed(difference.im)});
}

template<class V>
void ApplyTwiddlePairs(const kernels::TwiddlePairs& t)
{
    int k = 1;
    for (; k + kNumLanes<V> <= t.size / 2 + 1; k += kNumLanes<V>) ApplyTwiddlePairsAt<V>(t, k);
    for (; k <= t.size / 2; ++k) ApplyTwiddlePairsAt<float>(t, k);
}

template<class V>
void Deinterleave(int count, const float* in, float* even, float* odd)
{
    constexpr int kLanes = kNumLanes<V>;
    int i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        const Pair<V> x = Deinterleaved(Load<V>(in + 2 * i), Load<V>(in + 2 * i + kLanes));
        Store(even + i, x.first);
        Store(odd + i, x.second);
    }
    for (; i < count; ++i) {
        even[i] = in[2 * i];
        odd[i] = in[2 * i + 1];
    }
}

/// The products of bin k ... k + lanes - 1.
template<class V>
inline void AddProductsAt(const kernels::Products& p, int k)
{
    const auto spectrum = Load<V>(p.real, p.imag, k);
    for (const auto& [filter, sum] : p.ears)
        Store(sum, sum + p.stride, k,
              Load<V>(sum, sum + p.stride, k) + spectrum * Load<V>(filter, filter + p.stride, k));
}

template<class V>
void AddProducts(const kernels::Products& p)
{
    int k = 0;
    for (; k + kNumLanes<V> <= p.bins; k += kNumLanes<V>) AddProductsAt<V>(p, k);
    for (; k < p.bins; ++k) AddProductsAt<float>(p, k);
}

/// The same of a pair.
template<class V>
inline void AddPairProductsAt(const kernels::PairProducts& p, int k)
{
    const int mirror = 2 * (p.bins - 1) - k - (kNumLanes<V> - 1);
    const auto z = Load<V>(p.real, p.imag, k), y = Load<V>(p.real, p.imag, mirror);
    const Complex<V> mirrored = {Reversed(y.re), -Reversed(y.im)};
    const Complex<V> first = (z + mirrored) * 0.25f, difference = (z - mirrored) * 0.25f;
    const Complex<V> second = {difference.im, -difference.re};
    for (const auto& [filters, sum] : p.ears) {
        const auto a = first * Load<V>(filters[0], filters[0] + p.stride, k);
        const auto b = second * Load<V>(filters[1], filters[1] + p.stride, k);
        Store(sum, sum + p.stride, k, Load<V>(sum, sum + p.stride, k) + a + b);
    }
}

template<class V>
void AddPairProducts(const kernels::PairProducts& p)
{
    int k = 0;
    for (; k + kNumLanes<V> <= p.bins; k += kNumLanes<V>) AddPairProductsAt<V>(p, k);
    for (; k < p.bins; ++k) AddPairProductsAt<float>(p, k);
}

} // namespace

} // namespace kal
