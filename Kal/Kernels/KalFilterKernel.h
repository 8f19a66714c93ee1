#pragma once

#include "Kal/Kernels/KalKernelTable.h"
#include "Kal/QFFT/Lanes.h"

/// [render] The inner loop of the equaliser, written once for every lane width.
namespace kal {

namespace {

using namespace qfft;

using Double2 = double __attribute__((vector_size(16)));

/// What goes into the first vector: a frame and, where it holds further sections, what comes out of the last vector.
inline Double2 FirstInput(Double2 frame, Double2)
{
    return frame;
}

#ifdef __AVX2__
using Double4 = double __attribute__((vector_size(32)));

inline Double4 FirstInput(Double2 frame, Double4 last)
{
    return __builtin_shufflevector(Double4{frame[0], frame[1]}, last, 0, 1, 4, 5);
}
#endif

#ifdef __AVX512F__
using Double8 = double __attribute__((vector_size(64)));

inline Double8 FirstInput(Double2 frame, Double8 last)
{
    return __builtin_shufflevector(Double8{frame[0], frame[1]}, last, 0, 1, 8, 9, 10, 11, 12, 13);
}
#endif

/// Sections of a cascade, both channels of each side by side. The vectors take turns at holding a section, so that what
/// goes into a vector is what comes out of the one before; a vacant place has coefficients of 0, and nothing goes on
/// from it to a section.
template<class D>
struct Sections {
    static constexpr int kHeld = sizeof(D) / sizeof(double) / 2;
    static constexpr int kVectors = (kernels::Cascade::kSections + kHeld - 1) / kHeld;

    /// What went in at the last two times, by time modulo 2. A variable index keeps it in memory: registers are for
    /// what the next step waits for.
    using Past = D[2];

    /// For a section that begins at an even time.
    void Load(const kernels::Cascade::Section& section, int held, Past& past)
    {
#pragma GCC unroll 2
        for (int channel = 0; channel < 2; ++channel) {
            const int lane = 2 * held + channel;
            b0[lane] = section.b0, b1[lane] = section.b1, b2[lane] = section.b2;
            c1[lane] = section.c1, c2[lane] = section.c2;
            past[1][lane] = section.x1[channel], past[0][lane] = section.x2[channel];
            y1[lane] = section.y1[channel], y2[lane] = section.y2[channel];
        }
    }

    /// time is that of the next step.
    void StoreStates(kernels::Cascade::Section& section, int held, int time, const Past& past) const
    {
#pragma GCC unroll 2
        for (int channel = 0; channel < 2; ++channel) {
            const int lane = 2 * held + channel;
            section.x1[channel] = past[(time + 1) % 2][lane], section.x2[channel] = past[time % 2][lane];
            section.y1[channel] = y1[lane], section.y2[channel] = y2[lane];
        }
    }

    void Step(D x, int time, Past& past)
    {
        const D y = b0 * x + b1 * past[(time + 1) % 2] + b2 * past[time % 2] + c1 * y1 + c2 * y2;
        past[time % 2] = x;
        y2 = y1, y1 = y;
    }

    D b0, b1, b2, c1, c2, y1, y2;
};

// Each section is two frames behind the one before it: in every step all of them work at the same time, and none waits
// for what another does in it. Sections begin with their first frame; their states are taken after their last one, and
// what they do until all have ended is of no account.
template<class D>
void RunCascade(kernels::Cascade& cascade, int numFrames, float* frames)
{
    if (numFrames == 0) return;
    using Vector = Sections<D>;
    constexpr int kLast = Vector::kVectors - 1, kLag = 2 * (kernels::Cascade::kSections - 1);
    static_assert(kernels::Cascade::kSections % Vector::kVectors == 0); // the last section stands in the last vector
    struct Vectors {
        Vector at[Vector::kVectors];
    } vectors{};
    typename Vector::Past pasts[Vector::kVectors]{};
    const auto load = [&](int section) {
        const int i = section % Vector::kVectors;
        vectors.at[i].Load(cascade.sections[section], section / Vector::kVectors, pasts[i]);
    };
    for (int k = 0; k < kernels::Cascade::kSections; ++k) load(k);

    const auto step = [&](Vectors& v, int time) {
        const float* const frame = frames + 2 * time;
        const D last = v.at[kLast].y2;
#pragma GCC unroll 8
        for (int i = kLast; i > 0; --i) v.at[i].Step(v.at[i - 1].y2, time, pasts[i]);
        v.at[0].Step(FirstInput(time < numFrames ? Double2{frame[0], frame[1]} : Double2{}, last), time, pasts[0]);
        if (time < kLag) return;
        constexpr int kLane = (kernels::Cascade::kSections - 1) / Vector::kVectors * 2; // where the last section stands
        frames[2 * (time - kLag)] = static_cast<float>(v.at[kLast].y1[kLane]);
        frames[2 * (time - kLag) + 1] = static_cast<float>(v.at[kLast].y1[kLane + 1]);
    };
    const auto storeEnded = [&](int time) {
        const int since = time - (numFrames - 1);
        if (since < 0 || since % 2 != 0) return;
        const int k = since / 2, i = k % Vector::kVectors;
        vectors.at[i].StoreStates(cascade.sections[k], k / Vector::kVectors, time + 1, pasts[i]);
    };
    int time = 0;
    for (; time < kLag; ++time) {
        step(vectors, time);
        storeEnded(time);
        if (time % 2 != 0) load((time + 1) / 2); // the one that begins next
    }
    if (time < numFrames) {
        Vectors inner = vectors; // indexed by constants alone, so that registers can hold it
        for (; time < numFrames; ++time) step(inner, time);
        vectors = inner;
        storeEnded(numFrames - 1);
    }
    for (; time < numFrames + kLag; ++time) {
        step(vectors, time);
        storeEnded(time);
    }
}

} // namespace

} // namespace kal
