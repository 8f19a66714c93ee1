#include "Kal/Kernels/KalVectorKernels.h"

#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

namespace kal {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr unsigned kLongest = 253, kMargin = 7;

/// Ten arrays of noise in which the first element stands `offset` elements past a 64-byte boundary.
class Arrays {
public:
    explicit Arrays(unsigned first) : offset(first)
    {
        for (unsigned i = 0; i < rows.size(); ++i) {
            const std::vector<float> noise = test::Noise(rows[i].x.size(), i + 1);
            std::copy(noise.begin(), noise.end(), rows[i].x.begin());
        }
    }

    float* operator[](unsigned i) { return &rows[i].x[offset]; }

private:
    struct alignas(64) Row {
        std::array<float, kLongest + 3 + kMargin> x;
    };
    std::array<Row, 10> rows;
    unsigned offset;
};

/// Runs a check for all lengths that end a vector loop differently, at every offset from the alignment.
void ForAll(const std::function<void(unsigned n, unsigned offset)>& check)
{
    for (const unsigned n : {0u, 1u, 3u, 4u, 5u, 7u, 8u, 15u, 16u, 63u, kLongest})
        for (unsigned offset = 0; offset < 4; ++offset) {
            SCOPED_TRACE(testing::Message() << n << " elements, " << offset << " past the alignment");
            check(n, offset);
        }
}

TEST(VectorKernels, AccumulateAndScaleEveryElementAndNoOther)
{
    ForAll([](unsigned n, unsigned offset) {
        const Arrays before(offset);
        for (int sources = 0; sources <= 4; ++sources) {
            Arrays x = before, in = before;
            switch (sources) {
            case 0:
                Scale(n, x[0], 0.7f);
                break;
            case 1:
                Accumulate(n, x[0], x[1]);
                break;
            case 2:
                Accumulate(n, x[0], x[1], x[2]);
                break;
            case 3:
                Accumulate(n, x[0], x[1], x[2], x[3]);
                break;
            case 4:
                Accumulate(n, x[0], x[1], x[2], x[3], x[4]);
                break;
            }
            for (unsigned i = 0; i < n + kMargin; ++i) {
                float sum = in[1][i];
                for (int source = 2; source <= sources; ++source) sum += in[source][i];
                const float whole = sources == 0 ? in[0][i] * 0.7f : in[0][i] + sum;
                ASSERT_EQ(x[0][i], i < n ? whole : in[0][i]) << sources << " sources, element " << i;
            }
        }
    });
}

// Of each part, two products of numbers up to 1 and their sum, up to 2, are rounded: 2^-25 + 2^-25 + 2^-24.
TEST(VectorKernels, MultiplyComplexNumbersInPlace)
{
    constexpr unsigned n = 13;
    Arrays x(0), in = x;
    ComplexMultiply(n, x[4], x[5], x[2], x[3], x[4], x[5], x[6], x[7], x[8], x[9]);
    ComplexMultiply(n, x[0], x[1], x[0], x[1], x[6], x[7]);
    for (unsigned i = 0; i < n; ++i)
        for (const auto& [out, a, b] : {std::array{4u, 4u, 6u}, {2u, 4u, 8u}, {0u, 0u, 6u}}) {
            const std::complex<double> product =
                std::complex<double>(in[a][i], in[a + 1][i]) * std::complex<double>(in[b][i], in[b + 1][i]);
            ASSERT_LE(std::abs(std::complex<double>(x[out][i], x[out + 1][i]) - product), 0x1p-22) << out << ", " << i;
        }
}

// (inf + i inf) x 1 is NaN by the plain formula, infinite by C's rules.
TEST(VectorKernels, RecoverInfinitiesOutsideVectors)
{
    struct Case {
        unsigned n, offset, plainOnce, plainTwice; ///< the bins in vectors, of the one-product and two-product form
    };
    for (const Case c : {Case{3, 0, 0, 0}, {7, 0, 0, 4}, {8, 0, 8, 8}, {9, 0, 8, 8}, {9, 1, 0, 0}, {13, 0, 8, 12}}) {
        SCOPED_TRACE(testing::Message() << c.n << " bins, " << c.offset << " past the alignment");
        Arrays x(c.offset);
        for (unsigned i = 0; i < c.n; ++i) {
            x[4][i] = x[5][i] = kInfinity;
            x[6][i] = x[8][i] = 1.0f;
            x[7][i] = x[9][i] = 0.0f;
        }
        ComplexMultiply(c.n, x[0], x[1], x[4], x[5], x[6], x[7]);
        for (unsigned i = 0; i < c.n; ++i) EXPECT_EQ(std::isnan(x[0][i]), i < c.plainOnce) << i;
        for (unsigned i = c.plainOnce; i < c.n; ++i) EXPECT_EQ(x[0][i], kInfinity) << i;

        ComplexMultiply(c.n, x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], x[8], x[9]);
        for (const unsigned row : {0u, 2u}) {
            for (unsigned i = 0; i < c.n; ++i) EXPECT_EQ(std::isnan(x[row][i]), i < c.plainTwice) << i;
            for (unsigned i = c.plainTwice; i < c.n; ++i) EXPECT_EQ(x[row][i], kInfinity) << i;
        }

        std::fill_n(x[4], c.n, kNaN);
        std::fill_n(x[5], c.n, 0.0f);
        ComplexMultiply(c.n, x[0], x[1], x[4], x[5], x[6], x[7]);
        for (unsigned i = 0; i < c.n; ++i) EXPECT_TRUE(std::isnan(x[0][i])) << i;
    }
}

} // namespace
} // namespace kal
