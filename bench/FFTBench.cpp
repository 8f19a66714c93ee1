// Forward complex transforms in single precision, out of place, on split arrays.
#include "Kal/QFFT/AlignedVector.h"
#include "Kal/QFFT/CpuFeature.h"
#include "Kal/QFFT/FFTSetup.h"

#include <benchmark/benchmark.h>

#include <random>

#ifdef KAL_BENCH_FFTW
#include <fftw3.h>
#endif

namespace {

/// Arrays allocated one by one, as a caller would.
struct Arrays {
    explicit Arrays(std::size_t size) : inReal(size), inImag(size), outReal(size), outImag(size)
    {
        std::mt19937 random(1);
        for (float& x : inReal) x = std::uniform_real_distribution(-1.0f, 1.0f)(random);
        for (float& x : inImag) x = std::uniform_real_distribution(-1.0f, 1.0f)(random);
    }

    qfft::AlignedVector<float> inReal, inImag, outReal, outImag;
};

void Transform(benchmark::State& state, qfft::cpu::InstructionSet set)
{
    const qfft::cpu::InstructionSet widest = qfft::cpu::UsableInstructionSets().back();
    if (set > widest) {
        state.SkipWithError("not on this processor");
        return;
    }
    qfft::cpu::SelectInstructionSet(set);
    const auto size = static_cast<unsigned>(state.range(0));
    const auto setup = qfft::CreateFFTSetup({.size = {size}});
    qfft::cpu::SelectInstructionSet(widest);
    Arrays x(size);
    for (auto _ : state) {
        setup->Transform({x.inReal.data(), x.inImag.data(), x.outReal.data(), x.outImag.data()});
        benchmark::ClobberMemory();
    }
}

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->RangeMultiplier(2)->Range(64, 4096);
}

BENCHMARK_CAPTURE(Transform, Generic, qfft::cpu::InstructionSet::Generic)->Apply(Sizes);
BENCHMARK_CAPTURE(Transform, Sse2, qfft::cpu::InstructionSet::Lanes4)->Apply(Sizes);
BENCHMARK_CAPTURE(Transform, Avx2, qfft::cpu::InstructionSet::Lanes8)->Apply(Sizes);
BENCHMARK_CAPTURE(Transform, Avx512, qfft::cpu::InstructionSet::Lanes16)->Apply(Sizes);

#ifdef KAL_BENCH_FFTW
void Fftw(benchmark::State& state)
{
    const auto size = static_cast<int>(state.range(0));
    const fftwf_iodim dimension = {size, 1, 1};
    Arrays x(size);
    float *real = x.inReal.data(), *imag = x.inImag.data(), *outReal = x.outReal.data(), *outImag = x.outImag.data();
    const fftwf_plan plan = fftwf_plan_guru_split_dft(1, &dimension, 0, nullptr, real, imag, outReal, outImag,
                                                      FFTW_PATIENT | FFTW_PRESERVE_INPUT);
    x = Arrays(size); // planning has overwritten it
    for (auto _ : state) {
        fftwf_execute_split_dft(plan, x.inReal.data(), x.inImag.data(), x.outReal.data(), x.outImag.data());
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}
BENCHMARK(Fftw)->Apply(Sizes);
#endif

} // namespace
