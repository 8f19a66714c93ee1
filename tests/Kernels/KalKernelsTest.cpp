#include "Kal/Kernels/KalKernels.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalTypes.h"
#include "Kal/QFFT/AlignedVector.h"
#include "tests/support/EveryTable.h"
#include "tests/support/Measure.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>

namespace kal {
namespace {

/// n elements of noise some elements past the alignment. Ends the test's luck if what stands around them is written to.
class Line {
public:
    Line(int length, int first, unsigned seed)
        : n(length), offset(first), x(static_cast<std::size_t>(n + offset) + kMargin)
    {
        const auto noise = test::Noise(x.size(), seed);
        x.assign(noise.begin(), noise.end());
        before = x;
    }
    Line(const Line&) = default;
    ~Line()
    {
        const auto begin = x.begin(), end = begin + offset + n;
        EXPECT_TRUE(std::equal(begin, begin + offset, before.begin()) &&
                    std::equal(end, x.end(), before.end() - kMargin));
    }

    operator float*() { return x.data() + offset; }
    double Was(int i) const { return before[static_cast<std::size_t>(offset + i)]; }

private:
    static constexpr int kMargin = 9;
    int n, offset;
    qfft::AlignedVector<float> x, before;
};

/// Every kernel of a table against its plain form in double precision.
class Kernels : public test::EveryTable {
protected:
    const kernels::Table& table = kernels::ActiveTable();
    std::vector<double> actual, expected;

    /// Runs check(n, offset) for lengths that end a loop over lanes differently, at every offset from the alignment.
    /// @param unit n is a multiple of it  @param leastDb how close what was compared has to be
    template<class Check>
    void ForAll(int unit, double leastDb, Check check)
    {
        actual.clear();
        expected.clear();
        for (const int n : {0, 1, 3, 4, 5, 63, 64, 253})
            for (int offset = 0; offset < 4; ++offset) {
                SCOPED_TRACE(testing::Message() << n << " elements, " << offset << " past the alignment");
                check(n - n % unit, offset);
            }
        EXPECT_GT(test::SignalToErrorDb(actual, expected), leastDb);
    }

    void Compare(double a, double e)
    {
        actual.push_back(a);
        expected.push_back(e);
    }

    /// Bin k of a sum to which so much was added.
    void CompareSum(Line& sum, int k, int stride, std::complex<double> added)
    {
        Compare(sum[k], sum.Was(k) + added.real());
        Compare(sum[k + stride], sum.Was(k + stride) + added.imag());
    }
};

INSTANTIATE_TEST_SUITE_P(Tables, Kernels, test::kEveryTable, test::NameOfTable);

TEST_P(Kernels, SmoothGains)
{
    for (const bool adds : {false, true})
        ForAll(1, 110.0, [&](int n, int offset) {
            Line to(n, offset, 1), sum(n, offset, 3), from(n, 3 - offset, 2);
            float gain = 0.9f;
            double g = gain;
            if (adds)
                table.addSmoothed(sum, from, n, &gain, -0.2f);
            else
                table.scaleSmoothed(to, sum, from, n, &gain, -0.2f);
            for (int i = 0; i < n; ++i, g += (-0.2f - g) * kGainStep) {
                if (!adds) Compare(to[i], g * from[i]);
                Compare(sum[i], g * from[i] + sum.Was(i));
            }
            Compare(gain, g);
        });
}

TEST_P(Kernels, FadeAlongALine)
{
    for (const auto& [gain, step] : {std::pair(1.0f, 0.0f), {1.0f, -0x1p-7f}, {0.25f, 0x1p-7f}})
        ForAll(1, 130.0, [&, g = gain, s = step](int n, int offset) {
            Line sum(n, offset, 1), to(n, offset, 3), from(n, 3 - offset, 2);
            table.addFaded(sum, from, n, g, s);
            table.scaleFaded(to, from, n, g, s);
            for (int i = 0; i < n; ++i) {
                const double faded = (double{g} + i * double{s}) * from[i];
                Compare(sum[i], sum.Was(i) + faded);
                Compare(to[i], faded);
            }
        });
}

// The smallest coefficients need time until their errors show.
TEST_P(Kernels, FilterBelowACutoff)
{
    for (const float coef : {1e-4f, 1e-3f, 0.01f, 0.3f, 1.0f, 1.9f}) {
        SCOPED_TRACE(coef);
        float state = 0.0f;
        double y = 0.0;
        for (int round = 0; round < 20; ++round)
            ForAll(1, 100.0, [&](int n, int offset) {
                Line x(n, offset, static_cast<unsigned>(round));
                for (int i = 0; i < n; ++i) x[i] += 0.5f;
                std::vector<double> filtered;
                for (int i = 0; i < n; ++i) filtered.push_back(y += (double{x[i]} - y) * coef);
                table.lowpass(x, n, coef, &state);
                for (int i = 0; i < n; ++i) Compare(x[i], filtered[static_cast<std::size_t>(i)]);
                Compare(state, y);
            });
    }
}

// Also from the last positions before a whole one, which float lanes round up to it.
TEST_P(Kernels, InterpolateAtEveryStep)
{
    const auto noise = test::Noise(4096, 3);
    for (const AudioFormat format : {AudioFormat::Unsigned8, AudioFormat::Signed16, AudioFormat::Float32})
        for (const double step : {0.01, 0.9, 1.0, 48000.0 / 44100.0, 2.0, 2.1, 4.0, kernels::kMaxStep})
            for (const double x : {0.0, 1.0 - 0x1p-30, 2.0 - 0x1p-30, 100.7}) {
                SCOPED_TRACE(testing::Message() << int(format) << " from " << x << " by " << step);
                ForAll(table.numLanes, 100.0, [&](int n, int offset) {
                    const auto last = static_cast<std::size_t>(x + std::max(n - 1, 0) * step);
                    const std::size_t end = offset + last + 1 + kernels::kResampleMargin; // nothing behind it is read
                    std::vector<std::uint8_t> bytes;
                    std::vector<std::int16_t> shorts;
                    const std::vector<float> floats(noise.begin(), noise.begin() + static_cast<std::ptrdiff_t>(end));
                    for (const float e : floats) {
                        bytes.push_back(static_cast<std::uint8_t>(128 + int(e * 127)));
                        shorts.push_back(static_cast<std::int16_t>(e * 32767));
                    }
                    const auto value = [&](std::size_t i) {
                        i += static_cast<std::size_t>(offset);
                        return format == AudioFormat::Unsigned8  ? (bytes[i] - 128) / 128.0
                               : format == AudioFormat::Signed16 ? shorts[i] / 32768.0
                                                                 : floats[i];
                    };
                    const void* const data[] = {bytes.data() + offset, shorts.data() + offset, floats.data() + offset};
                    Line out(n, offset, 4);
                    table.resample[int(format)](data[int(format)], x, step, n, out);
                    for (int i = 0; i < n; ++i) {
                        const double at = x + i * step;
                        const auto k = static_cast<std::size_t>(at);
                        Compare(out[i], value(k) + (at - static_cast<double>(k)) * (value(k + 1) - value(k)));
                    }
                });
            }
}

// The lines feed back after the least delay that is allowed and the fifteen next ones.
TEST_P(Kernels, AdvanceTheNetwork)
{
    const auto delay = [](unsigned k) { return kernels::kShortestLine + static_cast<int>(k); };
    ForAll(table.numLanes, 120.0, [&](int n, int offset) {
        std::vector<Line> lines;
        for (unsigned k = 0; k < 16; ++k) lines.emplace_back(n + delay(k), offset, k);
        Line in(n, offset, 99);
        kernels::NetworkRun run{{}, {}, {}, 0.23f, 0.6f};
        std::array<double, 16> damp;
        for (unsigned k = 0; k < 16; ++k) {
            run.read[k] = lines[k];
            run.write[k] = lines[k] + delay(k);
            damp[k] = run.dampState[k] = 0.1f * static_cast<float>(k);
        }
        table.advanceNetwork(run, n, in);
        for (int i = 0; i < n; ++i)
            for (unsigned k = 0; k < 16; ++k) {
                double h = 0.0;
                for (unsigned j = 0; j < 16; ++j) h += (std::popcount(j & k) % 2 == 0 ? 1.0 : -1.0) * lines[j][i];
                damp[k] += (h * run.feedbackGain - damp[k]) * run.lpfCoef;
                Compare(lines[k][i + delay(k)], damp[k] + (k == 0 ? in[i] : k == 2 ? -in[i] : 0.0f));
            }
        for (unsigned k = 0; k < 16; ++k) Compare(run.dampState[k], damp[k]);
    });
}

using Complex = std::complex<double>;

/// Bin k of a spectrum whose imaginary parts stand `stride` behind the real ones.
Complex At(float* spectrum, int k, int stride)
{
    return {spectrum[k], spectrum[k + stride]};
}

TEST_P(Kernels, ApplyTwiddlesToPairs)
{
    for (const float conjugate : {1.0f, -1.0f})
        ForAll(1, 120.0, [&](int n, int offset) {
            Line inReal(n, offset, 1), inImag(n, 3 - offset, 2), twiddleReal(n / 2, offset, 3),
                twiddleImag(n / 2, offset, 4);
            Line outReal(n, 3 - offset, 5), outImag(n, offset, 6);
            table.twiddlePairs({n, inReal, inImag, twiddleReal, twiddleImag, conjugate, 0.25f, outReal, outImag});
            for (int k = 1; k <= n / 2; ++k) {
                const Complex x(inReal[k], inImag[k]), mirrored(inReal[n - k], -inImag[n - k]);
                const Complex turned = Complex(twiddleReal[k - 1], conjugate * twiddleImag[k - 1]) * (x - mirrored);
                const Complex low = (x + mirrored + turned) * 0.25, high = std::conj(x + mirrored - turned) * 0.25;
                if (2 * k < n) Compare(outReal[k], low.real()), Compare(outImag[k], low.imag());
                Compare(outReal[n - k], high.real());
                Compare(outImag[n - k], high.imag());
            }
        });
}

TEST_P(Kernels, AddProducts)
{
    ForAll(1, 120.0, [&](int n, int offset) {
        Line real(n, offset, 1), imag(n, 3 - offset, 2);
        const int stride = n + offset;
        std::vector<Line> filters, sums;
        for (unsigned ear = 0; ear < 2; ++ear)
            filters.emplace_back(stride + n, offset, 3 + ear), sums.emplace_back(stride + n, offset, 5 + ear);
        table.addProducts({n, real, imag, stride, {{filters[0], sums[0]}, {filters[1], sums[1]}}});
        for (std::size_t ear = 0; ear < 2; ++ear)
            for (int k = 0; k < n; ++k)
                CompareSum(sums[ear], k, stride, Complex(real[k], imag[k]) * At(filters[ear], k, stride));
    });
}

TEST_P(Kernels, AddProductsOfAPair)
{
    ForAll(1, 120.0, [&](int n, int offset) {
        const int stride = n + offset, points = 2 * std::max(n - 1, 0);
        Line real(points + 1, offset, 1), imag(points + 1, 3 - offset, 2);
        real[points] = real[0], imag[points] = imag[0];
        std::vector<Line> filters, sums;
        for (unsigned i = 0; i < 4; ++i) filters.emplace_back(stride + n, offset, 3 + i);
        for (unsigned ear = 0; ear < 2; ++ear) sums.emplace_back(stride + n, offset, 7 + ear);
        table.addPairProducts(
            {n, real, imag, stride, {{{filters[0], filters[1]}, sums[0]}, {{filters[2], filters[3]}, sums[1]}}});
        for (std::size_t ear = 0; ear < 2; ++ear)
            for (int k = 0; k < n; ++k) {
                const Complex z(real[k], imag[k]), mirrored(real[points - k], -imag[points - k]);
                const Complex first = (z + mirrored) / 4.0, second = (z - mirrored) / Complex(0.0, 4.0);
                CompareSum(sums[ear], k, stride,
                           first * At(filters[2 * ear], k, stride) + second * At(filters[2 * ear + 1], k, stride));
            }
    });
}

TEST_P(Kernels, RunTheCascade)
{
    kernels::Cascade cascade{};
    for (int k = 0; k < kernels::Cascade::kSections; ++k) {
        const double radius = 0.5 + 0.05 * k;
        cascade.sections[k] = {1.0 - 0.1 * k, 0.3, -0.2, 1.6 * radius, -radius * radius, {}, {}, {}, {}};
    }
    kernels::Cascade model = cascade;
    ForAll(1, 300.0, [&](int n, int offset) {
        Line frames(2 * n, offset, 1);
        table.runCascade(cascade, n, frames);
        for (int i = 0; i < 2 * n; ++i) {
            double x = frames.Was(i);
            for (auto& [b0, b1, b2, c1, c2, x1, x2, y1, y2] : model.sections) {
                const int c = i % 2;
                const double y = b0 * x + b1 * x1[c] + b2 * x2[c] + c1 * y1[c] + c2 * y2[c];
                x2[c] = x1[c], x1[c] = x, y2[c] = y1[c], y1[c] = y;
                x = y;
            }
            Compare(frames[i], static_cast<float>(x));
        }
    });
}

TEST_P(Kernels, Deinterleave)
{
    ForAll(1, 300.0, [&](int n, int offset) {
        Line in(2 * n, offset, 1), even(n, 3 - offset, 2), odd(n, offset, 3);
        table.deinterleave(n, in, even, odd);
        for (int i = 0; i < n; ++i) Compare(even[i], in[2 * i]), Compare(odd[i], in[2 * i + 1]);
    });
}

} // namespace
} // namespace kal
