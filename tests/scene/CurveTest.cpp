#include "tools/scene/Curve.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace kalscene {
namespace {

Curve<1> Through(std::vector<Curve<1>::Key> keys, Interpolation interpolation)
{
    Curve<1> curve;
    curve.keys = std::move(keys);
    curve.interpolation = interpolation;
    return curve;
}

TEST(Curve, TakesTheValuesOfItsKeysAtTheirFramesAndStaysBeyondThem)
{
    for (const Interpolation interpolation : {Interpolation::Hold, Interpolation::Linear, Interpolation::Smooth}) {
        const auto curve = Through({{10, {1}}, {20, {3}}, {20, {7}}, {50, {-2}}}, interpolation);
        for (const auto& [frame, value] : {std::pair{0, 1}, {10, 1}, {20, 7}, {50, -2}, {99, -2}})
            EXPECT_DOUBLE_EQ(curve.At(frame)[0], value) << frame;
    }
    const auto held = Through({{10, {1}}, {20, {3}}}, Interpolation::Hold);
    EXPECT_EQ(held.At(19)[0], 1);
    const auto line = Through({{10, {1}}, {20, {3}}}, Interpolation::Linear);
    EXPECT_DOUBLE_EQ(line.At(13)[0], 1.6);
}

TEST(Curve, SmoothHasNoKinkAndDoesNotOvershoot)
{
    const auto curve =
        Through({{0, {0}}, {100, {1}}, {400, {8}}, {500, {8}}, {600, {2}}, {900, {1}}}, Interpolation::Smooth);
    const auto slope = [&](std::int64_t from) { return curve.At(from + 1)[0] - curve.At(from)[0]; };
    for (std::int64_t f = 1; f < 899; ++f) {
        // The steepest second derivative of any of these cubics is 6 * 7 / 100^2.
        EXPECT_NEAR(slope(f), slope(f - 1), 5e-3) << f;
        EXPECT_GE(f < 500 ? slope(f) : -slope(f), -1e-12) << f; // rises to 8, falls from it
    }
    EXPECT_EQ(curve.At(450)[0], 8);

    // Eight points on a circle keep within a twenty-fifth of it.
    Curve<3> circle;
    circle.keys.clear();
    circle.interpolation = Interpolation::Smooth;
    for (int i = 0; i <= 8; ++i)
        circle.keys.push_back({1000 * i, {std::sin(i * std::numbers::pi / 4), 0, std::cos(i * std::numbers::pi / 4)}});
    for (int f = 0; f <= 8000; f += 10) EXPECT_NEAR(std::hypot(circle.At(f)[0], circle.At(f)[2]), 1.0, 0.04) << f;
}

} // namespace
} // namespace kalscene
