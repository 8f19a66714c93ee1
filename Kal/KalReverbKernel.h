#pragma once

#include "Kal/KalKernels.h"
#include "Kal/KalLanes.h"

namespace kal {

namespace {

template<int stride, class T>
inline void Butterflies(T* v)
{
    for (int first = 0; first < 16; first += 2 * stride)
        for (int i = first; i < first + stride; ++i) {
            const T a = v[i], b = v[i + stride];
            v[i] = a + b;
            v[i + stride] = a - b;
        }
}

/// v = H v with the 16 x 16 Hadamard matrix, entry (i, j) = (-1)^popcount(i & j), as four stages of sums and
/// differences. T is one frame's float or the lanes of several frames.
template<class T>
inline void Hadamard16(T* v)
{
    Butterflies<1>(v);
    Butterflies<2>(v);
    Butterflies<4>(v);
    Butterflies<8>(v);
}

/// Lanes are frames for the matrix, which needs no shuffles then, and lines for the damping, which is a recursion from
/// frame to frame: two transpositions lie between them.
template<class V>
void AdvanceNetwork(kernels::NetworkRun& run, int numFrames, const float* in)
{
    constexpr int kLanes = kNumLanes<V>;
    constexpr int kGroups = 16 / kLanes;
    const V gain = Broadcast<V>(run.feedbackGain);
    const V coef = Broadcast<V>(run.lpfCoef);
    V damp[kGroups];
    for (int g = 0; g < kGroups; ++g) damp[g] = Load<V>(run.dampState + g * kLanes);

    for (int i = 0; i < numFrames; i += kLanes) {
        V v[16];
        for (int k = 0; k < 16; ++k) v[k] = Load<V>(run.read[k] + i);
        Hadamard16(v);
        for (int g = 0; g < kGroups; ++g) {
            V* group = v + g * kLanes;
            Transpose(group);
            for (int frame = 0; frame < kLanes; ++frame)
                group[frame] = damp[g] = damp[g] + (group[frame] * gain - damp[g]) * coef;
            Transpose(group);
        }
        const V x = Load<V>(in + i);
        v[0] += x;
        v[2] -= x;
        for (int k = 0; k < 16; ++k) Store(run.write[k] + i, v[k]);
    }
    for (int g = 0; g < kGroups; ++g) Store(run.dampState + g * kLanes, damp[g]);
}

} // namespace

} // namespace kal
