#include "Kal/QFFT/Twiddles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <thread>

namespace qfft {
namespace {

TEST(Twiddles, PlansFoursThenTwosThenThrees)
{
    struct Case {
        unsigned size;
        std::vector<unsigned> radices;
    };
    for (const Case& plan : {Case{1, {}}, {8, {4, 2}}, {12, {4, 3}}, {6, {2, 3}}, {18, {2, 3, 3}}, {256, {4, 4, 4, 4}}})
        EXPECT_EQ(PlanRadices(plan.size), plan.radices) << plan.size;
}

TEST(Twiddles, HoldEveryStagesTurns)
{
    for (const unsigned size : {1u, 2u, 3u, 12u, 18u, 256u, 2187u, 4096u}) {
        SCOPED_TRACE(size);
        const Twiddles tables(size);
        ASSERT_EQ(tables.twiddleDouble.size(), size - 1);
        ASSERT_EQ(tables.twiddles.size(), size - 1);
        const std::vector<unsigned> radices = PlanRadices(size);
        ASSERT_EQ(tables.stageStarts.size(), radices.size());

        unsigned i = 0, done = 1;
        for (std::size_t stage = 0; stage < radices.size(); done *= radices[stage++]) {
            EXPECT_EQ(tables.stageStarts[stage], i);
            for (unsigned j = 1; j < radices[stage]; ++j)
                for (unsigned m = 1; m <= size / (done * radices[stage]); ++m, ++i) {
                    const auto exact = std::polar(1.0, 2.0 * std::numbers::pi * (j * m * done) / size);
                    // Each of m additions is off by half a unit of 2 pi at most, and the step by one.
                    ASSERT_LE(std::abs(tables.twiddleDouble[i] - exact), (m + 2) * 0x1p-51) << i;
                    ASSERT_EQ(tables.twiddles[i], std::complex<float>(tables.twiddleDouble[i])) << i;
                }
        }
    }
}

TEST(Twiddles, AreSharedWhileInUse)
{
    std::shared_ptr<const Twiddles> tables[4];
    std::vector<std::thread> threads;
    for (auto& own : tables) threads.emplace_back([&own] { own = Twiddles::GetInstance(96); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& other : tables) EXPECT_EQ(other, tables[0]);
    EXPECT_NE(Twiddles::GetInstance(48), tables[0]);

    const std::weak_ptr<const Twiddles> dropped = tables[0];
    for (auto& own : tables) own.reset();
    EXPECT_TRUE(dropped.expired());
    EXPECT_EQ(Twiddles::GetInstance(96)->twiddles.size(), 95u);
}

TEST(TwiddlesDeathTest, AssertTheirSize)
{
    EXPECT_DEATH(Twiddles::GetInstance(0), "Kal/QFFT/Twiddles: .*: size > 0");
    EXPECT_DEATH(Twiddles(0), "Kal/QFFT/Twiddles: .*: twiddleDouble.size\\(\\) == size - 1");
}

} // namespace
} // namespace qfft
