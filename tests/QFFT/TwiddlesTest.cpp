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
    EXPECT_DEATH_IF_SUPPORTED(Twiddles::GetInstance(0), "Kal/QFFT/Twiddles: .*: size > 0");
    EXPECT_DEATH_IF_SUPPORTED(Twiddles(0), "Kal/QFFT/Twiddles: .*: twiddleDouble.size\\(\\) == size - 1");
}

} // namespace
} // namespace qfft
