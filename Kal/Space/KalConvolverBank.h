#pragma once

#include "Kal/Base/KalAlignedArray.h"
#include "Kal/Base/KalAlignedVector.h"
#include "Kal/Space/KalConvolver.h"

#include <vector>

namespace kal {

/// Convolves any number of signals, each with its own pair of responses, and adds all of them up to one stereo signal.
/// This is what the directions of a spatializer go through. It yields what as many DualMiniConvolvers would, at less
/// than half the cost: the blocks of all inputs begin together, so their products are accumulated bin by bin, and only
/// the sums are transformed back. It is not the outputs that overlap from block to block but the inputs (overlap-save):
/// what is past stays with each input, and so any inputs may share an accumulator.
///
/// The responses of a bank are as long as its blocks, which is also its delay. The blocks that are rendered may have
/// any length; none or several of the bank's own may end in one.
class ConvolverBank {
public:
    class Responses;
    class Input;
    class Accumulator;

    /// [control] Sets the length of responses and blocks and the number of accumulators, one for each thread that
    /// renders. Asserts that the length is a power of two.
    ConvolverBank(int length, unsigned numAccumulators);

    ConvolverBank(const ConvolverBank&) = delete;
    ConvolverBank& operator=(const ConvolverBank&) = delete;

    /// [render] Makes room for blocks of up to so many frames, or leaves only that.
    void Reserve(int frames);
    void Trim(int frames) noexcept;

    /// [render] Goes on to a block of frames >= 0 frames, which begins where the one before ended.
    void BeginRender(int frames);

    /// [render] Frames of the block that is rendered.
    int NumFrames() const { return numFrames; }

    /// [render] Adds to out, interleaved stereo, what is still to come of the bank's blocks that ended before: once for
    /// each block that is rendered, beside the accumulators.
    void AddPreviousTails(float* out) const;

    /// [render] The accumulator of a worker.
    Accumulator& AccumulatorOf(unsigned worker);

private:
    /// How many of the bank's blocks end in the block that is rendered.
    unsigned NumBlocks() const { return static_cast<unsigned>(position + numFrames) / blockLength; }

    RealFFT fft;
    std::shared_ptr<const qfft::FFTSetup> pairTransform; ///< of two inputs' windows, as real and imaginary parts
    int blockLength;
    int numFrames = 0; ///< of the block that is rendered
    int position = 0;  ///< frames of the bank's present block that came before those
    std::vector<Accumulator> accumulators;
};

/// The bins of two ears, each real and imaginary part on a cache line's boundary. [control] to make, [render] to use.
class StereoSpectrum {
public:
    explicit StereoSpectrum(int bins);

    float* Real(int ear) { return parts.Data() + 2 * ear * stride; }
    float* Imag(int ear) { return Real(ear) + stride; }
    const float* Real(int ear) const { return parts.Data() + 2 * ear * stride; }
    const float* Imag(int ear) const { return Real(ear) + stride; }
    int Stride() const { return stride; } ///< from real to imaginary parts
    void Clear() { parts.Clear(); }

private:
    int stride;
    AlignedArray parts;
};

/// The responses of both ears.
class ConvolverBank::Responses {
public:
    /// [control] Copies as many samples of each as the bank's blocks have.
    Responses(ConvolverBank& bank, const float* left, const float* right);

private:
    friend class Accumulator;
    StereoSpectrum spectrum;
};

/// One input signal, with as much of its past as is still to be heard. It serves one thread at a time.
class ConvolverBank::Input {
public:
    /// [control]
    explicit Input(const ConvolverBank& owner);

    /// [render] Makes room for blocks of up to so many frames, or leaves only that.
    void Reserve(int frames);
    void Trim(int frames) noexcept;

    /// [render] The frames of the block that is rendered: all of them are to be written before it is accumulated.
    float* Frames() { return samples.data() + bank.blockLength + bank.position; }

    /// [render] False when the output to come is all zero unless more is put in.
    bool HasOutput() const { return hasOutput; }

private:
    friend class Accumulator;
    float* Window(unsigned block) { return samples.data() + std::size_t{block} * bank.blockLength; }
    bool FinishBlock(unsigned block);
    void EndRender();

    const ConvolverBank& bank;
    AlignedVector samples; ///< the bank's previous block, the present one so far, then Frames; zero without output
    int blocksToCome = 0;  ///< how many of the bank's blocks the past will still be heard in
    bool hasOutput = false;
};

/// The sum of some inputs' products, bin by bin. It serves one thread at a time.
class ConvolverBank::Accumulator {
public:
    /// [control]
    explicit Accumulator(const ConvolverBank& owner);

    /// [render] Adds an input through its responses, with the ears swapped if asked for. Two inputs share a transform,
    /// so one may wait, as it is, for the next or for Render.
    void Add(Input& input, const Responses& responses, bool swapEars);

    /// [render] Adds the sound of the sum to out, interleaved stereo, and to what comes in the next block; then it is
    /// empty.
    void Render(float* out);

private:
    friend class ConvolverBank;

    struct Side {
        Input* input = nullptr;
        const Responses* responses = nullptr;
        bool swapEars = false;

        const float* Filter(int ear) const { return responses->spectrum.Real(swapEars ? 1 - ear : ear); }
    };

    void Reserve(std::size_t numBlocks);
    void Trim(std::size_t numBlocks) noexcept;
    void AddAlone(const Side& side, unsigned block);
    void AddTogether(const Side& first, const Side& second, unsigned block);
    void AddWaiting(const Side& next);

    const ConvolverBank& bank;
    RealFFT fft;
    Spectrum spectrum;                   ///< of an input or two
    Side waiting;                        ///< for a second one
    std::vector<StereoSpectrum> spectra; ///< the sums, one for each of the bank's blocks
    bool isEmpty = true;
    AlignedArray window, output;
    AlignedArray previousTail; ///< stereo output of the last of the bank's blocks that ended before
    AlignedArray currentTail;  ///< and of the last that ends in this one
};

} // namespace kal
