#include "Kal/QFFT/Kernel_SimdX86.h"

#include "Kal/Platform/KalPlatform.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Kal/QFFT/SimdStages.h"

namespace qfft {
namespace {

/// Puts the conjugate twiddles of a stage into the order in which a kernel reads them: for each p, or as many as its
/// vectors hold, and each j, first the real parts and then the imaginary ones. In a vector each stands `stride` times.
AlignedVector<float> PackTwiddles(const Stage<float>& stage, unsigned lanes)
{
    AlignedVector<float> packed;
    if (stage.count == 1) return packed; // all are 1
    const std::size_t repeat = lanes == 1 ? 1 : stage.stride;
    for (std::size_t p = 0; p < stage.count; p += lanes / repeat)
        for (unsigned j = 1; j < stage.radix; ++j)
            for (const bool imaginary : {false, true})
                for (unsigned lane = 0; lane < lanes; ++lane) {
                    const std::size_t m = p + lane / repeat, end = 2 * ((j - 1) * stage.count + m);
                    // The table leaves out m = 0, where twiddles are 1.
                    const float real = m > 0 ? stage.twiddles[end - 2] : 1.0f;
                    packed.push_back(!imaginary ? real : m > 0 ? -stage.twiddles[end - 1] : -0.0f);
                }
    return packed;
}

/// The kernel for a stage of the widest instruction set up to `widest` that has one.
SimdKernel FindKernelUpTo(cpu::InstructionSet widest, const Stage<float>& stage)
{
    if constexpr (kal::platform::kHasWideLanes) {
        if (widest >= cpu::InstructionSet::Lanes16)
            if (const SimdKernel found = FindLanes16Kernel(stage); found.kernel) return found;
        if (widest >= cpu::InstructionSet::Lanes8)
            if (const SimdKernel found = FindLanes8Kernel(stage); found.kernel) return found;
    }
    return widest >= cpu::InstructionSet::Lanes4 ? FindKernel<Float4>(stage) : SimdKernel{};
}

/// Turns a radix-4 stage and the radix-2 one after it, if they are the last, into one pass over the data.
void FuseLastStages(std::vector<Stage<float>>& stages, cpu::InstructionSet widest)
{
    if (stages.size() < 2) return;
    const Stage<float>& first = stages.end()[-2];
    const Stage<float> both = {nullptr, first.radix * stages.back().radix, first.stride, 1, nullptr};
    if (both.radix != 8 || !FindKernelUpTo(widest, both).kernel) return;
    stages.pop_back();
    stages.back() = both;
}

} // namespace

std::vector<AlignedVector<float>> UseSimdKernels(std::vector<Stage<float>>& stages)
{
    const cpu::InstructionSet widest = cpu::ActiveInstructionSet();
    FuseLastStages(stages, widest);
    std::vector<AlignedVector<float>> packed;
    for (Stage<float>& stage : stages) {
        const SimdKernel found = FindKernelUpTo(widest, stage);
        if (!found.kernel) continue;
        packed.push_back(PackTwiddles(stage, found.twiddleLanes));
        stage.kernel = found.kernel;
        stage.twiddles = packed.back().data();
    }
    return packed;
}

} // namespace qfft
