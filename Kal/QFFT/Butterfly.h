#pragma once

#include "Kal/QFFT/Complex.h"

#include <numbers>

/// [any] The transforms of a few points.
namespace qfft {

namespace {

/// The forward transform of two, three, four or eight points, in place. T is the type of an element of V.
template<class T, class V>
inline void Butterfly(Complex<V> (&x)[2])
{
    const Complex<V> sum = x[0] + x[1];
    x[1] = x[0] - x[1];
    x[0] = sum;
}

template<class T, class V>
inline void Butterfly(Complex<V> (&x)[3])
{
    constexpr T half = T(0.5), sine = std::numbers::sqrt3_v<T> / 2;
    const Complex<V> sum = x[1] + x[2], difference = x[1] - x[2];
    const Complex<V> centre = x[0] - sum * half, side = difference * sine;
    x[0] = x[0] + sum;
    x[1] = MinusI(centre, side);
    x[2] = PlusI(centre, side);
}

template<class T, class V>
inline void Butterfly(Complex<V> (&x)[4])
{
    const Complex<V> evenSum = x[0] + x[2], evenDifference = x[0] - x[2];
    const Complex<V> oddSum = x[1] + x[3], oddDifference = x[1] - x[3];
    x[0] = evenSum + oddSum;
    x[1] = MinusI(evenDifference, oddDifference);
    x[2] = evenSum - oddSum;
    x[3] = PlusI(evenDifference, oddDifference);
}

template<class T, class V>
inline void Butterfly(Complex<V> (&x)[8])
{
    constexpr T diagonal = std::numbers::sqrt2_v<T> / 2;
    Complex<V> even[4] = {x[0], x[2], x[4], x[6]}, odd[4] = {x[1], x[3], x[5], x[7]};
    Butterfly<T>(even);
    Butterfly<T>(odd);
    // The twiddles of the odd outputs are exp(-2 pi i j / 8).
    odd[1] = {(odd[1].re + odd[1].im) * diagonal, (odd[1].im - odd[1].re) * diagonal};
    odd[3] = {(odd[3].im - odd[3].re) * diagonal, (odd[3].re + odd[3].im) * -diagonal};
    for (unsigned j = 0; j < 4; ++j) {
        x[j] = j == 2 ? MinusI(even[2], odd[2]) : even[j] + odd[j];
        x[j + 4] = j == 2 ? PlusI(even[2], odd[2]) : even[j] - odd[j];
    }
}

} // namespace

} // namespace qfft
