#include "Kal/QFFT/Kernel_SimdX86.h"
#include "Kal/QFFT/SimdKernel.h"

#include "Kal/QFFT/CpuFeature.h"
#include "Kal/QFFT/Kernel_Generic.h"
#include "Kal/QFFT/Twiddles.h"

#include <gtest/gtest.h>

namespace qfft {
namespace {

// Results are the same with any table, so only this notices one that is not used.
TEST(SimdKernels, ServeEveryStageOfAPowerOfTwo)
{
    const cpu::InstructionSet selectedBefore = cpu::ActiveInstructionSet();
    const std::vector<float> twiddles(2 * 127);
    for (const cpu::InstructionSet set : cpu::UsableInstructionSets()) {
        std::vector<Stage<float>> stages;
        for (const auto& [radix, stride] : {std::pair{4u, 1u}, {4u, 4u}, {4u, 16u}, {2u, 64u}})
            stages.push_back({GenericKernel<float>(radix), radix, stride, 128 / (stride * radix), twiddles.data()});
        cpu::SelectInstructionSet(set);
        UseSimdKernels(stages);
        ASSERT_EQ(stages.size(), set == cpu::InstructionSet::Generic ? 4u : 3u); // the last two in one
        for (const Stage<float>& stage : stages)
            EXPECT_EQ(stage.kernel, set == cpu::InstructionSet::Avx2   ? FindAvx2Kernel(stage).kernel
                                    : set == cpu::InstructionSet::Sse2 ? FindSse2Kernel(stage).kernel
                                                                       : GenericKernel<float>(stage.radix));
    }
    cpu::SelectInstructionSet(selectedBefore);
}

} // namespace
} // namespace qfft
