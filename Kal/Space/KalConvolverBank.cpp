#include "Kal/Space/KalConvolverBank.h"

#include "Kal/Kernels/KalKernels.h"
#include "Kal/Kernels/KalVectorKernels.h"

#include <algorithm>
#include <cmath>

namespace kal {
namespace {

// -200 dB: a block that is nowhere louder counts as silent. So does one of NaN alone.
constexpr float kSilence = 1e-10f;

bool Sounds(const float* begin, const float* end)
{
    return std::any_of(begin, end, [](float x) { return std::fabs(x) > kSilence; });
}

} // namespace

ConvolverBank::ConvolverBank(int length, unsigned numSums) : fft(length), blockLength(length)
{
    sums.reserve(numSums);
    for (unsigned i = 0; i < numSums; ++i) sums.emplace_back(*this);
}

void ConvolverBank::Reserve(int frames)
{
    for (Sum& sum : sums) sum.Reserve(static_cast<std::size_t>(frames) / blockLength + 1);
}

void ConvolverBank::BeginRender(int frames)
{
    if (NumBlocks() > 0) {
        for (Sum& sum : sums) {
            sum.former.Swap(sum.latest);
            sum.latest.Clear();
        }
    }
    position = (position + numFrames) % blockLength;
    numFrames = frames;
}

void ConvolverBank::AddFormer(float* out) const
{
    const unsigned count = 2 * std::min(blockLength - position, numFrames);
    for (const Sum& sum : sums) Accumulate(count, out, sum.former.Data() + 2 * position);
}

ConvolverBank::Sum& ConvolverBank::SumOf(unsigned index)
{
    return sums[index];
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

ConvolverBank::Signal::Signal(const ConvolverBank& owner) : bank(owner), samples(2 * owner.blockLength) {}

void ConvolverBank::Signal::Reserve(int frames)
{
    samples.resize(2 * static_cast<std::size_t>(bank.blockLength) + static_cast<std::size_t>(frames));
}

// Ends a block, the second half of a window. Returns false if there is nothing in all of the window.
bool ConvolverBank::Signal::FinishBlock(float* window)
{
    float *block = window + bank.blockLength, *end = block + bank.blockLength;
    const bool rings = blocksToCome > 1;
    const bool sounds = Sounds(block, end);
    if (!sounds) std::fill(block, end, 0.0f);
    blocksToCome = sounds ? 2 : std::max(blocksToCome - 1, 0);
    return sounds || rings;
}

void ConvolverBank::Signal::EndRender()
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

ConvolverBank::Sum::Sum(const ConvolverBank& owner)
    : bank(owner),
      fft(owner.fft),
      spectrum(owner.blockLength + 1),
      window(2 * owner.blockLength),
      output(2 * owner.blockLength),
      former(2 * owner.blockLength),
      latest(2 * owner.blockLength)
{
    former.Clear();
    latest.Clear();
}

void ConvolverBank::Sum::Reserve(std::size_t numBlocks)
{
    while (spectra.size() < numBlocks) spectra.emplace_back(bank.blockLength + 1).Clear();
}

void ConvolverBank::Sum::Add(Signal& signal, const Responses& responses, bool swapEars)
{
    const kernels::Row& row = kernels::SelectedRow();
    const StereoSpectrum& filter = responses.spectrum;
    for (unsigned i = 0; i < bank.NumBlocks(); ++i) {
        float* from = signal.samples.data() + std::size_t{i} * bank.blockLength;
        if (!signal.FinishBlock(from)) continue;
        fft.ForwardTransform(spectrum.real.Data(), spectrum.imag.Data(), from);
        StereoSpectrum& sum = spectra[i];
        const int ears[] = {swapEars ? 1 : 0, swapEars ? 0 : 1};
        row.addProducts({bank.blockLength + 1,
                         spectrum.real.Data(),
                         spectrum.imag.Data(),
                         {{filter.Real(0), filter.Imag(0), sum.Real(ears[0]), sum.Imag(ears[0])},
                          {filter.Real(1), filter.Imag(1), sum.Real(ears[1]), sum.Imag(ears[1])}}});
    }
    signal.EndRender();
}

void ConvolverBank::Sum::Render(float* out)
{
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
        if (i + 1 == bank.NumBlocks()) Accumulate(2 * length, latest.Data(), output.Data());
    }
}

} // namespace kal
