#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "bench/scene/Renderers.h"

#include <vector>

namespace scene {

namespace {

class LoopBuffer final : public kal::Buffer {
public:
    explicit LoopBuffer(std::vector<std::int16_t> frames) : samples(std::move(frames)) {}

    const void* GetData() const override { return samples.data(); }
    kal::AudioFormat GetFormat() const override { return kal::AudioFormat::Signed16; }
    std::int32_t GetNumChannels() const override { return 1; }
    double GetSamplingRate() const override { return kSampleRate; }
    std::int32_t GetNumSamples() const override { return static_cast<std::int32_t>(samples.size()); }

private:
    std::vector<std::int16_t> samples;
};

class OwnRenderer final : public Renderer {
public:
    OwnRenderer(int numVoices, Motion how, unsigned numThreads)
        : motion(how),
          engine(
              std::make_shared<kal::Engine>(kal::EngineParam{kRate, 2, numThreads, kal::hrtfData, kal::hrtfDataSize}))
    {
        std::vector<std::shared_ptr<LoopBuffer>> buffers;
        for (int i = 0; i < 64; ++i) buffers.push_back(std::make_shared<LoopBuffer>(Sound(i, 20000 + 613 * i)));
        for (int voice = 0; voice < numVoices; ++voice) {
            const auto& buffer = buffers[static_cast<std::size_t>(voice) % buffers.size()];
            kal::ChannelParam param;
            param.gain = 1.0f / static_cast<float>(numVoices);
            param.reverbSendGain = motion == Motion::MovingWithSends ? param.gain : 0.0f;
            param.isLooped = true;
            param.loopEnd = buffer->GetNumSamples();
            param.isSpatialized = true;
            param.referenceDistanceSq = 4.0f;
            Place(param, voice, 0);
            params.push_back(param);
            channels.push_back(engine->CreateChannel(0.0, buffer, param));
        }
    }

    void Move(int block) override
    {
        if (motion == Motion::Static) return;
        for (std::size_t voice = 0; voice < channels.size(); ++voice) {
            Place(params[voice], static_cast<int>(voice), block);
            channels[voice]->UpdateChannelParam(0.0, params[voice]);
        }
    }

    void Render(float* out) override
    {
        engine->Prerender();
        engine->Render(out, kBlock);
    }

    int ActiveSides() const override { return static_cast<int>(engine->GetSpatializer()->NumActiveSides()); }

private:
    void Place(kal::ChannelParam& param, int voice, int block) const
    {
        const auto [x, y, z] = Position(voice, block, motion);
        param.sourcePosition = {x, y, z};
    }

    Motion motion;
    std::shared_ptr<kal::Engine> engine;
    std::vector<kal::ChannelParam> params;
    std::vector<std::shared_ptr<kal::Channel>> channels;
};

} // namespace

std::unique_ptr<Renderer> MakeOwnRenderer(int numVoices, Motion motion, unsigned numThreads)
{
    return std::make_unique<OwnRenderer>(numVoices, motion, numThreads);
}

} // namespace scene
