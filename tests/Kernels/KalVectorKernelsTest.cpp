#include "Kal/Kernels/KalVectorKernels.h"

#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <array>

namespace kal {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// Ten arrays of noise in which the first element stands `offset` elements past a 64-byte boundary.
struct Arrays {
    explicit Arrays(unsigned first) : offset(first)
    {
        for (unsigned i = 0; i < arrays.size(); ++i) {
            const std::vector<float> noise = test::Noise(kLength, i + 1);
            std::copy(noise.begin(), noise.end(), arrays[i].x);
        }
    }

    float* operator[](unsigned i) { return &arrays[i].x[offset]; }

    static constexpr unsigned kLength = 80;
    struct alignas(64) Aligned {
        float x[kLength];
    };
    std::array<Aligned, 10> arrays;
    unsigned offset;
};

// Every element and no other, in lengths that end a vector loop differently.
TEST(VectorKernels, AccumulateAndScale)
{
    for (const unsigned n : {0u, 3u, 4u, 17u, 63u})
        for (const unsigned offset : {0u, 1u}) {
            SCOPED_TRACE(testing::Message() << n << " elements, " << offset << " past the alignment");
            Arrays x(offset), in(offset);
            Accumulate(n, x[0], x[4], x[5], x[6], x[7]);
            Accumulate(n, x[1], x[4], x[5], x[6]);
            Accumulate(n, x[2], x[4], x[5]);
            Accumulate(n, x[3], x[4]);
            Scale(n, x[8], 0.7f);
            for (unsigned i = 0; i < n + 8; ++i) {
                const bool inside = i < n;
                float sum = in[4][i];
                for (unsigned last = 4; last < 8; sum += in[++last][i])
                    ASSERT_EQ(x[7 - last][i], in[7 - last][i] + (inside ? sum : 0.0f)) << i;
                ASSERT_EQ(x[8][i], in[8][i] * (inside ? 0.7f : 1.0f)) << i;
            }
        }
}

// Of each part, two products of numbers up to 1 and their sum, up to 2, are rounded: 2^-25 + 2^-25 + 2^-24. The outputs
// may be the arrays of a factor.
TEST(VectorKernels, MultiplyComplexNumbersInPlace)
{
    constexpr unsigned n = 13;
    Arrays x(0), in(0);
    ComplexMultiply(n, x[4], x[5], x[2], x[3], x[4], x[5], x[6], x[7], x[8], x[9]);
    ComplexMultiply(n, x[0], x[1], x[0], x[1], x[6], x[7]);
    for (unsigned i = 0; i < n; ++i)
        for (const auto& [out, a, b] : {std::array{4u, 4u, 6u}, {2u, 4u, 8u}, {0u, 0u, 6u}}) {
            const std::complex<double> product =
                std::complex<double>(in[a][i], in[a + 1][i]) * std::complex<double>(in[b][i], in[b + 1][i]);
            ASSERT_LE(std::abs(std::complex<double>(x[out][i], x[out + 1][i]) - product), 0x1p-22) << out << ", " << i;
        }
}

// (inf + i inf) x 1 is NaN by the plain formula of the vectors, infinite by C's rules outside them.
TEST(VectorKernels, RecoverInfinitiesOutsideVectors)
{
    struct Case {
        unsigned n, offset, plainOnce, plainTwice; ///< the bins in vectors, of the one-product and two-product form
    };
    for (const Case c : {Case{3, 0, 0, 0}, {7, 0, 0, 4}, {9, 0, 8, 8}, {9, 1, 0, 0}, {13, 0, 8, 12}}) {
        SCOPED_TRACE(testing::Message() << c.n << " bins, " << c.offset << " past the alignment");
        Arrays x(c.offset);
        for (unsigned i = 0; i < c.n; ++i) {
            x[4][i] = x[5][i] = kInfinity;
            x[6][i] = x[8][i] = 1.0f;
            x[7][i] = x[9][i] = 0.0f;
        }
        const auto plainBins = [&](const float* out) {
            unsigned bins = 0;
            while (bins < c.n && std::isnan(out[bins])) ++bins;
            for (unsigned i = bins; i < c.n; ++i) EXPECT_EQ(out[i], kInfinity) << i;
            return bins;
        };
        ComplexMultiply(c.n, x[0], x[1], x[4], x[5], x[6], x[7]);
        EXPECT_EQ(plainBins(x[0]), c.plainOnce);
        ComplexMultiply(c.n, x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], x[8], x[9]);
        EXPECT_EQ(plainBins(x[0]), c.plainTwice);
        EXPECT_EQ(plainBins(x[2]), c.plainTwice);
    }
}

} // namespace
} // namespace kal
