#include "libkalmarble/Context.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kalmarble {
namespace {

constexpr InitParam kParam = {48000.0, nullptr, nullptr, 1, 64, nullptr, nullptr};

/// Bytes of this process that are in memory.
double ResidentBytes()
{
    long total = 0, resident = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%ld %ld", &total, &resident) != 2) resident = 0;
        std::fclose(file);
    }
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void Init(benchmark::State& state)
{
    std::shared_ptr<Context> context;
    for (auto _ : state) {
        context = std::make_shared<Context>(kParam);
        state.PauseTiming();
        state.counters["process_MiB"] = ResidentBytes() / (1 << 20);
        context.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(Init)->Unit(benchmark::kMillisecond);

/// The host's audio callback when the background thread has kept up: the next block waits.
void RenderWaitingBlock(benchmark::State& state)
{
    const auto context = std::make_shared<Context>(kParam);
    const int numFrames = static_cast<int>(state.range(0));
    std::vector<float> out(2 * static_cast<std::size_t>(numFrames));
    context->Render(out.data(), numFrames);
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const auto start = std::chrono::steady_clock::now();
        context->Render(out.data(), numFrames);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(elapsed.count());
    }
}
BENCHMARK(RenderWaitingBlock)->Arg(512)->UseManualTime()->Iterations(500)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace kalmarble
