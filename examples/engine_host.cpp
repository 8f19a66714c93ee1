// The engine without the library around it: a looped noise that begins and stops at exact frames, then comes back
// from the other side. docs/engine.md explains it.

#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

// Samples are the caller's own; voices share them.
struct Noise final : kal::Buffer {
    std::vector<float> samples = std::vector<float>(48000);
    Noise()
    {
        unsigned seed = 1;
        for (float& x : samples)
            x = static_cast<float>((seed = seed * 1664525u + 1013904223u) >> 8) / 8388608.0f - 1.0f;
    }
    const void* GetData() const override { return samples.data(); }
    kal::AudioFormat GetFormat() const override { return kal::AudioFormat::Float32; }
    std::int32_t GetNumChannels() const override { return 1; }
    double GetSamplingRate() const override { return 48000.0; }
    std::int32_t GetNumSamples() const override { return static_cast<std::int32_t>(samples.size()); }
};

// The first frame from `from` on in which something is heard, and the louder ear's name.
void Tell(const char* what, const std::vector<float>& out, std::size_t from)
{
    while (from < out.size() / 2 && std::abs(out[2 * from]) + std::abs(out[2 * from + 1]) < 0.05f) ++from;
    float ears[2] = {0.0f, 0.0f};
    for (std::size_t i = 2 * from; i < std::min(out.size(), 2 * from + 4000); ++i) ears[i % 2] += std::abs(out[i]);
    std::printf("%s at frame %zu, %s\n", what, from, ears[0] > ears[1] ? "left" : "right");
}

int main()
{
    constexpr int kBlock = 480; // frames; any size will do, also a new one every time
    const auto engine =
        std::make_shared<kal::Engine>(kal::EngineParam{48000.0, 2, 1, kal::hrtfData, kal::hrtfDataSize});
    const auto noise = std::make_shared<const Noise>();
    kal::ChannelParam param;
    param.isLooped = param.isSpatialized = true;
    param.loopEnd = noise->GetNumSamples();
    param.sourcePosition = {-1.0f, 0.0f, 0.0f}; // to the left; +y is up, +z ahead
    param.referenceDistanceSq = 1.0f;           // as loud as recorded up to 1 m

    std::shared_ptr<kal::Channel> voice;
    std::vector<float> out(2 * 48000);
    for (int first = 0; first < 48000; first += kBlock) {
        const auto isDue = [first](int frame) { return frame >= first && frame < first + kBlock; };
        if (isDue(5000)) voice = engine->CreateChannel(5000 - first, noise, param);
        if (isDue(18123)) voice->Stop(18123 - first);
        if (isDue(30001)) {
            param.sourcePosition.x = 1.0f;
            param.gain = 2.0f;
            voice = engine->CreateChannel(30001 - first, noise, param);
        }
        if (isDue(36500)) voice->Seek(36500 - first, 0.0);
        engine->Prerender();
        engine->Render(&out[2 * static_cast<std::size_t>(first)], kBlock);
    }
    Tell("begins", out, 0);
    Tell("begins again", out, 19000);
    return 0;
}
