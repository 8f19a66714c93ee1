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
/// differences.
inline void Hadamard16(float* v)
{
    for (int i = 0; i < 4; ++i) Butterflies<4>(v + i);
    for (int i = 0; i < 16; i += 4) Butterflies<1>(v + i);
}

/// Frames from first to last, as far as they fill lanes; gives the first one that is left. Lanes are frames for the
/// matrix, which needs no shuffles then, and lines for the damping, which is a recursion from frame to frame: a
/// transposition of quads and their exchange lie between them, each where the lines that it is about are at hand, so
/// that eight registers hold them.
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

/// By the lanes named first, and what they leave by the next ones.
template<class... V>
void AdvanceNetwork(kernels::NetworkRun& run, int numFrames, const float* in)
{
    int first = 0;
    ((first = AdvanceFrames<V>(run, first, numFrames, in)), ...);
}

} // namespace

} // namespace kal
