#include "libkalmarble/Context.h"

#include <benchmark/benchmark.h>

#include <algorithm>
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

/// The first block after a device has stood still for so many minutes while the listener moved, 60 times a second,
/// among 256 sounds, and ten others a second were started and had to give way; or an ordinary one.
void FirstBlockAfterAPause(benchmark::State& state)
{
    constexpr int kSounds = 256, kBlock = 512, kFrameRate = 60;
    const int calls = static_cast<int>(state.range(0)) * 60 * kFrameRate;
    InitParam param = kParam;
    param.occlusionQuery = [](const KalVector3*, float* result, void*) { *result = 1.0f; };
    param.maxPolyphonics = kSounds;
    const std::vector<float> samples(48000 * 60, 0.01f);
    const Buffer sound({samples.data(), 32, 1, static_cast<int>(samples.size()), 48000});
    std::vector<float> out(2 * kBlock);
    for (auto _ : state) {
        Context context(param);
        for (int i = 0; i < kSounds; ++i)
            context.PlayAbsolute(sound, {2.0f, 0.0f, 0.02f * static_cast<float>(i)}, {0.1f, 1.0f, 1.0f});
        for (int frames = 0; frames < 12000; frames += kBlock) context.Render(out.data(), kBlock);
        std::this_thread::sleep_for(std::chrono::milliseconds(250)); // from here on everything is as late as can be
        for (int i = 0; i < std::max(calls, 1); ++i) {
            const float x = 0.01f * static_cast<float>(i % 100);
            context.Respatialize({x, 0, 0}, {0, 0, -1}, {0, 1, 0}, {});
            if (i > 0 && i % (kFrameRate / 10) == 0) context.PlayAbsolute(sound, {2, 0, x}, {0.1f, 1.0f, 1.0f});
        }
        state.counters["process_MiB"] = ResidentBytes() / (1 << 20);
        context.Render(out.data(), kBlock); // was made before the pause
        const auto start = std::chrono::steady_clock::now();
        context.Render(out.data(), kBlock);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(elapsed.count());
    }
}
BENCHMARK(FirstBlockAfterAPause)->Arg(0)->Arg(10)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kalmarble
