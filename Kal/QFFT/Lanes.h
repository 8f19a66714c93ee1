#pragma once

#ifdef __AVX2__
#include <immintrin.h>
#endif

/// [any] Several floats that pass through the same arithmetic, for kernels that are written once and compiled once for
/// every instruction set. V is float or FloatN of N lanes. All of it has internal linkage: a source compiled for a wide
/// instruction set must leave no inline function behind that the linker could choose for the rest of the program. For
/// the same reason those sources call no inline function of the standard library.
namespace qfft {

namespace {

template<class V>
inline constexpr int kNumLanes = sizeof(V) / sizeof(float);

/// The lanes at any address. T is the type of a lane.
template<class V, class T>
inline V Load(const T* from)
{
    V lanes;
    __builtin_memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

template<class V, class T>
inline void Store(T* to, V lanes)
{
    __builtin_memcpy(to, &lanes, sizeof lanes);
}

template<class V>
inline V Broadcast(float x)
{
    return x - V{}; // not x + V{}, which would lose the sign of -0
}

/// a b + c and a b - c, rounded once where the instruction set has a fused product and twice elsewhere.
template<class V>
inline V MultiplyAdd(V a, V b, V c)
{
    return a * b + c;
}

template<class V>
inline V MultiplySubtract(V a, V b, V c)
{
    return a * b - c;
}

/// The lanes in reverse order.
inline float Reversed(float x)
{
    return x;
}

template<class V>
struct Pair {
    V first, second;
};

/// Every second element of a and then of b, and the others.
inline Pair<float> Deinterleaved(float a, float b)
{
    return {a, b};
}

using Float4 = float __attribute__((vector_size(16)));

inline Float4 Reversed(Float4 x)
{
    return __builtin_shufflevector(x, x, 3, 2, 1, 0);
}

/// The lanes moved up by 1, 2 or 4, zeros moving in.
template<int by>
inline Float4 ShiftedUp(Float4 v)
{
    if constexpr (by == 1)
        return __builtin_shufflevector(v, Float4{}, 4, 0, 1, 2);
    else
        return __builtin_shufflevector(v, Float4{}, 4, 5, 0, 1);
}

inline Pair<Float4> Deinterleaved(Float4 a, Float4 b)
{
    return {__builtin_shufflevector(a, b, 0, 2, 4, 6), __builtin_shufflevector(a, b, 1, 3, 5, 7)};
}

/// Transposes each quad of four rows: a quad is four lanes, the first ones, the next ones and so on.
inline void TransposeQuads(Float4* rows)
{
    const Float4 a = __builtin_shufflevector(rows[0], rows[1], 0, 4, 1, 5);
    const Float4 b = __builtin_shufflevector(rows[2], rows[3], 0, 4, 1, 5);
    const Float4 c = __builtin_shufflevector(rows[0], rows[1], 2, 6, 3, 7);
    const Float4 d = __builtin_shufflevector(rows[2], rows[3], 2, 6, 3, 7);
    rows[0] = __builtin_shufflevector(a, b, 0, 1, 4, 5);
    rows[1] = __builtin_shufflevector(a, b, 2, 3, 6, 7);
    rows[2] = __builtin_shufflevector(c, d, 0, 1, 4, 5);
    rows[3] = __builtin_shufflevector(c, d, 2, 3, 6, 7);
}

/// Among each group of as many of the four rows as a row has quads, quad k of row i becomes quad i of row k.
inline void ExchangeQuads(Float4*) {}

#ifdef __AVX2__

using Float8 = float __attribute__((vector_size(32)));
using Int8 = int __attribute__((vector_size(32)));

#ifdef __FMA__
inline Float8 MultiplyAdd(Float8 a, Float8 b, Float8 c)
{
    return _mm256_fmadd_ps(a, b, c);
}

inline Float8 MultiplySubtract(Float8 a, Float8 b, Float8 c)
{
    return _mm256_fmsub_ps(a, b, c);
}
#endif

inline Float8 Reversed(Float8 x)
{
    return __builtin_shufflevector(x, x, 7, 6, 5, 4, 3, 2, 1, 0);
}

template<int by>
inline Float8 ShiftedUp(Float8 v)
{
    if constexpr (by == 1)
        return __builtin_shufflevector(v, Float8{}, 8, 0, 1, 2, 3, 4, 5, 6);
    else if constexpr (by == 2)
        return __builtin_shufflevector(v, Float8{}, 8, 9, 0, 1, 2, 3, 4, 5);
    else
        return __builtin_shufflevector(v, Float8{}, 8, 9, 10, 11, 0, 1, 2, 3);
}

/// The lanes that the index names, in each lane.
inline Float8 Permuted(Float8 x, Int8 index)
{
    return _mm256_permutevar8x32_ps(x, reinterpret_cast<__m256i>(index));
}

inline Int8 Permuted(Int8 x, Int8 index)
{
    return reinterpret_cast<Int8>(
        _mm256_permutevar8x32_epi32(reinterpret_cast<__m256i>(x), reinterpret_cast<__m256i>(index)));
}

/// a where it is less than b, and b elsewhere. Compilers compare and choose.
inline Float8 Lesser(Float8 a, Float8 b)
{
    return _mm256_min_ps(a, b);
}

/// The lower halves of both, and the upper ones.
inline Pair<Float8> Halves(Float8 a, Float8 b)
{
    return {__builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11),
            __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15)};
}

inline Pair<Float8> Deinterleaved(Float8 a, Float8 b)
{
    const auto [left, right] = Halves(a, b);
    return {__builtin_shufflevector(left, right, 0, 2, 8, 10, 4, 6, 12, 14),
            __builtin_shufflevector(left, right, 1, 3, 9, 11, 5, 7, 13, 15)};
}

inline void TransposeQuads(Float8* rows)
{
    const Float8 a = __builtin_shufflevector(rows[0], rows[1], 0, 8, 1, 9, 4, 12, 5, 13);
    const Float8 b = __builtin_shufflevector(rows[2], rows[3], 0, 8, 1, 9, 4, 12, 5, 13);
    const Float8 c = __builtin_shufflevector(rows[0], rows[1], 2, 10, 3, 11, 6, 14, 7, 15);
    const Float8 d = __builtin_shufflevector(rows[2], rows[3], 2, 10, 3, 11, 6, 14, 7, 15);
    rows[0] = __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
    rows[1] = __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
    rows[2] = __builtin_shufflevector(c, d, 0, 1, 8, 9, 4, 5, 12, 13);
    rows[3] = __builtin_shufflevector(c, d, 2, 3, 10, 11, 6, 7, 14, 15);
}

inline void ExchangeQuads(Float8* rows)
{
#pragma GCC unroll 2
    for (int i = 0; i < 4; i += 2) {
        const Pair<Float8> exchanged = Halves(rows[i], rows[i + 1]);
        rows[i] = exchanged.first;
        rows[i + 1] = exchanged.second;
    }
}

#endif

#ifdef __AVX512F__

using Float16 = float __attribute__((vector_size(64)));
using Int16 = int __attribute__((vector_size(64)));

/// Leaves out no lane. Of intrinsics without a mask GCC 12 warns, as of a variable that is not initialised.
constexpr __mmask16 kAllLanes = 0xffff;

inline Float16 MultiplyAdd(Float16 a, Float16 b, Float16 c)
{
    return _mm512_fmadd_ps(a, b, c);
}

inline Float16 MultiplySubtract(Float16 a, Float16 b, Float16 c)
{
    return _mm512_fmsub_ps(a, b, c);
}

inline Float16 Reversed(Float16 x)
{
    return __builtin_shufflevector(x, x, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

template<int by>
inline Float16 ShiftedUp(Float16 v)
{
    return reinterpret_cast<Float16>(
        _mm512_maskz_alignr_epi32(kAllLanes, reinterpret_cast<__m512i>(v), _mm512_setzero_si512(), 16 - by));
}

inline Pair<Float16> Deinterleaved(Float16 a, Float16 b)
{
    return {__builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30),
            __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31)};
}

inline void TransposeQuads(Float16* rows)
{
    const Float16 a = _mm512_maskz_unpacklo_ps(kAllLanes, rows[0], rows[1]);
    const Float16 b = _mm512_maskz_unpacklo_ps(kAllLanes, rows[2], rows[3]);
    const Float16 c = _mm512_maskz_unpackhi_ps(kAllLanes, rows[0], rows[1]);
    const Float16 d = _mm512_maskz_unpackhi_ps(kAllLanes, rows[2], rows[3]);
    rows[0] = _mm512_maskz_shuffle_ps(kAllLanes, a, b, 0x44);
    rows[1] = _mm512_maskz_shuffle_ps(kAllLanes, a, b, 0xee);
    rows[2] = _mm512_maskz_shuffle_ps(kAllLanes, c, d, 0x44);
    rows[3] = _mm512_maskz_shuffle_ps(kAllLanes, c, d, 0xee);
}

/// Two quads of a, then two of b.
template<int first, int second>
inline Float16 Quads(Float16 a, Float16 b)
{
    return _mm512_maskz_shuffle_f32x4(kAllLanes, a, b, 0x11 * (first + 4 * second));
}

inline void ExchangeQuads(Float16* rows)
{
    const Float16 a = Quads<0, 1>(rows[0], rows[1]), b = Quads<0, 1>(rows[2], rows[3]);
    const Float16 c = Quads<2, 3>(rows[0], rows[1]), d = Quads<2, 3>(rows[2], rows[3]);
    rows[0] = Quads<0, 2>(a, b);
    rows[1] = Quads<1, 3>(a, b);
    rows[2] = Quads<0, 2>(c, d);
    rows[3] = Quads<1, 3>(c, d);
}

#endif

/// Writes the first `stride` lanes of four rows, then the next ones, and so on.
template<unsigned stride, class V>
inline void StoreInterleaved(float* to, V (&rows)[4])
{
    static_assert(stride == 1 || stride == 4);
    constexpr int kQuads = kNumLanes<V> / 4, kGroups = 4 / kQuads;
    if constexpr (stride == 1) TransposeQuads(rows);
    ExchangeQuads(rows);
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) Store(to + i * kNumLanes<V>, rows[i % kGroups * kQuads + i / kGroups]);
}

} // namespace

} // namespace qfft
