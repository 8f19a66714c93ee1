#include "Kal/Space/KalConvolver.h"

#include "tests/support/Convolution.h"
#include "tests/support/EveryTable.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace kal {
namespace {

using Signal = std::vector<float>;
using test::Noise;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Stereo {
    Signal left, right;
};

Stereo Through(DualMiniConvolver& convolver, const Signal& input)
{
    Stereo output;
    for (const float x : input) {
        const auto [left, right] = convolver.Apply(x);
        output.left.push_back(left);
        output.right.push_back(right);
    }
    return output;
}

// What float arithmetic leaves of a transform of 2 n values up to 1, whose bins are about the root of n: some units of
// 6e-8 in its log2(n) steps, and the twiddle step's own rounding, up to 4e-8, which its powers up to n / 2 multiply.
double Tolerance(int n)
{
    return (1e-6 + 2e-8 * n) * std::sqrt(n);
}

void ExpectNear(const Signal& actual, const std::vector<double>& expected, double tolerance)
{
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) ASSERT_NEAR(actual[i], expected[i], tolerance) << "at " << i;
}

// Half the linear convolution, one block late.
std::vector<double> Expected(const Signal& input, const Signal& response)
{
    std::vector<double> expected = test::Convolve(input, response);
    for (double& y : expected) y *= 0.5;
    expected.insert(expected.begin(), response.size(), 0.0);
    expected.resize(input.size());
    return expected;
}

class Convolvers : public test::EveryTable {};

INSTANTIATE_TEST_SUITE_P(Tables, Convolvers, test::kEveryTable, test::NameOfTable);

TEST_P(Convolvers, ForwardTransformIsHalvedAndBackwardOneScalesByItsSize)
{
    for (const int n : {1, 2, 4, 8, 16, 64, 128, 512}) {
        SCOPED_TRACE(n);
        const Signal x = Noise(2 * n, n);
        RealFFT fft(n);
        Signal real(n + 1, kNaN), imag(n + 1, kNaN), back(2 * n);
        fft.ForwardTransform(real.data(), imag.data(), x.data());
        std::vector<double> expectedReal, expectedImag;
        for (int k = 0; k <= n; ++k) {
            double re = 0.0, im = 0.0;
            for (int i = 0; i < 2 * n; ++i) {
                const double angle = -std::numbers::pi * (double(i) * k) / n;
                re += 0.5 * x[i] * std::cos(angle);
                im += 0.5 * x[i] * std::sin(angle);
            }
            expectedReal.push_back(re);
            expectedImag.push_back(im);
        }
        ExpectNear(real, expectedReal, Tolerance(n));
        ExpectNear(imag, expectedImag, Tolerance(n));
        EXPECT_EQ(imag[0], 0.0f);
        EXPECT_EQ(imag[n], 0.0f);

        real[0] += 1.0f; // an offset of one half, and half the highest frequency
        real[n] += 1.0f;
        fft.BackwardTransform(back.data(), real.data(), imag.data());
        std::vector<double> expected(2 * n);
        for (int i = 0; i < 2 * n; ++i) expected[i] = double(n) * x[i] + (i % 2 == 0 ? 2.0 : 0.0);
        ExpectNear(back, expected, Tolerance(n) * std::sqrt(n));
    }
}

TEST(RealFFTDeathTest, NeedsAPowerOfTwo)
{
    EXPECT_DEATH_IF_SUPPORTED(RealFFT(96), "Kal/KalConvolver.*IsPowerOfTwo\\(size\\)");
    const Signal response(96);
    EXPECT_DEATH_IF_SUPPORTED(DualMiniConvolver(response.data(), response.data(), 96), "IsPowerOfTwo\\(size\\)");
    EXPECT_DEATH_IF_SUPPORTED(MiniConvolver(response.data(), 7), "IsPowerOfTwo\\(size\\)");
}

TEST_P(Convolvers, YieldHalfTheConvolutionOneBlockLate)
{
    for (const int n : {1, 2, 4, 8, 32, 128}) {
        Signal impulse(7 * n, 0.0f), gaps = Noise(9 * n, 3);
        impulse[n / 2] = 1.0f;
        std::fill(gaps.begin() + 2 * n, gaps.begin() + 3 * n, 0.0f); // one silent block
        std::fill(gaps.begin() + 4 * n + n / 2, gaps.begin() + 7 * n + n / 3, 0.0f);
        for (const Signal& input : {impulse, Noise(6 * n + 1, 2), gaps}) {
            SCOPED_TRACE(testing::Message() << n << " taps, " << input.size() << " samples");
            const Signal left = Noise(n, 10), right = Noise(n, 11);
            DualMiniConvolver dual(left.data(), right.data(), n);
            MiniConvolver mini(left.data(), n);
            const Stereo output = Through(dual, input);
            Signal mono;
            for (const float x : input) mono.push_back(mini.Apply(x));
            ExpectNear(output.left, Expected(input, left), Tolerance(n));
            ExpectNear(output.right, Expected(input, right), Tolerance(n));
            ExpectNear(mono, Expected(input, left), Tolerance(n));
        }
    }
}

TEST_P(Convolvers, OutputIsPendingForOneBlockOfTail)
{
    constexpr int n = 16;
    const Signal response = Noise(n, 1), silence(n, 0.0f);
    for (const float x : {1.0f, 1e-20f, kNaN, 0.0f}) {
        SCOPED_TRACE(x);
        DualMiniConvolver convolver(response.data(), response.data(), n);
        Signal block(n, 0.0f);
        block[n - 1] = x;
        for (const Signal& input : {block, silence}) {
            Through(convolver, input);
            EXPECT_EQ(convolver.HasOutput(), x != 0.0f);
        }
        Through(convolver, silence);
        EXPECT_FALSE(convolver.HasOutput());
    }
}

} // namespace
} // namespace kal
