#include "Kal/Space/KalConvolverBank.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Kernels/KalKernels.h"
#include "Kal/Kernels/KalVectorKernels.h"

#include <algorithm>
#include <cmath>

namespace kal {
namespace {

// A block that is nowhere louder than inaudible counts as silent. So does one of NaN alone.
bool Sounds(const float* begin, const float* end)
{
    return std::any_of(begin, end, [](float x) { return std::fabs(x) > kInaudible; });
}

} // namespace

ConvolverBank::ConvolverBank(int length, unsigned numAccumulators)
    : fft(length),
      pairTransform(qfft::CreateFFTSetup({false, {2 * static_cast<unsigned>(length)}, 4, 1, 4, 0})),
      blockLength(length)
{
    accumulators.reserve(numAccumulators);
    for (unsigned i = 0; i < numAccumulators; ++i) accumulators.emplace_back(*this);
}

void ConvolverBank::Reserve(int frames)
{
    for (Accumulator& accumulator : accumulators)
        accumulator.Reserve(static_cast<std::size_t>(frames) / blockLength + 1);
}

void ConvolverBank::Trim(int frames) noexcept
{
    for (Accumulator& accumulator : accumulators) accumulator.Trim(static_cast<std::size_t>(frames) / blockLength + 1);
}

void ConvolverBank::BeginRender(int frames)
{
    if (NumBlocks() > 0) {
        for (Accumulator& accumulator : accumulators) {
            accumulator.previousTail.Swap(accumulator.currentTail);
            accumulator.currentTail.Clear();
        }
    }
    position = (position + numFrames) % blockLength;
    numFrames = frames;
}

void ConvolverBank::AddPreviousTails(float* out) const
{
    const unsigned count = 2 * std::min(blockLength - position, numFrames);
    for (const Accumulator& accumulator : accumulators)
        Accumulate(count, out, accumulator.previousTail.Data() + 2 * position);
}

ConvolverBank::Accumulator& ConvolverBank::AccumulatorOf(unsigned worker)
{
    return accumulators[worker];
}

StereoSpectrum::StereoSpectrum(int bins) : stride((bins + 15) / 16 * 16), parts(4 * stride) {}

ConvolverBank::Responses::Responses(ConvolverBank& bank, const float* left, const float* right)
    : spectrum(bank.blockLength + 1)
{
    std::vector<float> padded(2 * bank.blockLength);
    for (int ear = 0; ear < 2; ++ear) {
        std::copy_n(ear == 0 ? left : right, bank.blockLength, padded.data());
        bank.fft.ForwardTransform(spectrum.Real(ear), spectrum.Imag(ear), padded.data());
    }
}

ConvolverBank::Input::Input(const ConvolverBank& owner) : bank(owner), samples(2 * owner.blockLength) {}

void ConvolverBank::Input::Reserve(int frames)
{
    samples.resize(2 * static_cast<std::size_t>(bank.blockLength) + static_cast<std::size_t>(frames));
}

// Nothing behind the bank's own blocks is kept from one block to the next.
void ConvolverBank::Input::Trim(int frames) noexcept
{
    samples.resize(2 * static_cast<std::size_t>(bank.blockLength) + static_cast<std::size_t>(frames));
    samples.shrink_to_fit(); // or not, if there is no memory for it
}

// Ends a block, the second half of a window. Returns false if there is nothing in all of the window.
bool ConvolverBank::Input::FinishBlock(unsigned block)
{
    float *begin = Window(block) + bank.blockLength, *end = begin + bank.blockLength;
    const bool rings = blocksToCome > 1;
    const bool sounds = Sounds(begin, end);
    if (!sounds) std::fill(begin, end, 0.0f);
    blocksToCome = sounds ? 2 : std::max(blocksToCome - 1, 0);
    return sounds || rings;
}

void ConvolverBank::Input::EndRender()
{
    const float* begin = Window(bank.NumBlocks());
    const float* present = begin + bank.blockLength;
    const float* end = Frames() + bank.numFrames;
    hasOutput = blocksToCome > 0 || Sounds(present, end);
    if (!hasOutput)
        std::fill_n(samples.data(), 2 * bank.blockLength, 0.0f);
    else if (bank.NumBlocks() > 0)
        std::copy(begin, end, samples.data());
}

ConvolverBank::Accumulator::Accumulator(const ConvolverBank& owner)
    : bank(owner),
      fft(owner.fft),
      spectrum(2 * owner.blockLength + 1),
      window(2 * owner.blockLength),
      output(2 * owner.blockLength),
      previousTail(2 * owner.blockLength),
      currentTail(2 * owner.blockLength)
{
    previousTail.Clear();
    currentTail.Clear();
}

void ConvolverBank::Accumulator::Reserve(std::size_t numBlocks)
{
    while (spectra.size() < numBlocks) spectra.emplace_back(bank.blockLength + 1).Clear();
}

void ConvolverBank::Accumulator::Trim(std::size_t numBlocks) noexcept
{
    while (spectra.size() > numBlocks) spectra.pop_back();
}

void ConvolverBank::Accumulator::Add(Input& input, const Responses& responses, bool swapEars)
{
    const Side side = {&input, &responses, swapEars};
    if (waiting.input)
        AddWaiting(side);
    else
        waiting = side;
}

// Adds the side that waits and, if there is one, the next.
void ConvolverBank::Accumulator::AddWaiting(const Side& next)
{
    for (unsigned i = 0; i < bank.NumBlocks(); ++i) {
        const bool isFirst = waiting.input->FinishBlock(i), isSecond = next.input && next.input->FinishBlock(i);
        if (!isFirst && !isSecond) continue;
        isEmpty = false;
        if (isFirst && isSecond)
            AddTogether(waiting, next, i);
        else
            AddAlone(isFirst ? waiting : next, i);
    }
    waiting.input->EndRender();
    if (next.input) next.input->EndRender();
    waiting = {};
}

void ConvolverBank::Accumulator::AddAlone(const Side& side, unsigned block)
{
    float *real = spectrum.real.Data(), *imag = spectrum.imag.Data();
    fft.ForwardTransform(real, imag, side.input->Window(block));
    StereoSpectrum& sum = spectra[block];
    kernels::ActiveTable().addProducts({bank.blockLength + 1,
                                        real,
                                        imag,
                                        sum.Stride(),
                                        {{side.Filter(0), sum.Real(0)}, {side.Filter(1), sum.Real(1)}}});
}

// One complex transform of two windows costs little more than the real transform of one.
void ConvolverBank::Accumulator::AddTogether(const Side& first, const Side& second, unsigned block)
{
    const int points = 2 * bank.blockLength;
    float *real = spectrum.real.Data(), *imag = spectrum.imag.Data();
    bank.pairTransform->Transform({first.input->Window(block), second.input->Window(block), real, imag});
    real[points] = real[0];
    imag[points] = imag[0];
    StereoSpectrum& sum = spectra[block];
    kernels::ActiveTable().addPairProducts(
        {bank.blockLength + 1,
         real,
         imag,
         sum.Stride(),
         {{{first.Filter(0), second.Filter(0)}, sum.Real(0)}, {{first.Filter(1), second.Filter(1)}, sum.Real(1)}}});
}

void ConvolverBank::Accumulator::Render(float* out)
{
    if (waiting.input) AddWaiting({});
    if (isEmpty) return;
    isEmpty = true;
    const int length = bank.blockLength;
    const auto scale = static_cast<float>(1.0 / length);
    int frame = length - bank.position; // where the first of the bank's blocks is heard
    for (unsigned i = 0; i < bank.NumBlocks(); ++i, frame += length) {
        for (int ear = 0; ear < 2; ++ear) {
            // The window's first half is spoilt by what should lie before it.
            fft.BackwardTransform(window.Data(), spectra[i].Real(ear), spectra[i].Imag(ear));
            for (int k = 0; k < length; ++k) output.Data()[2 * k + ear] = window.Data()[length + k] * scale;
        }
        spectra[i].Clear();
        Accumulate(2 * std::min(length, bank.numFrames - frame), out + 2 * std::size_t(frame), output.Data());
        if (i + 1 == bank.NumBlocks()) Accumulate(2 * length, currentTail.Data(), output.Data());
    }
}

} // namespace kal
