#include "Kal/Space/KalConvolver.h"

#include "Kal/Kernels/KalKernels.h"
#include "Kal/Kernels/KalVectorKernels.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>

namespace kal {
namespace {

constexpr bool IsPowerOfTwo(int x)
{
    return (x & (x - 1)) == 0;
}

std::shared_ptr<const qfft::FFTSetup> CreateSetup(bool backward, int size)
{
    return qfft::CreateFFTSetup({backward, {static_cast<unsigned>(size)}, 4, 1, 4, 0});
}

int PowerOfTwo(int size)
{
    KAL_ASSERT("Kal/KalConvolver", IsPowerOfTwo(size));
    return size;
}

// The plain product: that of std::complex would look for infinities.
std::complex<float> Product(std::complex<float> a, std::complex<float> b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// A std::array of elements that are all constructed from the same argument.
template<class Array, std::size_t... i>
Array Filled(int argument, std::index_sequence<i...>)
{
    return {(static_cast<void>(i), typename Array::value_type(argument))...};
}

template<class Array>
Array Filled(int argument)
{
    return Filled<Array>(argument, std::make_index_sequence<std::tuple_size<Array>::value>());
}

} // namespace

RealFFT::RealFFT(int points)
    : even(PowerOfTwo(points)),
      odd(points),
      spectrumReal(points),
      spectrumImag(points),
      size(points),
      forward(CreateSetup(false, points)),
      backward(CreateSetup(true, points)),
      twiddles(std::make_shared<const Twiddles>(points))
{
}

// The twiddles are -i w^k, k = 1 ... size / 2, w = exp(-i pi / size). Four run side by side, each on its own chain of
// products with w^4: a chain of single steps would gather four times the rounding.
RealFFT::Twiddles::Twiddles(int size) : real(size / 2), imag(size / 2)
{
    const std::complex<float> step(std::cos(-3.1415927f / size), std::sin(-3.1415927f / size));
    const std::complex<float> squared = Product(step, step), advance = Product(squared, squared);
    for (int first = 0; first < 4; ++first) {
        std::complex<float> twiddle(0.0f, -1.0f);
        for (int i = 0; i <= first; ++i) twiddle = Product(twiddle, step);
        for (int i = first; i < size / 2; i += 4, twiddle = Product(twiddle, advance)) {
            real.Data()[i] = twiddle.real();
            imag.Data()[i] = twiddle.imag();
        }
    }
}

// With the even samples as real and the odd ones as imaginary parts, the transform Z of half the length holds the
// spectra of both: Z[k] + Z*[n-k] is twice that of the even samples, and Z[k] - Z*[n-k] twice i times that of the odd
// ones.
void RealFFT::ForwardTransform(float* outReal, float* outImag, const float* input)
{
    const kernels::Table& table = kernels::ActiveTable();
    table.deinterleave(size, input, even.Data(), odd.Data());
    const float *zReal = spectrumReal.Data(), *zImag = spectrumImag.Data();
    forward->Transform({even.Data(), odd.Data(), spectrumReal.Data(), spectrumImag.Data()});

    outReal[0] = (zReal[0] + zImag[0]) * 0.5f;
    outImag[0] = 0.0f;
    outReal[size] = (zReal[0] - zImag[0]) * 0.5f;
    outImag[size] = 0.0f;
    table.twiddlePairs(
        {size, zReal, zImag, twiddles->real.Data(), twiddles->imag.Data(), 1.0f, 0.25f, outReal, outImag});
}

void RealFFT::BackwardTransform(float* output, const float* inReal, const float* inImag)
{
    float *zReal = spectrumReal.Data(), *zImag = spectrumImag.Data();
    zReal[0] = inReal[0] + inReal[size];
    zImag[0] = inReal[0] - inReal[size];
    kernels::ActiveTable().twiddlePairs(
        {size, inReal, inImag, twiddles->real.Data(), twiddles->imag.Data(), -1.0f, 1.0f, zReal, zImag});
    backward->Transform({zReal, zImag, even.Data(), odd.Data()});
    for (int i = 0; i < size; ++i) {
        output[2 * i] = even.Data()[i];
        output[2 * i + 1] = odd.Data()[i];
    }
}

template<int Responses>
BlockConvolver<Responses>::BlockConvolver(const std::array<const float*, Responses>& responses, int length)
    : filters(Filled<Spectra>(length + 1)),
      products(Filled<Spectra>(length + 1)),
      input(2 * length),
      outputs(Filled<Signals>(2 * length)),
      tails(Filled<Signals>(length)),
      blockLength(length),
      fft(length)
{
    input.Clear();
    for (int i = 0; i < Responses; ++i) {
        outputs[i].Clear();
        std::copy_n(responses[i], blockLength, input.Data());
        fft.ForwardTransform(filters[i].real.Data(), filters[i].imag.Data(), input.Data());
    }
    input.Clear();
}

template<int Responses>
void BlockConvolver<Responses>::BufferFull()
{
    if (inputNonZero) {
        ConvolveInput();
        hasOutput = true;
    } else {
        hasOutput = ShiftTails();
    }
    position = 0;
    inputNonZero = false;
}

template<int Responses>
void BlockConvolver<Responses>::ConvolveInput()
{
    const unsigned bins = blockLength + 1;
    float *spectrumReal = products[0].real.Data(), *spectrumImag = products[0].imag.Data();
    fft.ForwardTransform(spectrumReal, spectrumImag, input.Data());
    if constexpr (Responses == 1) {
        ComplexMultiply(bins, spectrumReal, spectrumImag, spectrumReal, spectrumImag, filters[0].real.Data(),
                        filters[0].imag.Data());
    } else {
        ComplexMultiply(bins, spectrumReal, spectrumImag, products[1].real.Data(), products[1].imag.Data(),
                        spectrumReal, spectrumImag, filters[0].real.Data(), filters[0].imag.Data(),
                        filters[1].real.Data(), filters[1].imag.Data());
    }

    const auto scale = static_cast<float>(1.0 / blockLength);
    for (int i = 0; i < Responses; ++i) {
        std::copy_n(outputs[i].Data() + blockLength, blockLength, tails[i].Data());
        fft.BackwardTransform(outputs[i].Data(), products[i].real.Data(), products[i].imag.Data());
        Scale(2 * blockLength, outputs[i].Data(), scale);
        Accumulate(blockLength, outputs[i].Data(), tails[i].Data());
    }
}

// The block is silent: what is left of the last result becomes the output, if anything is.
template<int Responses>
bool BlockConvolver<Responses>::ShiftTails()
{
    bool rings = false;
    for (AlignedArray& output : outputs) {
        float *first = output.Data(), *second = first + blockLength;
        std::copy_n(second, blockLength, first);
        std::fill_n(second, blockLength, 0.0f);
        rings = rings || std::any_of(first, second, [](float x) { return x != 0.0f; }); // NaN counts as sound
    }
    return rings;
}

template class BlockConvolver<1>;
template class BlockConvolver<2>;

} // namespace kal
