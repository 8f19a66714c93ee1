// The fixed cost of room and master: the time of a 512-frame block and of one of its frames.

#include "Kal/Base/KalFlushToZero.h"
#include "Kal/Base/KalInternals.h"
#include "Kal/Master/KalCompressor.h"
#include "Kal/Master/KalEqualizer.h"
#include "Kal/Master/KalLowBand.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Kal/Room/KalDiffusers.h"
#include "Kal/Room/KalReverb.h"
#include "Kal/Room/KalSendNetwork.h"

#include <benchmark/benchmark.h>

#include <algorithm>
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
    NoiseBlocks(std::size_t blockSize, double amplitude) : size(blockSize), samples(16 * blockSize)
    {
        std::mt19937 random(1);
        for (float& x : samples) x = static_cast<float>(amplitude * (random() / 2147483648.0 - 1.0));
    }

    const float* Next() { return &samples[(count++ % 16) * size]; }

private:
    std::size_t size, count = 0;
    std::vector<float> samples;
};

void SetPerFrame(benchmark::State& state)
{
    using benchmark::Counter;
    state.counters["per_frame"] = Counter(kBlock, Counter::kIsIterationInvariantRate | Counter::kInvert);
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
    NoiseBlocks noise(kBlock, 1.0);
    for (auto _ : state) {
        const float* in = noise.Next();
        for (unsigned i = 0; i < kBlock; ++i) benchmark::DoNotOptimize(reverb.ProcessSample(in[i]));
    }
    SetPerFrame(state);
}
BENCHMARK(ReverbBySample);

/// Runs the rest with the kernel table that the argument numbers.
bool SelectInstructionSet(benchmark::State& state)
{
    const auto sets = qfft::cpu::UsableInstructionSets();
    const auto index = static_cast<std::size_t>(state.range(0));
    if (index >= sets.size()) {
        state.SkipWithError("not on this processor");
        return false;
    }
    qfft::cpu::SelectInstructionSet(sets[index]);
    state.SetLabel(qfft::cpu::NameOf(sets[index]));
    return true;
}

void ReverbByBlock(benchmark::State& state)
{
    if (!SelectInstructionSet(state)) return;
    const ScopedFlushToZero flushToZero;
    Reverb reverb = LongReverb();
    NoiseBlocks noise(kBlock, 1.0);
    std::vector<float> first(kBlock), second(kBlock);
    for (auto _ : state) {
        reverb.Process(kBlock, noise.Next(), 6, 7, first.data(), second.data());
        benchmark::ClobberMemory();
    }
    SetPerFrame(state);
}
BENCHMARK(ReverbByBlock)->DenseRange(0, 3);

void DiffusersBlock(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    Diffusers diffusers;
    NoiseBlocks noise(kBlock, 1.0);
    std::vector<float> block(kBlock);
    for (auto _ : state) {
        std::copy_n(noise.Next(), kBlock, block.data());
        diffusers.Process(kBlock, block.data());
        benchmark::ClobberMemory();
    }
    SetPerFrame(state);
}
BENCHMARK(DiffusersBlock);

void RenderNetwork(benchmark::State& state, SendNetwork& network, NoiseBlocks& send)
{
    std::vector<float> low(kBlock), mix(2 * kBlock);
    for (auto _ : state) {
        network.Render(kBlock, kRoom, send.Next(), low.data(), mix.data());
        benchmark::ClobberMemory();
    }
    SetPerFrame(state);
}

void SendNetworkBlock(benchmark::State& state)
{
    if (!SelectInstructionSet(state)) return;
    const ScopedFlushToZero flushToZero;
    SendNetwork network(kRate);
    NoiseBlocks noise(kBlock, 1.0);
    RenderNetwork(state, network, noise);
}
BENCHMARK(SendNetworkBlock)->DenseRange(0, 3);

/// Long after the last sound.
void SendNetworkAsleep(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    SendNetwork network(kRate);
    NoiseBlocks silence(kBlock, 0.0);
    std::vector<float> low(kBlock), mix(2 * kBlock);
    for (int i = 0; i < 1000; ++i) network.Render(kBlock, kRoom, silence.Next(), low.data(), mix.data());
    RenderNetwork(state, network, silence);
}
BENCHMARK(SendNetworkAsleep);

void EqualizerBlock(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    Equalizer equalizer(kRate);
    NoiseBlocks noise(2 * kBlock, 1.0);
    std::vector<float> mix(2 * kBlock);
    for (auto _ : state) {
        equalizer.Render(kBlock, noise.Next(), mix.data());
        benchmark::ClobberMemory();
    }
    SetPerFrame(state);
}
BENCHMARK(EqualizerBlock);

void LowBandBlock(benchmark::State& state)
{
    const ScopedFlushToZero flushToZero;
    LowBand band(kRate);
    NoiseBlocks noise(kBlock, 1.0);
    std::vector<float> mix(2 * kBlock);
    for (auto _ : state) {
        band.Render(kBlock, noise.Next(), mix.data());
        benchmark::ClobberMemory();
    }
    SetPerFrame(state);
}
BENCHMARK(LowBandBlock);

/// At rest, as most of the time.
void LimiterBlock(benchmark::State& state)
{
    Compressor limiter(kRate);
    NoiseBlocks noise(2 * kBlock, 0.5);
    std::vector<float> mix(2 * kBlock);
    for (auto _ : state) {
        std::copy_n(noise.Next(), 2 * kBlock, mix.data());
        limiter.Process(mix.data(), kBlock);
        benchmark::ClobberMemory();
    }
    SetPerFrame(state);
}
BENCHMARK(LimiterBlock);

} // namespace
} // namespace kal
