#pragma once

#include "Kal/Kernels/KalKernelTable.h"
#include "Kal/QFFT/Lanes.h"

/// [render] The inner loop of the reverb: frame by frame, and in lanes of any width.
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

/// One frame: v, what comes out of the lines, becomes what goes into them. The 16 x 16 Hadamard matrix, entry (i, j) =
/// (-1)^popcount(i & j), is four stages of sums and differences.
inline void AdvanceFrame(float* v, float* dampState, float feedbackGain, float lpfCoef, float x)
{
    for (int i = 0; i < 4; ++i) Butterflies<4>(v + i);
    for (int i = 0; i < 16; i += 4) Butterflies<1>(v + i);
    for (int k = 0; k < 16; ++k) v[k] = dampState[k] += (v[k] * feedbackGain - dampState[k]) * lpfCoef;
    v[0] += x;
    v[2] -= x;
}

/// Advances by the frames from first to last, as far as they fill lanes; returns the first one that is left. The matrix
/// has frames in its lanes and so needs no shuffles; the damping, a recursion from frame to frame, has lines. On the
/// way from one to the other, quads are exchanged among vectors and then transposed, and the reverse on the way back:
/// in steps of four vectors, which fit into eight registers.
template<class V>
int AdvanceFrames(kernels::NetworkRun& run, int first, int last, const float* in)
{
    constexpr int kLanes = kNumLanes<V>, kQuads = kLanes / 4, kGroups = 16 / kLanes;
    const V gain = Broadcast<V>(run.feedbackGain), coef = Broadcast<V>(run.lpfCoef);
    V damp[kGroups];
    for (int g = 0; g < kGroups; ++g) damp[g] = Load<V>(run.dampState + g * kLanes);

    for (; first + kLanes <= last; first += kLanes) {
        V rows[4][4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            V v[4];
#pragma GCC unroll 4
            for (int i = 0; i < 4; ++i) v[i] = Load<V>(run.read[4 * i + k] + first);
            Butterflies<1>(v);
            ExchangeQuads(v);
#pragma GCC unroll 4
            for (int i = 0; i < 4; ++i) rows[i][k] = v[i];
        }
#pragma GCC unroll 4
        for (int quad = 0; quad < kQuads; ++quad) {
#pragma GCC unroll 4
            for (int g = 0; g < kGroups; ++g) {
                V* const v = rows[g * kQuads + quad];
                Butterflies<1>(v);
                TransposeQuads(v);
#pragma GCC unroll 4
                for (int frame = 0; frame < 4; ++frame) v[frame] = damp[g] += (v[frame] * gain - damp[g]) * coef;
                TransposeQuads(v);
            }
        }
        const V x = Load<V>(in + first);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            V v[4];
#pragma GCC unroll 4
            for (int i = 0; i < 4; ++i) v[i] = rows[i][k];
            ExchangeQuads(v);
            if (k == 0) v[0] += x;
            if (k == 2) v[0] -= x;
#pragma GCC unroll 4
            for (int i = 0; i < 4; ++i) Store(run.write[4 * i + k] + first, v[i]);
        }
    }
    for (int g = 0; g < kGroups; ++g) Store(run.dampState + g * kLanes, damp[g]);
    return first;
}

/// In the lanes named first; what is left, in those named next.
template<class... V>
void AdvanceNetwork(kernels::NetworkRun& run, int numFrames, const float* in)
{
    int first = 0;
    ((first = AdvanceFrames<V>(run, first, numFrames, in)), ...);
}

} // namespace

} // namespace kal
