#pragma once

#include "Kal/KalKernels.h"
#include "Kal/KalLanes.h"

namespace kal {

namespace {

/// Pairs k ... k + lanes - 1 of a PairTurn and their mirror images, which stand in reverse.
template<class V>
inline void TurnPairsAt(const kernels::PairTurn& t, int k)
{
    const int mirror = t.size - k - (kNumLanes<V> - 1);
    const V real = Load<V>(t.inReal + k), mirrorReal = Reversed(Load<V>(t.inReal + mirror));
    const V imag = Load<V>(t.inImag + k), mirrorImag = Reversed(Load<V>(t.inImag + mirror));
    const V turnReal = Load<V>(t.turnReal + k - 1), turnImag = Load<V>(t.turnImag + k - 1) * t.conjugate;
    const V sumReal = real + mirrorReal, sumImag = imag - mirrorImag;
    const V differenceReal = real - mirrorReal, differenceImag = imag + mirrorImag;
    const V turnedReal = turnReal * differenceReal - turnImag * differenceImag;
    const V turnedImag = turnReal * differenceImag + turnImag * differenceReal;
    Store(t.outReal + k, (sumReal + turnedReal) * t.factor);
    Store(t.outImag + k, (sumImag + turnedImag) * t.factor);
    Store(t.outReal + mirror, Reversed((sumReal - turnedReal) * t.factor));
    Store(t.outImag + mirror, Reversed((turnedImag - sumImag) * t.factor));
}

template<class V>
void TurnPairs(const kernels::PairTurn& t)
{
    int k = 1;
    for (; k + kNumLanes<V> <= t.size / 2 + 1; k += kNumLanes<V>) TurnPairsAt<V>(t, k);
    for (; k <= t.size / 2; ++k) TurnPairsAt<float>(t, k);
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

template<class V>
void OverlapAdd(int size, const float* even, const float* odd, float factor, float* output)
{
    constexpr int kLanes = kNumLanes<V>;
    float* tail = output + size;
    int i = 0;
    for (; i + 2 * kLanes <= size; i += 2 * kLanes) {
        const Pair<V> x = Interleaved(Load<V>(even + i / 2) * factor, Load<V>(odd + i / 2) * factor);
        Store(output + i, x.first + Load<V>(tail + i));
        Store(output + i + kLanes, x.second + Load<V>(tail + i + kLanes));
    }
    for (; i < size; ++i) output[i] = (i % 2 == 0 ? even : odd)[i / 2] * factor + tail[i];
    for (; i + 2 * kLanes <= 2 * size; i += 2 * kLanes) {
        const Pair<V> x = Interleaved(Load<V>(even + i / 2) * factor, Load<V>(odd + i / 2) * factor);
        Store(output + i, x.first);
        Store(output + i + kLanes, x.second);
    }
    for (; i < 2 * size; ++i) output[i] = (i % 2 == 0 ? even : odd)[i / 2] * factor;
}

template<class V>
void AccumulateStereo(int count, const float* left, const float* right, float* out)
{
    constexpr int kLanes = kNumLanes<V>;
    int i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        float* to = out + 2 * i;
        const Pair<V> x = Interleaved(Load<V>(left + i), Load<V>(right + i));
        Store(to, Load<V>(to) + x.first);
        Store(to + kLanes, Load<V>(to + kLanes) + x.second);
    }
    for (; i < count; ++i) {
        out[2 * i] += left[i];
        out[2 * i + 1] += right[i];
    }
}

} // namespace

} // namespace kal
