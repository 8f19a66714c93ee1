#include "Kal/QFFT/Kernel_SimdX86.h"

#include "Kal/QFFT/CpuFeature.h"
#include "Kal/QFFT/SimdStages.h"

#include <xmmintrin.h>

namespace qfft {
namespace {

struct Float4 {
    static constexpr unsigned kLanes = 4;

    static Float4 Load(const float* p) { return {_mm_loadu_ps(p)}; }
    static Float4 Broadcast(const float* p) { return {_mm_load1_ps(p)}; }
    void Store(float* p) const { _mm_storeu_ps(p, v); }

    /// Writes the first `stride` elements of a, b, c and d, then the next ones, and so on.
    template<unsigned stride>
    static void StoreInterleaved(float* p, Float4 a, Float4 b, Float4 c, Float4 d)
    {
        static_assert(stride == 1 || stride == 4);
        if constexpr (stride == 1) _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v);
        a.Store(p);
        b.Store(p + 4);
        c.Store(p + 8);
        d.Store(p + 12);
    }

    friend Float4 operator+(Float4 a, Float4 b) { return {_mm_add_ps(a.v, b.v)}; }
    friend Float4 operator-(Float4 a, Float4 b) { return {_mm_sub_ps(a.v, b.v)}; }
    friend Float4 operator*(Float4 a, Float4 b) { return {_mm_mul_ps(a.v, b.v)}; }
    friend Float4 operator*(Float4 a, float b) { return {_mm_mul_ps(a.v, _mm_set1_ps(b))}; }
    friend Float4 MultiplyAdd(Float4 a, Float4 b, Float4 c) { return a * b + c; }
    friend Float4 MultiplySubtract(Float4 a, Float4 b, Float4 c) { return a * b - c; }

    __m128 v;
};

/// Puts the twiddles of a stage into the order in which a kernel reads them: for each p, or as many as its vectors
/// hold, and each j, first the real parts and then the imaginary ones. In a vector each stands `stride` times.
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
                    packed.push_back(m > 0 ? stage.twiddles[end - 2 + imaginary] : imaginary ? 0.0f : 1.0f);
                }
    return packed;
}

struct Finder {
    cpu::InstructionSet set;
    SimdKernel (*find)(const Stage<float>& stage);
};

// From wide to narrow.
constexpr Finder finders[] = {
    {cpu::InstructionSet::Avx2, FindAvx2Kernel},
    {cpu::InstructionSet::Sse2, FindSse2Kernel},
};

/// The kernel for a stage of the widest instruction set up to `widest` that has one.
SimdKernel FindKernelUpTo(cpu::InstructionSet widest, const Stage<float>& stage)
{
    for (const Finder& finder : finders)
        if (finder.set <= widest)
            if (const SimdKernel found = finder.find(stage); found.kernel) return found;
    return {};
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

SimdKernel FindSse2Kernel(const Stage<float>& stage)
{
    return FindKernel<Float4>(stage);
}

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
