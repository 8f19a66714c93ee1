// Forward complex transforms in single precision, out of place, on split arrays.
#include "Kal/QFFT/CpuFeature.h"
#include "Kal/QFFT/FFTSetup.h"

#include <benchmark/benchmark.h>

#include <random>

#ifdef KAL_BENCH_FFTW
#include <fftw3.h>
#endif

namespace {

constexpr unsigned kLargest = 4096;

struct Arrays {
    Arrays()
    {
        std::mt19937 random(1);
        for (float& x : inReal) x = std::uniform_real_distribution(-1.0f, 1.0f)(random);
        for (float& x : inImag) x = std::uniform_real_distribution(-1.0f, 1.0f)(random);
    }

    alignas(64) float inReal[kLargest];
    alignas(64) float inImag[kLargest];
    alignas(64) float outReal[kLargest];
    alignas(64) float outImag[kLargest];
} arrays;

void Transform(benchmark::State& state, qfft::cpu::KernelRow row)
{
    const qfft::cpu::KernelRow widest = qfft::cpu::UsableRows().back();
    if (row > widest) {
        state.SkipWithError("not on this processor");
        return;
    }
    qfft::cpu::SelectRow(row);
    const auto setup = qfft::CreateFFTSetup({.size = {static_cast<unsigned>(state.range(0))}});
    qfft::cpu::SelectRow(widest);
    for (auto _ : state) {
        setup->Transform({arrays.inReal, arrays.inImag, arrays.outReal, arrays.outImag});
        benchmark::ClobberMemory();
    }
}

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->RangeMultiplier(2)->Range(64, kLargest);
}

BENCHMARK_CAPTURE(Transform, Generic, qfft::cpu::KernelRow::Generic)->Apply(Sizes);
BENCHMARK_CAPTURE(Transform, Sse2, qfft::cpu::KernelRow::Sse2)->Apply(Sizes);
BENCHMARK_CAPTURE(Transform, Avx2, qfft::cpu::KernelRow::Avx2)->Apply(Sizes);

#ifdef KAL_BENCH_FFTW
void Fftw(benchmark::State& state)
{
    const fftwf_iodim dimension = {static_cast<int>(state.range(0)), 1, 1};
    Arrays own; // measuring overwrites them
    const fftwf_plan plan = fftwf_plan_guru_split_dft(1, &dimension, 0, nullptr, own.inReal, own.inImag, own.outReal,
                                                      own.outImag, FFTW_PATIENT | FFTW_PRESERVE_INPUT);
    for (auto _ : state) {
        fftwf_execute_split_dft(plan, arrays.inReal, arrays.inImag, arrays.outReal, arrays.outImag);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}
BENCHMARK(Fftw)->Apply(Sizes);
#endif

} // namespace
