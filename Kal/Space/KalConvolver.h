#pragma once

#include "Kal/Base/KalAlignedArray.h"
#include "Kal/QFFT/FFTSetup.h"

#include <array>
#include <memory>
#include <utility>

namespace kal {

/// Discrete Fourier transform of 2 size real samples through a complex transform of size points. Forward, its bins are
/// half the unnormalised sums; backward, it is unnormalised; there and back yields size times the input.
/// One instance serves one thread at a time; copies have work areas of their own and share the complex transforms.
class RealFFT {
public:
    /// [control] Sets size to points. Asserts that it is a power of two. Throws qfft::Exception for 0.
    explicit RealFFT(int points);

    int Size() const { return size; }

    /// [render] Bins 0 ... size of 2 size samples; the imaginary parts of bins 0 and size are 0.
    void ForwardTransform(float* outReal, float* outImag, const float* input);

    /// [render] 2 size samples of the bins 0 ... size. The imaginary parts of bins 0 and size are not read.
    void BackwardTransform(float* output, const float* inReal, const float* inImag);

private:
    /// What the bins of the two halves are multiplied by, for bins 1 ... size / 2.
    struct Twiddles {
        explicit Twiddles(int size);
        AlignedArray real, imag;
    };

    AlignedArray even, odd;
    AlignedArray spectrumReal, spectrumImag;
    int size;
    std::shared_ptr<const qfft::FFTSetup> forward, backward;
    std::shared_ptr<const Twiddles> twiddles;
};

/// The bins of a real transform.
struct Spectrum {
    explicit Spectrum(int bins) : real(bins), imag(bins) {}
    AlignedArray real, imag;
};

// The convolvers below are the plain form of what a direction does, kept on purpose: the engine builds four that take
// no part in its output, and tests hold the one that does the work against them, which is ConvolverBank.

/// Uniform overlap-add convolution of one signal with Responses impulse responses of equal length: blocks as long as
/// the responses, transforms twice as long. The output lags the input by one block and is half the linear convolution:
/// the forward transform halves the signal and the response, the backward one gives back one of the two factors. The
/// level of the HRTF set counts on it. A silent block costs no transform, and a value that is not finite has left the
/// output two blocks after it left the input. One instance serves one thread at a time; copies are deep but for the
/// complex transforms, which are shared.
template<int Responses>
class BlockConvolver {
public:
    /// [render] False when the output to come is all zero whatever is put in before the block is full.
    bool HasOutput() const { return hasOutput; }

    /// [render] Finishes a block: the second half of the last result and the first half of the new one become the
    /// output. Taking the last sample of a block does it by itself.
    void BufferFull();

protected:
    /// The responses have blockLength samples, a power of two, which it asserts.
    BlockConvolver(const std::array<const float*, Responses>& responses, int blockLength);
    ~BlockConvolver() = default;
    BlockConvolver(const BlockConvolver&) = default;

    /// One sample of output of one response; the next after Take.
    float Output(int response) const { return outputs[response].Data()[position]; }

    void Take(float x)
    {
        input.Data()[position] = x;
        if (x != 0.0f) inputNonZero = hasOutput = true;
        if (++position == blockLength) BufferFull();
    }

private:
    using Spectra = std::array<Spectrum, Responses>;
    using Signals = std::array<AlignedArray, Responses>;

    void ConvolveInput();
    bool ShiftTails();

    Spectra filters;
    Spectra products;   ///< the first holds the spectrum of the input before
    AlignedArray input; ///< the second half is always zero
    Signals outputs;
    Signals tails; ///< what is added to the next result
    int blockLength;
    int position = 0;
    RealFFT fft;
    bool inputNonZero = false;
    bool hasOutput = false;
};

/// One signal through one response.
class MiniConvolver : public BlockConvolver<1> {
public:
    /// [control] Copies the response of length samples, a power of two, which it asserts.
    MiniConvolver(const float* response, int length) : BlockConvolver({response}, length) {}

    /// [render] Takes one sample and returns the output of one block before.
    float Apply(float x)
    {
        const float y = Output(0);
        Take(x);
        return y;
    }
};

/// One signal through the responses of both ears, with a single forward transform.
class DualMiniConvolver : public BlockConvolver<2> {
public:
    /// [control] Copies both responses of length samples, a power of two, which it asserts.
    DualMiniConvolver(const float* left, const float* right, int length) : BlockConvolver({left, right}, length) {}

    /// [render] Takes one sample and returns the left and right output of one block before.
    std::pair<float, float> Apply(float x)
    {
        const std::pair<float, float> y(Output(0), Output(1));
        Take(x);
        return y;
    }
};

} // namespace kal
