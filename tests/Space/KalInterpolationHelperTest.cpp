#include "Kal/Space/KalInterpolationHelper.h"

#include <gtest/gtest.h>

#include <limits>

namespace kal {
namespace {

InterpolationHelper Over(std::initializer_list<float> keys)
{
    InterpolationHelper helper;
    for (const float key : keys) helper.AddKey(key);
    return helper;
}

TEST(InterpolationHelper, FindsTheKeysAroundAValueAndTheNearerOne)
{
    struct Case {
        float x;
        int index0, index1;
        float fraction;
        int nearest;
    };
    const InterpolationHelper helper = Over({-40.0f, 0.0f, 10.0f, 30.0f});
    for (const Case c : {Case{-100.0f, 0, 0, 0.5f, 0},
                         {-40.0f, 0, 0, 0.5f, 0},
                         {-30.0f, 0, 1, 0.25f, 0},
                         {-20.0f, 0, 1, 0.5f, 1}, // a tie goes up
                         {0.0f, 1, 2, 0.0f, 1},
                         {4.9f, 1, 2, 0.49f, 1},
                         {25.0f, 2, 3, 0.75f, 3},
                         {30.0f, 3, 3, 0.5f, 3},
                         {std::numeric_limits<float>::infinity(), 3, 3, 0.5f, 3}}) {
        SCOPED_TRACE(c.x);
        const auto [index0, index1, fraction] = helper.Interpolate(c.x);
        EXPECT_EQ(index0, c.index0);
        EXPECT_EQ(index1, c.index1);
        EXPECT_FLOAT_EQ(fraction, c.fraction);
        EXPECT_EQ(helper.ChooseNearest(c.x), c.nearest);
    }
    EXPECT_EQ(Over({7.0f}).ChooseNearest(8.0f), 0);
}

TEST(InterpolationHelperDeathTest, NeedsKeysAndANumber)
{
    EXPECT_DEATH_IF_SUPPORTED(Over({}).ChooseNearest(0.0f), "Kal/KalInterpolationHelper.*!keys.empty\\(\\)");
    EXPECT_DEATH_IF_SUPPORTED(Over({0.0f, 1.0f}).ChooseNearest(std::numeric_limits<float>::quiet_NaN()),
                              "Kal/KalInterpolationHelper.*false");
}

} // namespace
} // namespace kal
