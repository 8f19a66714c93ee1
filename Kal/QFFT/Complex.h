#pragma once

#include "Kal/QFFT/Lanes.h"

#include <cstddef>

/// [any] Complex arithmetic, with the internal linkage of the lanes.
namespace qfft {

namespace {

/// A complex number, or several side by side when V is a vector of floats.
template<class V>
struct Complex {
    V re, im;
};

template<class V>
inline Complex<V> operator+(Complex<V> a, Complex<V> b)
{
    return {a.re + b.re, a.im + b.im};
}

template<class V>
inline Complex<V> operator-(Complex<V> a, Complex<V> b)
{
    return {a.re - b.re, a.im - b.im};
}

/// By the plain formula: an infinity may turn into NaN.
template<class V>
inline Complex<V> operator*(Complex<V> a, Complex<V> b)
{
    return {MultiplySubtract(a.re, b.re, a.im * b.im), MultiplyAdd(a.im, b.re, a.re * b.im)};
}

template<class V, class T>
inline Complex<V> operator*(Complex<V> a, T factor)
{
    return {a.re * factor, a.im * factor};
}

template<class V>
inline Complex<V> Conjugate(Complex<V> a)
{
    return {a.re, -a.im};
}

/// a - i b and a + i b.
template<class V>
inline Complex<V> MinusI(Complex<V> a, Complex<V> b)
{
    return {a.re + b.im, a.im - b.re};
}

template<class V>
inline Complex<V> PlusI(Complex<V> a, Complex<V> b)
{
    return {a.re - b.im, a.im + b.re};
}

/// Numbers i, i + 1, ... of split arrays.
template<class V, class T>
inline Complex<V> Load(const T* real, const T* imag, std::size_t i)
{
    return {Load<V>(real + i), Load<V>(imag + i)};
}

template<class V, class T>
inline void Store(T* real, T* imag, std::size_t i, Complex<V> x)
{
    Store(real + i, x.re);
    Store(imag + i, x.im);
}

} // namespace

} // namespace qfft
