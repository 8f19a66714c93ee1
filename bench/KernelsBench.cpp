// Every kernel of every table, in the sizes that blocks of 512 frames bring: a voice's chunk of 256 frames, the spectra
// of 128 taps. The last argument is the table's number.

#include "Kal/Kernels/KalKernels.h"

#include "Kal/QFFT/AlignedVector.h"
#include "Kal/QFFT/CpuFeature.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace kal {
namespace {

constexpr int kFrames = 256, kBlock = 128;

qfft::AlignedVector<float> Noise(int count)
{
    std::mt19937 random(1);
    qfft::AlignedVector<float> noise(static_cast<std::size_t>(count));
    for (float& x : noise) x = static_cast<float>(random() / 2147483648.0 - 1.0);
    return noise;
}

/// Times run(table) with the table that the argument of that index numbers.
template<class Run>
void Measure(benchmark::State& state, int tableArgument, int elements, Run run)
{
    const auto sets = qfft::cpu::UsableInstructionSets();
    const auto index = static_cast<std::size_t>(state.range(tableArgument));
    if (index >= sets.size()) {
        state.SkipWithError("not on this processor");
        return;
    }
    qfft::cpu::SelectInstructionSet(sets[index]);
    state.SetLabel(qfft::cpu::NameOf(sets[index]));
    const kernels::Table& table = kernels::ActiveTable();
    for (auto _ : state) {
        run(table);
        benchmark::ClobberMemory();
    }
    using benchmark::Counter;
    state.counters["per_element"] = Counter(elements, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

/// Steps in hundredths of a frame: up to 1, up to 2, and beyond, which are read in three ways.
void Resample(benchmark::State& state)
{
    const std::vector<std::int16_t> samples(4096, 1000); // twice as long as 8-bit data and half as long as floats need
    const std::vector<float> floats = {samples.begin(), samples.end()};
    const void* const data[] = {samples.data(), samples.data(), floats.data()};
    const auto format = state.range(0);
    const double step = static_cast<double>(state.range(1)) / 100.0;
    auto out = Noise(kFrames);
    Measure(state, 2, kFrames, [&](const kernels::Table& table) {
        table.resample[format](data[format], 100.25, step, kFrames, out.data());
    });
}
BENCHMARK(Resample)->ArgNames({"format", "step", "table"})->ArgsProduct({{0, 1, 2}, {92, 109, 350}, {0, 1, 2, 3}});

void Lowpass(benchmark::State& state)
{
    auto x = Noise(kFrames);
    float last = 0.0f;
    Measure(state, 0, kFrames, [&](const kernels::Table& table) { table.lowpass(x.data(), kFrames, 0.3f, &last); });
}
BENCHMARK(Lowpass)->DenseRange(0, 3);

void AddSmoothed(benchmark::State& state)
{
    auto to = Noise(kFrames), from = Noise(kFrames);
    Measure(state, 0, kFrames, [&](const kernels::Table& table) {
        float gain = 0.5f;
        table.addSmoothed(to.data(), from.data(), kFrames, &gain, 1e-3f);
    });
}
BENCHMARK(AddSmoothed)->DenseRange(0, 3);

void ScaleSmoothed(benchmark::State& state)
{
    auto to = Noise(kFrames), sum = Noise(kFrames), from = Noise(kFrames);
    Measure(state, 0, kFrames, [&](const kernels::Table& table) {
        float gain = 0.5f;
        table.scaleSmoothed(to.data(), sum.data(), from.data(), kFrames, &gain, 1e-3f);
    });
}
BENCHMARK(ScaleSmoothed)->DenseRange(0, 3);

void AddFaded(benchmark::State& state)
{
    auto to = Noise(kFrames), from = Noise(kFrames);
    Measure(state, 0, kFrames,
            [&](const kernels::Table& table) { table.addFaded(to.data(), from.data(), kFrames, 0.0f, 0x1p-8f); });
}
BENCHMARK(AddFaded)->DenseRange(0, 3);

void ScaleFaded(benchmark::State& state)
{
    auto to = Noise(kFrames), from = Noise(kFrames);
    Measure(state, 0, kFrames,
            [&](const kernels::Table& table) { table.scaleFaded(to.data(), from.data(), kFrames, 0.0f, 0x1p-8f); });
}
BENCHMARK(ScaleFaded)->DenseRange(0, 3);

void Network(benchmark::State& state)
{
    auto lines = Noise(32 * kFrames), in = Noise(kFrames);
    kernels::NetworkRun run{{}, {}, {}, 0.2f, 0.6f};
    for (int k = 0; k < 16; ++k) {
        run.read[k] = &lines[static_cast<std::size_t>(2 * k * kFrames)];
        run.write[k] = &lines[static_cast<std::size_t>((2 * k + 1) * kFrames)];
    }
    Measure(state, 0, kFrames, [&](const kernels::Table& table) { table.advanceNetwork(run, kFrames, in.data()); });
}
BENCHMARK(Network)->DenseRange(0, 3);

void TwiddlePairs(benchmark::State& state)
{
    auto in = Noise(2 * kBlock), twiddles = Noise(kBlock), out = Noise(2 * kBlock + 2);
    const kernels::TwiddlePairs pairs{kBlock, &in[0], &in[kBlock], &twiddles[0],    &twiddles[kBlock / 2],
                                      1.0f,   0.25f,  &out[0],     &out[kBlock + 1]};
    Measure(state, 0, kBlock, [&](const kernels::Table& table) { table.twiddlePairs(pairs); });
}
BENCHMARK(TwiddlePairs)->DenseRange(0, 3);

void Deinterleave(benchmark::State& state)
{
    auto in = Noise(2 * kBlock), even = Noise(kBlock), odd = Noise(kBlock);
    Measure(state, 0, kBlock,
            [&](const kernels::Table& table) { table.deinterleave(kBlock, in.data(), even.data(), odd.data()); });
}
BENCHMARK(Deinterleave)->DenseRange(0, 3);

void Products(benchmark::State& state)
{
    constexpr int kBins = kBlock + 1, kRow = kBlock + 16;
    auto in = Noise(2 * kRow), filters = Noise(4 * kRow), sums = Noise(4 * kRow);
    const kernels::Products products{
        kBins, &in[0], &in[kRow], kRow, {{&filters[0], &sums[0]}, {&filters[2 * kRow], &sums[2 * kRow]}}};
    Measure(state, 0, kBins, [&](const kernels::Table& table) { table.addProducts(products); });
}
BENCHMARK(Products)->DenseRange(0, 3);

void PairProducts(benchmark::State& state)
{
    constexpr int kBins = kBlock + 1, kRow = kBlock + 16;
    auto in = Noise(4 * kRow), filters = Noise(8 * kRow), sums = Noise(4 * kRow);
    const kernels::PairProducts products{
        kBins,
        &in[0],
        &in[2 * kRow],
        kRow,
        {{{&filters[0], &filters[4 * kRow]}, &sums[0]}, {{&filters[2 * kRow], &filters[6 * kRow]}, &sums[2 * kRow]}}};
    Measure(state, 0, kBins, [&](const kernels::Table& table) { table.addPairProducts(products); });
}
BENCHMARK(PairProducts)->DenseRange(0, 3);

void Cascade(benchmark::State& state)
{
    kernels::Cascade cascade{};
    for (auto& section : cascade.sections) section = {1.0, -1.6, 0.7, 1.6, -0.7, {}, {}, {}, {}};
    auto frames = Noise(2 * kFrames);
    Measure(state, 0, kFrames, [&](const kernels::Table& table) { table.runCascade(cascade, kFrames, frames.data()); });
}
BENCHMARK(Cascade)->DenseRange(0, 3);

} // namespace
} // namespace kal
