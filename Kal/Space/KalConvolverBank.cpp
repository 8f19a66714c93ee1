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

ConvolverBank::ConvolverBank(int length, unsigned numAccumulators) : fft(length), blockLength(length)
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
bool ConvolverBank::Input::FinishBlock(float* window)
{
    float *block = window + bank.blockLength, *end = block + bank.blockLength;
    const bool rings = blocksToCome > 1;
    const bool sounds = Sounds(block, end);
    if (!sounds) std::fill(block, end, 0.0f);
    blocksToCome = sounds ? 2 : std::max(blocksToCome - 1, 0);
    return sounds || rings;
}

void ConvolverBank::Input::EndRender()
{
    const float* begin = samples.data() + std::size_t{bank.NumBlocks()} * bank.blockLength;
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
      spectrum(owner.blockLength + 1),
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
    const kernels::Table& table = kernels::ActiveTable();
    const StereoSpectrum& filter = responses.spectrum;
    for (unsigned i = 0; i < bank.NumBlocks(); ++i) {
        float* from = input.samples.data() + std::size_t{i} * bank.blockLength;
        if (!input.FinishBlock(from)) continue;
        isEmpty = false;
        fft.ForwardTransform(spectrum.real.Data(), spectrum.imag.Data(), from);
        StereoSpectrum& sum = spectra[i];
        const int ears[] = {swapEars ? 1 : 0, swapEars ? 0 : 1};
        table.addProducts({bank.blockLength + 1,
                           spectrum.real.Data(),
                           spectrum.imag.Data(),
                           {{filter.Real(0), filter.Imag(0), sum.Real(ears[0]), sum.Imag(ears[0])},
                            {filter.Real(1), filter.Imag(1), sum.Real(ears[1]), sum.Imag(ears[1])}}});
    }
    input.EndRender();
}

void ConvolverBank::Accumulator::Render(float* out)
{
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
