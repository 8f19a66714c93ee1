#pragma once

#include "Kal/Kernels/KalKernelTable.h"
#include "Kal/Kernels/KalLanes.h"

/// [render] The inner loops of convolution and of the real transform, written once for every lane width.
namespace kal {

namespace {

/// Pairs k ... k + lanes - 1 of a TwiddlePairs and their mirror images, which stand in reverse.
template<class V>
inline void ApplyTwiddlePairsAt(const kernels::TwiddlePairs& t, int k)
{
    const int mirror = t.size - k - (kNumLanes<V> - 1);
    const V real = Load<V>(t.inReal + k), mirrorReal = Reversed(Load<V>(t.inReal + mirror));
    const V imag = Load<V>(t.inImag + k), mirrorImag = Reversed(Load<V>(t.inImag + mirror));
    const V twiddleReal = Load<V>(t.twiddleReal + k - 1), twiddleImag = Load<V>(t.twiddleImag + k - 1) * t.conjugate;
    const V sumReal = real + mirrorReal, sumImag = imag - mirrorImag;
    const V differenceReal = real - mirrorReal, differenceImag = imag + mirrorImag;
    const V productReal = twiddleReal * differenceReal - twiddleImag * differenceImag;
    const V productImag = twiddleReal * differenceImag + twiddleImag * differenceReal;
    Store(t.outReal + k, (sumReal + productReal) * t.factor);
    Store(t.outImag + k, (sumImag + productImag) * t.factor);
    Store(t.outReal + mirror, Reversed((sumReal - productReal) * t.factor));
    Store(t.outImag + mirror, Reversed((productImag - sumImag) * t.factor));
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
    const V real = Load<V>(p.real + k), imag = Load<V>(p.imag + k);
    for (const kernels::Products::Ear& ear : p.ears) {
        const V filterReal = Load<V>(ear.filterReal + k), filterImag = Load<V>(ear.filterImag + k);
        Store(ear.sumReal + k, Load<V>(ear.sumReal + k) + (real * filterReal - imag * filterImag));
        Store(ear.sumImag + k, Load<V>(ear.sumImag + k) + (real * filterImag + imag * filterReal));
    }
}

template<class V>
void AddProducts(const kernels::Products& p)
{
    int k = 0;
    for (; k + kNumLanes<V> <= p.bins; k += kNumLanes<V>) AddProductsAt<V>(p, k);
    for (; k < p.bins; ++k) AddProductsAt<float>(p, k);
}

} // namespace

} // namespace kal
