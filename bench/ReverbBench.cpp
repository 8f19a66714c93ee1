// The room's fixed cost. Every figure is the time of a 512-frame block; `ns_per_frame` is what one frame takes.

#include "Kal/KalEqualizer.h"
#include "Kal/KalInternals.h"
#include "Kal/KalKernels.h"
#include "Kal/KalLowBand.h"
#include "Kal/KalReverb.h"
#include "Kal/KalSendNetwork.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace kal {
namespace {

constexpr double kRate = 48000.0;
constexpr unsigned kBlock = 512;
constexpr ReverbSettings kRoom = kDefaultReverbSettings;

/// Endless noise in blocks, so that caches see what a game makes them see.
class NoiseBlocks {
public:
    explicit NoiseBlocks(std::size_t blockSize) : size(blockSize), samples(16 * blockSize)
    {
        std::mt19937 random(1);
        for (float& x : samples) x = static_cast<float>(random() / 2147483648.0 - 1.0);
    }

    const float* Next() { return &samples[(count++ % 16) * size]; }

private:
    std::size_t size, count = 0;
    std::vector<float> samples;
};

void SetRates(benchmark::State& state)
{
    using benchmark::Counter;
    state.counters["ns_per_frame"] = Counter(kBlock * 1e-9, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

Reverb LongReverb()
{
    Reverb reverb(kRate);
    reverb.SetSize(kRoom[2].size);
    reverb.SetDelayRange(1.65f);
    reverb.SetRT60Time(kRoom[2].rt60);
    reverb.SetHFReverbTimeRatio(0.8f, 8000.0f);
    reverb.Update();
    return reverb;
}

void ReverbBySample(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    Reverb reverb = LongReverb();
    NoiseBlocks noise(kBlock);
    for (auto _ : state) {
        const float* in = noise.Next();
        for (unsigned i = 0; i < kBlock; ++i) benchmark::DoNotOptimize(reverb.ProcessSample(in[i]));
    }
    SetRates(state);
}
BENCHMARK(ReverbBySample);

/// Runs the rest with the row of vector kernels that the argument numbers.
bool SelectRow(benchmark::State& state)
{
    const auto rows = kernels::UsableRows();
    const auto index = static_cast<std::size_t>(state.range(0));
    if (index >= rows.size()) {
        state.SkipWithError("not on this processor");
        return false;
    }
    kernels::SelectRow(*rows[index]);
    state.SetLabel(rows[index]->name);
    return true;
}

void ReverbByBlock(benchmark::State& state)
{
    if (!SelectRow(state)) return;
    const ScopedFlushToZero flushToZero;
    Reverb reverb = LongReverb();
    NoiseBlocks noise(kBlock);
    std::vector<float> first(kBlock), second(kBlock);
    for (auto _ : state) {
        reverb.Process(kBlock, noise.Next(), 6, 7, first.data(), second.data());
        benchmark::ClobberMemory();
    }
    SetRates(state);
}
BENCHMARK(ReverbByBlock)->DenseRange(0, 1);

void SendNetworkBlock(benchmark::State& state)
{
    if (!SelectRow(state)) return;
    const ScopedFlushToZero flushToZero;
    SendNetwork network(kRate);
    NoiseBlocks noise(kBlock);
    std::vector<float> low(kBlock), mix(2 * kBlock);
    for (auto _ : state) {
        network.Render(kBlock, kRoom, noise.Next(), low.data(), mix.data());
        benchmark::ClobberMemory();
    }
    SetRates(state);
}
BENCHMARK(SendNetworkBlock)->DenseRange(0, 1);

void SendNetworkTail(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    SendNetwork network(kRate);
    NoiseBlocks noise(kBlock);
    const std::vector<float> silence(kBlock);
    std::vector<float> low(kBlock), mix(2 * kBlock);
    for (auto _ : state) {
        // Never longer silent than the tail lasts.
        network.Render(kBlock, kRoom, state.iterations() % 1000 == 0 ? noise.Next() : silence.data(), low.data(),
                       mix.data());
        benchmark::ClobberMemory();
    }
    SetRates(state);
}
BENCHMARK(SendNetworkTail);

void SendNetworkSilence(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    SendNetwork network(kRate);
    const std::vector<float> silence(kBlock);
    std::vector<float> low(kBlock), mix(2 * kBlock);
    for (int i = 0; i < 1000; ++i) network.Render(kBlock, kRoom, silence.data(), low.data(), mix.data());
    for (auto _ : state) {
        network.Render(kBlock, kRoom, silence.data(), low.data(), mix.data());
        benchmark::ClobberMemory();
    }
    SetRates(state);
}
BENCHMARK(SendNetworkSilence);

void EqualizerBlock(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    Equalizer equalizer(kRate);
    NoiseBlocks noise(2 * kBlock);
    std::vector<float> mix(2 * kBlock);
    for (auto _ : state) {
        equalizer.Render(kBlock, noise.Next(), mix.data());
        benchmark::ClobberMemory();
    }
    SetRates(state);
}
BENCHMARK(EqualizerBlock);

void LowBandBlock(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    LowBand band(kRate);
    NoiseBlocks noise(kBlock);
    std::vector<float> mix(2 * kBlock);
    for (auto _ : state) {
        band.Render(kBlock, noise.Next(), mix.data());
        benchmark::ClobberMemory();
    }
    SetRates(state);
}
BENCHMARK(LowBandBlock);

} // namespace
} // namespace kal
