#include "bench/scene/Renderers.h"

#define AL_ALEXT_PROTOTYPES
#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <AL/efx.h>

#include <vector>

namespace scene {

namespace {

class OpenAlRenderer final : public Renderer {
public:
    OpenAlRenderer(ALCdevice* loopback, ALCcontext* current, int numVoices, Motion how)
        : device(loopback), context(current), motion(how), sources(static_cast<std::size_t>(numVoices)), buffers(64)
    {
        alGenBuffers(static_cast<ALsizei>(buffers.size()), buffers.data());
        for (int i = 0; i < 64; ++i) {
            const auto samples = Sound(i, 20000 + 613 * i);
            alBufferData(buffers[static_cast<std::size_t>(i)], AL_FORMAT_MONO16, samples.data(),
                         static_cast<ALsizei>(samples.size() * sizeof samples[0]), static_cast<ALsizei>(kSampleRate));
        }
        ALuint effect = 0;
        alGenEffects(1, &effect);
        alEffecti(effect, AL_EFFECT_TYPE, AL_EFFECT_EAXREVERB);
        alGenAuxiliaryEffectSlots(1, &slot);
        alAuxiliaryEffectSloti(slot, AL_EFFECTSLOT_EFFECT, static_cast<ALint>(effect));
        alGenSources(numVoices, sources.data());
        for (int voice = 0; voice < numVoices; ++voice) {
            const ALuint source = sources[static_cast<std::size_t>(voice)];
            alSourcei(source, AL_BUFFER, static_cast<ALint>(buffers[static_cast<std::size_t>(voice) % 64]));
            alSourcei(source, AL_LOOPING, AL_TRUE);
            alSourcef(source, AL_GAIN, 1.0f / static_cast<float>(numVoices));
            alSourcef(source, AL_REFERENCE_DISTANCE, 2.0f);
            if (motion == Motion::MovingWithSends)
                alSource3i(source, AL_AUXILIARY_SEND_FILTER, static_cast<ALint>(slot), 0, AL_FILTER_NULL);
            Place(voice, 0);
        }
        alSourcePlayv(numVoices, sources.data());
    }

    ~OpenAlRenderer() override
    {
        alDeleteSources(static_cast<ALsizei>(sources.size()), sources.data());
        alDeleteAuxiliaryEffectSlots(1, &slot);
        alDeleteBuffers(static_cast<ALsizei>(buffers.size()), buffers.data());
        alcMakeContextCurrent(nullptr);
        alcDestroyContext(context);
        alcCloseDevice(device);
    }

    void Move(int block) override
    {
        if (motion == Motion::Static) return;
        alcSuspendContext(context);
        for (int voice = 0; voice < static_cast<int>(sources.size()); ++voice) Place(voice, block);
        alcProcessContext(context);
    }

    void Render(float* out) override { alcRenderSamplesSOFT(device, out, kBlock); }

private:
    void Place(int voice, int block)
    {
        const auto [x, y, z] = Position(voice, block, motion);
        alSource3f(sources[static_cast<std::size_t>(voice)], AL_POSITION, x, y, -z); // ahead is -z there
    }

    ALCdevice* device;
    ALCcontext* context;
    Motion motion;
    ALuint slot = 0;
    std::vector<ALuint> sources, buffers;
};

} // namespace

std::unique_ptr<Renderer> MakeOpenAlRenderer(int numVoices, Motion motion)
{
    ALCdevice* device = alcLoopbackOpenDeviceSOFT(nullptr);
    if (!device) return nullptr;
    const ALCint attributes[] = {ALC_FORMAT_CHANNELS_SOFT,
                                 ALC_STEREO_SOFT,
                                 ALC_FORMAT_TYPE_SOFT,
                                 ALC_FLOAT_SOFT,
                                 ALC_FREQUENCY,
                                 static_cast<ALCint>(kRate),
                                 ALC_HRTF_SOFT,
                                 ALC_TRUE,
                                 ALC_MONO_SOURCES,
                                 numVoices,
                                 ALC_MAX_AUXILIARY_SENDS,
                                 1,
                                 0};
    ALCcontext* context = alcCreateContext(device, attributes);
    ALCint hrtf = 0;
    if (context) {
        alcMakeContextCurrent(context);
        alcGetIntegerv(device, ALC_HRTF_SOFT, 1, &hrtf);
    }
    if (!hrtf) {
        if (context) alcDestroyContext(context);
        alcCloseDevice(device);
        return nullptr;
    }
    return std::make_unique<OpenAlRenderer>(device, context, numVoices, motion);
}

} // namespace scene
