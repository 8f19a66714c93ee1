// What binaural rendering costs: one convolver block, one direction, and all of them at once. A side is a direction as
// stored or mirrored; the shipped set has 736.

#include "Kal/Space/KalHrtf.h"
#include "Kal/Space/KalSpatializerSource.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

namespace kal {
namespace {

constexpr int kTaps = 128;
constexpr int kBlock = 512;

std::vector<float> Noise(int count)
{
    std::mt19937 random(1);
    std::vector<float> noise(count);
    for (float& x : noise) x = static_cast<float>(random() / 2147483648.0 - 1.0);
    return noise;
}

/// As many voices as there are sides, each on its own: at rest, or all on the way to another direction in every block.
class Crowd {
public:
    Crowd() : spatializer(std::make_shared<Spatializer>(hrtfData, hrtfDataSize, 44100.0)), input(Noise(kBlock))
    {
        static constexpr int counts[] = {29, 31, 37, 37, 37, 37, 37, 31, 29, 23, 19, 13, 7, 1};
        for (int ring = 0; ring < 14; ++ring) {
            const float step = ring == 9 ? 8.0f : 180.0f / static_cast<float>(std::max(counts[ring] - 1, 1));
            for (int angle = 0; angle < 2 * counts[ring]; ++angle) {
                const float azimuth = std::clamp(static_cast<float>(angle / 2) * step, 0.1f, 179.9f);
                const auto elevation = static_cast<float>(10 * ring - 40);
                voices.push_back({spatializer->CreateSource(), angle % 2 == 0 ? azimuth : -azimuth, elevation});
            }
        }
    }

    /// Renders a block; sources whose directions follow the others' by `turn` places.
    void Render(std::vector<float>& out, std::size_t turn)
    {
        spatializer->BeginRender(kBlock);
        for (std::size_t i = 0; i < voices.size(); ++i) {
            const Voice& at = voices[(i + turn) % voices.size()];
            voices[i].source->Mix(input.data(), 0, kBlock, at.azimuth, at.elevation);
        }
        const unsigned parts = spatializer->PrepareEndRender();
        if (parts > 0) spatializer->EndRender(out.data(), 0, parts);
    }

    std::size_t NumVoices() const { return voices.size(); }

private:
    struct Voice {
        std::shared_ptr<Spatializer::Source> source;
        float azimuth, elevation;
    };
    std::shared_ptr<Spatializer> spatializer;
    std::vector<float> input;
    std::vector<Voice> voices;
};

void AllSides(benchmark::State& state, bool crossfading)
{
    Crowd crowd;
    std::vector<float> out(2 * kBlock);
    std::size_t turn = 0;
    for (auto _ : state) {
        std::fill(out.begin(), out.end(), 0.0f);
        if (crossfading) ++turn;
        crowd.Render(out, turn);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["sides"] = static_cast<double>(crowd.NumVoices());
}
BENCHMARK_CAPTURE(AllSides, Resting, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(AllSides, Crossfading, true)->Unit(benchmark::kMicrosecond);

/// The end phase of one direction with both sides in use: its caches are warm, as they are not in a full scene.
void EndRenderOfOneDirection(benchmark::State& state)
{
    const auto spatializer = std::make_shared<Spatializer>(hrtfData, hrtfDataSize, 44100.0);
    const auto right = spatializer->CreateSource(), left = spatializer->CreateSource();
    const std::vector<float> input = Noise(kBlock);
    std::vector<float> out(2 * kBlock);
    spatializer->BeginRender(kBlock);
    right->Mix(input.data(), 0, kBlock, 40.0f, 0.0f);
    left->Mix(input.data(), 0, kBlock, -40.0f, 0.0f);
    spatializer->PrepareEndRender();
    for (auto _ : state) spatializer->EndRender(out.data(), 0);
}
BENCHMARK(EndRenderOfOneDirection);

} // namespace
} // namespace kal
