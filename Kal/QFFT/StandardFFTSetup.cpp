#include "Kal/QFFT/StandardFFTSetup.h"

#include "Kal/QFFT/Assert.h"
#include "Kal/QFFT/Kernel_Generic.h"
#include "Kal/QFFT/Kernel_SimdX86.h"
#include "Kal/QFFT/Scratch.h"

#include <algorithm>
#include <utility>

namespace qfft {
namespace {

template<class T>
struct Split {
    T *real, *imag;
};

const float* Table(const Twiddles& twiddles, float)
{
    return reinterpret_cast<const float*>(twiddles.twiddles.data());
}

const double* Table(const Twiddles& twiddles, double)
{
    return reinterpret_cast<const double*>(twiddles.twiddleDouble.data());
}

} // namespace

template<cpu::FeatureLevel level, DataType type, bool backward>
StandardFFTSetup<level, type, backward>::StandardFFTSetup(const FFTParam& param)
{
    constexpr const char* source = "Kal/QFFT/StandardFFTSetup";
    KAL_ASSERT(source, param.parallel == 1);
    KAL_ASSERT(source, param.size.size() == 1);
    const unsigned size = param.size.front();
    KAL_ASSERT(source, size > 0);

    points = size;
    twiddles = Twiddles::GetInstance(size);
    std::size_t stride = 1;
    for (const unsigned radix : PlanRadices(size)) {
        const Element* table = Table(*twiddles, Element()) + 2 * twiddles->stageStarts[stages.size()];
        stages.push_back({GenericKernel<Element>(radix), radix, stride, size / (stride * radix), table});
        stride *= radix;
    }
    if constexpr (type == DataType::Single) packedTwiddles = UseSimdKernels(stages);
}

// Windows programs touch every page of a large frame, which costs more than a short transform.
template<cpu::FeatureLevel level, DataType type, bool backward>
void StandardFFTSetup<level, type, backward>::Transform(const FFTInput& input) const
{
    if (2 * points * sizeof(Element) <= 4096)
        TransformWithin<4096>(input);
    else
        TransformWithin<65536>(input);
}

template<cpu::FeatureLevel level, DataType type, bool backward>
template<std::size_t stackBytes>
void StandardFFTSetup<level, type, backward>::TransformWithin(const FFTInput& input) const
{
    Split<const Element> in = {static_cast<const Element*>(input.inReal), static_cast<const Element*>(input.inImag)};
    Split<Element> out = {static_cast<Element*>(input.outReal), static_cast<Element*>(input.outImag)};
    if constexpr (backward) {
        std::swap(in.real, in.imag);
        std::swap(out.real, out.imag);
    }

    Scratch<Element, stackBytes> memory(2 * points);
    const Split<Element> scratch = {memory.Get(), memory.Get() + points};

    const auto moveTo = [&](const Split<Element>& to) {
        std::copy_n(in.real, points, to.real);
        std::copy_n(in.imag, points, to.imag);
        in = {to.real, to.imag};
    };
    const auto isOutput = [&](const Element* x) { return x == out.real || x == out.imag; };

    // The last stage writes to the output, the one before it to the scratch, and so on. A first stage that writes to
    // the output must not read from there.
    bool toOutput = stages.size() % 2 != 0;
    if (stages.empty() || (toOutput && (isOutput(in.real) || isOutput(in.imag)))) moveTo(scratch);
    if (stages.empty()) moveTo(out);
    for (const Stage<Element>& stage : stages) {
        const Split<Element>& to = toOutput ? out : scratch;
        stage.kernel(stage, in.real, in.imag, to.real, to.imag);
        in = {to.real, to.imag};
        toOutput = !toOutput;
    }
}

template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Single, false>;
template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Single, true>;
template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Double, false>;
template class StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Double, true>;

} // namespace qfft
