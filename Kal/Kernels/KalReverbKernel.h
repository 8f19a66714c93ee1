#pragma once

#include "Kal/Kernels/KalKernelTable.h"
#include "Kal/QFFT/Lanes.h"

/// [render] The inner loop of the reverb, written once for every lane width.
namespace kal {

namespace {

using namespace qfft;

/// Two stages of sums and differences at once, on the values that are `stride` apart: they fit into registers.
template<int stride, class T>
inline void Butterflies(T* v)
{
    const T a = v[0] + v[stride], b = v[0] - v[stride];
    const T c = v[2 * stride] + v[3 * stride], d = v[2 * stride] - v[3 * stride];
    v[0] = a + c;
    v[stride] = b + d;
    v[2 * stride] = a - c;
    v[3 * stride] = b - d;
}

/// v = H v with the 16 x 16 Hadamard matrix, entry (i, j) = (-1)^popcount(i & j), as four stages of sums and
/// differences. T is one frame's float or the lanes of several frames.
template<class T>
inline void Hadamard16(T* v)
{
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) Butterflies<4>(v + i);
#pragma GCC unroll 4
    for (int i = 0; i < 16; i += 4) Butterflies<1>(v + i);
}

/// Lanes are frames for the matrix, which needs no shuffles then, and lines for the damping, which is a recursion from
/// frame to frame: two transpositions lie between them.
template<class V>
void AdvanceNetwork(kernels::NetworkRun& run, int numFrames, const float* in)
{
    constexpr int kLanes = kNumLanes<V>;
    constexpr int kGroups = 16 / kLanes;
    const V gain = Broadcast<V>(run.feedbackGain), coef = Broadcast<V>(run.lpfCoef);
    V damp[kGroups];
    for (int g = 0; g < kGroups; ++g) damp[g] = Load<V>(run.dampState + g * kLanes);

    for (int i = 0; i < numFrames; i += kLanes) {
        V v[16];
#pragma GCC unroll 16
        for (int k = 0; k < 16; ++k) v[k] = Load<V>(run.read[k] + i);
        Hadamard16(v);
#pragma GCC unroll 16
        for (int g = 0; g < kGroups; ++g) {
            V* group = v + g * kLanes;
            Transpose(group);
#pragma GCC unroll 8
            for (int frame = 0; frame < kLanes; ++frame)
                group[frame] = damp[g] += (group[frame] * gain - damp[g]) * coef;
            Transpose(group);
        }
        const V x = Load<V>(in + i);
        v[0] += x;
        v[2] -= x;
#pragma GCC unroll 16
        for (int k = 0; k < 16; ++k) Store(run.write[k] + i, v[k]);
    }
    for (int g = 0; g < kGroups; ++g) Store(run.dampState + g * kLanes, damp[g]);
}

} // namespace

} // namespace kal
