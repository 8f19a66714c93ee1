#pragma once

/// [any] Several floats that pass through the same arithmetic, for kernels that are written once and compiled once for
/// every instruction set. All of it has internal linkage: a source compiled for a wide instruction set must leave no
/// inline function behind that the linker could choose for the rest of the program. For the same reason those sources
/// call no inline function of the standard library.
namespace kal {

namespace {

using Float4 = float __attribute__((vector_size(16)));
using Float8 = float __attribute__((vector_size(32)));

template<class V>
inline constexpr int kNumLanes = sizeof(V) / sizeof(float);

/// The lanes at any address.
template<class V>
inline V Load(const float* from)
{
    V lanes;
    __builtin_memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

template<class V>
inline void Store(float* to, V lanes)
{
    __builtin_memcpy(to, &lanes, sizeof lanes);
}

template<class V>
inline V Broadcast(float x)
{
    return x - V{}; // not x + V{}, which would lose the sign of -0
}

/// The lanes in reverse order.
template<class V>
inline V Reversed(V x)
{
    if constexpr (kNumLanes<V> == 1)
        return x;
    else if constexpr (kNumLanes<V> == 4)
        return __builtin_shufflevector(x, x, 3, 2, 1, 0);
    else
        return __builtin_shufflevector(x, x, 7, 6, 5, 4, 3, 2, 1, 0);
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

template<class V>
struct Pair {
    V first, second;
};

/// Every second element of a and then of b, and the others.
template<class V>
inline Pair<V> Deinterleaved(V a, V b)
{
    if constexpr (kNumLanes<V> == 1) {
        return {a, b};
    } else if constexpr (kNumLanes<V> == 4) {
        return {__builtin_shufflevector(a, b, 0, 2, 4, 6), __builtin_shufflevector(a, b, 1, 3, 5, 7)};
    } else {
        const V left = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
        const V right = __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
        return {__builtin_shufflevector(left, right, 0, 2, 8, 10, 4, 6, 12, 14),
                __builtin_shufflevector(left, right, 1, 3, 9, 11, 5, 7, 13, 15)};
    }
}

/// Row i, lane k becomes row k, lane i.
inline void Transpose(float*) {}

inline void Transpose(Float4* rows)
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

/// The four 4 x 4 quarters at once, then the exchange of the two off the diagonal.
inline void Transpose(Float8* rows)
{
    Float8 quarters[8];
    for (int half = 0; half < 8; half += 4) {
        const Float8* r = rows + half;
        const Float8 a = __builtin_shufflevector(r[0], r[1], 0, 8, 1, 9, 4, 12, 5, 13);
        const Float8 b = __builtin_shufflevector(r[2], r[3], 0, 8, 1, 9, 4, 12, 5, 13);
        const Float8 c = __builtin_shufflevector(r[0], r[1], 2, 10, 3, 11, 6, 14, 7, 15);
        const Float8 d = __builtin_shufflevector(r[2], r[3], 2, 10, 3, 11, 6, 14, 7, 15);
        quarters[half] = __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
        quarters[half + 1] = __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
        quarters[half + 2] = __builtin_shufflevector(c, d, 0, 1, 8, 9, 4, 5, 12, 13);
        quarters[half + 3] = __builtin_shufflevector(c, d, 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (int i = 0; i < 4; ++i) {
        rows[i] = __builtin_shufflevector(quarters[i], quarters[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        rows[i + 4] = __builtin_shufflevector(quarters[i], quarters[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

} // namespace

} // namespace kal
