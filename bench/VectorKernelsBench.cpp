// The kernels at the sizes of a block convolution of 128 taps: 129 bins, 256 samples.
#include "Kal/Kernels/KalVectorKernels.h"

#include <benchmark/benchmark.h>

#include <array>

namespace {

/// Arrays whose first element is `offset` elements past a 64-byte boundary.
struct Arrays {
    explicit Arrays(const benchmark::State& state) : offset(state.range(0))
    {
        for (auto& line : lines) line.fill(1.0f);
    }

    float* operator[](std::size_t i) { return lines[i].data() + offset; }

    alignas(64) std::array<std::array<float, 272>, 10> lines;
    std::int64_t offset;
};

void Accumulate(benchmark::State& state)
{
    Arrays a(state);
    for (auto _ : state) {
        kal::Accumulate(256, a[0], a[1], a[2], a[3], a[4]);
        benchmark::ClobberMemory();
    }
}

void Scale(benchmark::State& state)
{
    Arrays a(state);
    for (auto _ : state) {
        kal::Scale(256, a[0], 1.0f);
        benchmark::ClobberMemory();
    }
}

void ComplexMultiply(benchmark::State& state)
{
    Arrays a(state);
    for (auto _ : state) {
        kal::ComplexMultiply(129, a[0], a[1], a[2], a[3], a[4], a[5]);
        benchmark::ClobberMemory();
    }
}

void ComplexMultiplyByTwo(benchmark::State& state)
{
    Arrays a(state);
    for (auto _ : state) {
        kal::ComplexMultiply(129, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9]);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(Accumulate)->ArgName("offset")->Arg(0)->Arg(1);
BENCHMARK(Scale)->ArgName("offset")->Arg(0)->Arg(1);
BENCHMARK(ComplexMultiply)->ArgName("offset")->Arg(0)->Arg(1);
BENCHMARK(ComplexMultiplyByTwo)->ArgName("offset")->Arg(0)->Arg(1);

} // namespace
