#pragma once

#include <cstddef>

namespace qfft {

template<class T>
struct Stage;

/// One pass over the data, from one pair of arrays to another.
template<class T>
using StageKernel = void (*)(const Stage<T>& stage, const T* inReal, const T* inImag, T* outReal, T* outImag);

/// A radix step of a self-sorting transform of N points. With P the product of the radices before it (the stride) and
/// M = N / (P R) (the count), for all q < P, p < M and j < R,
///     out[q + P (R p + j)] = exp(-2 pi i j p P / N) sum over k < R of in[q + P (p + k M)] exp(-2 pi i j k / R).
/// Every stage is a forward one: swapping the real and imaginary arrays, in and out, turns the direction round.
template<class T>
struct Stage {
    StageKernel<T> kernel;
    unsigned radix;
    std::size_t stride;
    std::size_t count;
    const T* twiddles; ///< in the layout that the kernel reads
};

} // namespace qfft
