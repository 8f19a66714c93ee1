#include "Kal/QFFT/FFTSetup.h"

#include "Kal/QFFT/Exception.h"
#include "Kal/QFFT/StandardFFTSetup.h"
#include "tests/support/EveryTable.h"
#include "tests/support/ReferenceDFT.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>
#include <random>
#include <thread>

namespace qfft {
namespace {

template<class T>
struct Split {
    std::vector<T> real, imag;

    friend bool operator==(const Split&, const Split&) = default;
};

template<class T>
Split<T> Noise(std::size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<T> uniform(-1, 1);
    Split<T> x{std::vector<T>(count), std::vector<T>(count)};
    for (T& real : x.real) real = uniform(random);
    for (T& imag : x.imag) imag = uniform(random);
    return x;
}

template<class T>
std::unique_ptr<FFTSetup> Planned(std::vector<unsigned> size, bool backward = false)
{
    constexpr DataType type = std::is_same_v<T, float> ? DataType::Single : DataType::Double;
    return CreateFFTSetup({.backward = backward, .size = std::move(size), .dataType = static_cast<std::int32_t>(type)});
}

template<class T>
Split<T> Transformed(const FFTSetup& setup, const Split<T>& in)
{
    Split<T> out{std::vector<T>(in.real.size()), std::vector<T>(in.real.size())};
    setup.Transform({in.real.data(), in.imag.data(), out.real.data(), out.imag.data()});
    return out;
}

template<class T>
std::vector<std::complex<double>> Wide(const Split<T>& x)
{
    std::vector<std::complex<double>> wide;
    for (std::size_t i = 0; i < x.real.size(); ++i) wide.emplace_back(x.real[i], x.imag[i]);
    return wide;
}

std::vector<unsigned> Lengths(unsigned longest)
{
    std::vector<unsigned> lengths;
    for (unsigned power = 1; power <= longest; power *= 3)
        for (unsigned length = power; length <= longest; length *= 2) lengths.push_back(length);
    return lengths;
}

// The error of a bin against the root mean square of all. Every stage rounds each value a few times, by half a unit in
// the last place each, which adds up like noise; the bound is about twice the worst that is seen. The angles of the
// twiddles are sums of up to N / 3 steps that are off by as many half units of 2 pi at most.
template<class T>
double Tolerance(unsigned length)
{
    const double stages = std::log2(length) + 1.0;
    return std::numeric_limits<T>::epsilon() * stages + length / 3.0 * 0x1p-51;
}

template<class T>
void ExpectTransforms(unsigned length, bool backward, std::size_t numBins)
{
    SCOPED_TRACE(testing::Message() << length << (backward ? " points, backward" : " points, forward"));
    const Split<T> in = Noise<T>(length, length);
    const std::vector<std::complex<double>> x = Wide(in),
                                            actual = Wide(Transformed(*Planned<T>({length}, backward), in));

    double power = 0.0; // of a bin on average, by Parseval's theorem
    for (const std::complex<double> value : x) power += std::norm(value);
    std::mt19937 random(length);
    for (std::size_t i = 0; i < std::min<std::size_t>(length, numBins); ++i) {
        const std::size_t k = length <= numBins ? i : random() % length;
        const double error = std::abs(actual[k] - kal::test::Bin(x, k, backward)) / std::sqrt(power);
        ASSERT_LE(error, Tolerance<T>(length)) << "in bin " << k;
    }
}

class SingleFFT : public kal::test::EveryTable {};

INSTANTIATE_TEST_SUITE_P(Tables, SingleFFT, kal::test::kEveryTable, kal::test::NameOfTable);

TEST_P(SingleFFT, FollowsItsDefinitionInBothDirectionsAtEveryLength)
{
    for (const unsigned length : Lengths(4096))
        for (const bool backward : {false, true}) ExpectTransforms<float>(length, backward, 24);
    ExpectTransforms<float>(16384, false, 4); // more than the stack holds
}

TEST(DoubleFFT, FollowsItsDefinition)
{
    for (const unsigned length : {1u, 6u, 128u, 8192u}) ExpectTransforms<double>(length, length == 128, 4);
}

// An even and an odd number of stages, and none.
TEST_P(SingleFFT, GivesTheSameInPlaceAndAtAnyAlignment)
{
    for (const unsigned length : {1u, 2u, 12u, 16u, 27u, 64u, 128u, 256u, 1024u}) {
        SCOPED_TRACE(length);
        const auto setup = Planned<float>({length});
        const Split<float> in = Noise<float>(length, 1), expected = Transformed(*setup, in);

        Split<float> x = in;
        setup->Transform({x.real.data(), x.imag.data(), x.real.data(), x.imag.data()});
        EXPECT_EQ(x, expected) << "in place";

        x = in;
        setup->Transform({x.real.data(), x.imag.data(), x.imag.data(), x.real.data()});
        EXPECT_EQ(x, (Split<float>{expected.imag, expected.real})) << "in place, exchanged";

        x = in;
        Split<float> out = in;
        setup->Transform({x.real.data(), x.imag.data(), out.real.data(), x.imag.data()});
        EXPECT_EQ((Split<float>{out.real, x.imag}), expected) << "half in place";

        x = in;
        for (std::vector<float>* part : {&x.real, &x.imag}) part->insert(part->begin(), 0.0f);
        std::vector<float> real(length + 3), imag(length + 2);
        setup->Transform({&x.real[1], &x.imag[1], &real[3], &imag[2]});
        const Split<float> moved{{real.begin() + 3, real.end()}, {imag.begin() + 2, imag.end()}};
        EXPECT_EQ(moved, expected) << "past the alignment";
    }
}

// A wave along all dimensions at once is one bin of its own.
TEST(FFTSetup, TransformsRowsAlongEveryDimension)
{
    constexpr unsigned kSize[] = {2, 9, 16}, kBin[] = {1, 4, 13}, kPoints = 2 * 9 * 16;
    for (const bool backward : {false, true}) {
        Split<double> wave{std::vector<double>(kPoints), std::vector<double>(kPoints)};
        for (unsigned i = 0; i < kPoints; ++i) {
            const double turns = i / 144 * kBin[0] / 2.0 + i / 16 % 9 * kBin[1] / 9.0 + i % 16 * kBin[2] / 16.0;
            const auto value = std::polar(1.0, (backward ? -1 : 1) * turns * 2.0 * std::numbers::pi);
            wave.real[i] = value.real();
            wave.imag[i] = value.imag();
        }
        const auto bins = Wide(Transformed(*Planned<double>({kSize[0], kSize[1], kSize[2]}, backward), wave));
        for (unsigned i = 0; i < kPoints; ++i)
            ASSERT_NEAR(std::abs(bins[i] - (i == 144 * kBin[0] + 16 * kBin[1] + kBin[2] ? kPoints : 0.0)), 0.0, 1e-11)
                << i;
    }
}

TEST(FFTSetup, IsSharedByThreads)
{
    const auto setup = Planned<float>({128});
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed)
        threads.emplace_back([&, seed] {
            const Split<float> in = Noise<float>(128, seed), expected = Transformed(*Planned<float>({128}), in);
            for (int round = 0; round < 200; ++round) ASSERT_EQ(Transformed(*setup, in), expected);
        });
    for (std::thread& thread : threads) thread.join();
}

TEST(FFTSetup, RefusesWhatItCannotPlan)
{
    struct Case {
        FFTParam param;
        const char* text;
    };
    const Case cases[] = {
        {{.size = {}, .parallel = 2, .dataType = 7}, "The number of dimensions is zero."},
        {{.size = {0}, .dataType = 7}, "Zero size."},
        {{.size = {8, 0}, .parallel = 2}, "Zero size."},
        {{.size = {8, 8}, .parallel = 2, .dataType = 7}, "Multi-dimensional parallel transformation is not supported."},
        {{.size = {8, 8}, .dataType = 2}, "Invalid data type."},
        {{.size = {7}, .dataType = 2}, "Invalid data type."},
        {{.size = {8}, .dataType = -1}, "Invalid data type."},
        {{.size = {7}}, "Failed to create FFT plan. Radix not found."},
        {{.size = {10}, .dataType = 1}, "Failed to create FFT plan. Radix not found."},
        {{.size = {8, 10}}, "Failed to create FFT plan. Radix not found."},
        {{.size = {4294967294u}}, "Failed to create FFT plan. Radix not found."}, // before its tables take 50 GB
    };
    for (const Case& refused : cases) {
        try {
            CreateFFTSetup(refused.param);
            ADD_FAILURE() << "accepted instead of: " << refused.text;
        } catch (const Exception& exception) {
            EXPECT_STREQ(exception.what(), refused.text);
        }
    }
}

TEST(FFTSetupDeathTest, AssertsItsRequest)
{
    using Standard = StandardFFTSetup<cpu::FeatureLevel::Generic, DataType::Single, false>;
    EXPECT_DEATH_IF_SUPPORTED(CreateFFTSetup({.size = {8}, .parallel = 2}),
                              "Kal/QFFT/StandardFFTSetup: .*: param.parallel == 1");
    EXPECT_DEATH_IF_SUPPORTED(Standard({.size = {8, 8}}), "Kal/QFFT/StandardFFTSetup: .*: param.size.size\\(\\) == 1");
    EXPECT_DEATH_IF_SUPPORTED(Standard({.size = {0}}), "Kal/QFFT/StandardFFTSetup: .*: size > 0");
}

} // namespace
} // namespace qfft
