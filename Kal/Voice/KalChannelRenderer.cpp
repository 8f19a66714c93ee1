#include "Kal/Voice/KalChannelRenderer.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalException.h"
#include "Kal/Base/KalInternals.h"
#include "Kal/Kernels/KalKernels.h"
#include "Kal/Space/KalSpatializerSource.h"
#include "Kal/Voice/KalPlayhead.h"
#include "Kal/Voice/KalSampler.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kal {

namespace {

// Samples by which a voice goes on past its last frame, so that interpolation rings out.
constexpr double kTailFrames = 8.0;

// Current gains start here: a gain below the mark has not been set yet.
constexpr float kUnsetGain = -10000.0f;
constexpr float kUnsetGainMark = -1000.0f;

// Frames that are resampled and then filtered and mixed at a time.
constexpr int kChunk = kSpan;

// What the three renderers share: where the voice is, and its samples chunk by chunk.
template<class Sampler>
class BaseRenderer : public Channel::Renderer {
public:
    BaseRenderer(ChannelHost& owner, const Buffer& buffer, ChannelParam& live)
        : sampler(buffer.GetData(), buffer.GetNumSamples(), live),
          param(live),
          rateRatio(buffer.GetSamplingRate() / owner.SamplingRate()),
          endPosition(buffer.GetNumSamples() + kTailFrames)
    {
    }

    void ParamUpdated() override
    {
        if constexpr (Sampler::kLooped) sampler.ParamUpdated();
    }

protected:
    using Playhead = kal::Playhead<Sampler::kLooped>;
    using Chunk = float[Sampler::kChannels][kChunk];

    struct Span {
        int numFrames; // rendered
        bool goesOn;
    };

    // Calls mixChunk(offset, n, chunk) for the next n frames, from the span's first one until its last one or the end
    // of the voice. The chunk is its to change.
    template<class MixChunk>
    Span RenderChunks(int offset, int count, MixChunk mixChunk)
    {
        Playhead head(param, rateRatio, endPosition, reachedLoopStart);
        Span span{0, true};
        while (span.goesOn && span.numFrames < count) {
            alignas(64) Chunk chunk;
            const int wanted = std::min(count - span.numFrames, kChunk);
            const int n = Read(head, chunk, wanted);
            if (n > 0) mixChunk(offset + span.numFrames, n, chunk);
            span.numFrames += n;
            span.goesOn = n == wanted;
        }
        param.position = head.Position();
        reachedLoopStart = head.HasReachedLoopStart();
        return span;
    }

    Sampler sampler;
    ChannelParam& param;

private:
    // Reads up to `wanted` frames; fewer when the voice ends. Frame by frame is the general way; the kernel takes what
    // it can in between.
    int Read(Playhead& head, Chunk& chunk, int wanted) const
    {
        constexpr int kFramesBetweenRuns = 8;
        int n = 0;
        while (n < wanted && !head.IsAtEnd()) {
            if constexpr (Sampler::kHasKernel) n += ReadRun(head, chunk[0] + n, wanted - n);
            for (int i = 0; i < kFramesBetweenRuns && n < wanted && !head.IsAtEnd(); ++i, ++n) {
                for (int channel = 0; channel < Sampler::kChannels; ++channel)
                    chunk[channel][n] =
                        static_cast<float>(sampler.GetSample(head.Position(), channel, head.HasReachedLoopStart()));
                head.Advance();
            }
        }
        return n;
    }

    int ReadRun(Playhead& head, float* out, int wanted) const
    {
        if (!(head.Step() > 0.0 && head.Step() <= kernels::kMaxStep)) return 0;
        const kernels::Table& table = kernels::ActiveTable();
        const auto run = head.KernelRun(wanted, sampler.KernelEnd());
        const int frames = run.frames & -table.numLanes;
        if (frames <= 0) return 0;
        table.resample[static_cast<int>(Sampler::kFormat)](sampler.Data(), head.Position(), run.step, frames, out);
        head.Skip(frames, run.step);
        return frames;
    }

    double rateRatio;   // frames of the buffer per frame of output, at speed 1
    double endPosition; // frames of the buffer
    bool reachedLoopStart = false;
};

// Outside 0 ... 2 the filter is not stable: one such voice would drown all others. Below, nothing passes; from 2 on,
// everything does.
float StableCoef(float coef)
{
    if (coef >= 2.0f) return 1.0f;
    return coef > 0.0f ? coef : 0.0f;
}

// The one-pole low-pass y[n] = y[n-1] + coef (x[n] - y[n-1]) over a chunk. A state that is not usable would spoil
// what follows, maybe for good: callers drop it when a span begins.
void Filter(float* frames, int n, float lowpassCoef, float& state)
{
    const float coef = StableCoef(lowpassCoef);
    if (coef == 1.0f)
        state = frames[n - 1];
    else
        kernels::ActiveTable().lowpass(frames, n, coef, &state);
}

template<class Sampler>
class SpatializedRenderer final : public BaseRenderer<Sampler> {
public:
    SpatializedRenderer(ChannelHost& owner, const Buffer& buffer, ChannelParam& live)
        : BaseRenderer<Sampler>(owner, buffer, live), source(owner.GetSpatializer()->CreateSource())
    {
    }

    bool Render(ChannelHost*, int offset, int count, ThreadLocalBuffer& buffer) noexcept override
    {
        const ChannelParam& p = this->param;
        const double x = p.sourcePosition.x, y = p.sourcePosition.y, z = p.sourcePosition.z;
        const double distance = (x * x + y * y + z * z) / p.referenceDistanceSq;
        const double attenuation = distance < 1.0 ? 1.0 : 1.0 / std::sqrt(distance);
        const float directTarget = FiniteOrZero(static_cast<float>(p.gain * attenuation));
        // The reverb falls off more slowly than the direct sound.
        const float sendTarget = FiniteOrZero(static_cast<float>(p.reverbSendGain * std::sqrt(attenuation)));
        if (directGain < kUnsetGainMark) {
            directGain = directTarget;
            sendGain = sendTarget;
        }
        // Like a filter's state, one that is not finite would stay so for good.
        directGain = std::isfinite(directGain) ? LastingOrZero(directGain) : directTarget;
        sendGain = std::isfinite(sendGain) ? LastingOrZero(sendGain) : sendTarget;
        filterState = LastingOrZero(UsableOrZero(filterState));

        const kernels::Table& table = kernels::ActiveTable();
        const auto span = this->RenderChunks(offset, count, [&](int i, int n, auto& chunk) {
            float* const s = chunk[0];
            table.addSmoothed(&buffer.reverbSend[i], s, n, &sendGain, sendTarget);
            Filter(s, n, p.lowpassCoef, filterState);
            table.scaleSmoothed(&buffer.scratch[i], &buffer.lowSend[i], s, n, &directGain, directTarget);
        });
        if (span.numFrames > 0) source->Mix(&buffer.scratch[offset], offset, span.numFrames, p.sourcePosition);
        return span.goesOn;
    }

private:
    float directGain = kUnsetGain;
    float sendGain = kUnsetGain;
    float filterState = 0.0f;
    std::shared_ptr<Spatializer::Source> source;
};

template<class Sampler>
class NonSpatializedMonoRenderer final : public BaseRenderer<Sampler> {
public:
    using BaseRenderer<Sampler>::BaseRenderer;

    bool Render(ChannelHost*, int offset, int count, ThreadLocalBuffer& buffer) noexcept override
    {
        const ChannelParam& p = this->param;
        const float gain = FiniteOrZero(p.gain);
        float send = FiniteOrZero(p.reverbSendGain);
        filterState = LastingOrZero(UsableOrZero(filterState));
        const auto span = this->RenderChunks(offset, count, [&](int i, int n, auto& chunk) {
            float* const s = chunk[0];
            kernels::ActiveTable().addSmoothed(&buffer.reverbSend[i], s, n, &send, send);
            Filter(s, n, p.lowpassCoef, filterState);
            float* mix = &buffer.mix[2 * std::size_t(i)];
            for (int k = 0; k < n; ++k, mix += 2) {
                const float y = s[k] * gain;
                mix[0] += y;
                mix[1] += y;
            }
        });
        return span.goesOn;
    }

private:
    float filterState = 0.0f;
};

// Two channels are not filtered: lowpassCoef scales them instead, on purpose.
template<class Sampler>
class NonSpatializedMultiChannelRenderer final : public BaseRenderer<Sampler> {
public:
    using BaseRenderer<Sampler>::BaseRenderer;

    bool Render(ChannelHost*, int offset, int count, ThreadLocalBuffer& buffer) noexcept override
    {
        const ChannelParam& p = this->param;
        const float gain = FiniteOrZero(p.gain), coef = FiniteOrZero(p.lowpassCoef);
        const float send = 0.5f * FiniteOrZero(p.reverbSendGain);
        filterStateLeft = UsableOrZero(filterStateLeft);
        filterStateRight = UsableOrZero(filterStateRight);
        const auto span = this->RenderChunks(offset, count, [&](int i, int n, auto& chunk) {
            float* mix = &buffer.mix[2 * std::size_t(i)];
            float* reverbSend = &buffer.reverbSend[i];
            for (int k = 0; k < n; ++k, mix += 2) {
                const float l = chunk[0][k], r = chunk[1][k];
                reverbSend[k] += (l + r) * send;
                filterStateLeft = (l - filterStateLeft) + filterStateLeft;
                filterStateRight = (r - filterStateRight) + filterStateRight;
                mix[0] += filterStateLeft * coef * gain;
                mix[1] += filterStateRight * coef * gain;
            }
        });
        return span.goesOn;
    }

private:
    float filterStateLeft = 0.0f;
    float filterStateRight = 0.0f;
};

using Maker = std::unique_ptr<Channel::Renderer> (*)(ChannelHost&, const Buffer&, ChannelParam&);

template<class RendererType>
std::unique_ptr<Channel::Renderer> Make(ChannelHost& engine, const Buffer& buffer, ChannelParam& param)
{
    return std::make_unique<RendererType>(engine, buffer, param);
}

// One line a format, one column a loop mode.
template<template<class> class RendererType, template<int, AudioFormat, bool> class Sampler, int channels>
Maker MakerFor(AudioFormat format, bool looped)
{
    using enum AudioFormat;
    static constexpr Maker kMakers[3][2] = {
        {Make<RendererType<Sampler<channels, Unsigned8, false>>>,
         Make<RendererType<Sampler<channels, Unsigned8, true>>>},
        {Make<RendererType<Sampler<channels, Signed16, false>>>, Make<RendererType<Sampler<channels, Signed16, true>>>},
        {Make<RendererType<Sampler<channels, Float32, false>>>, Make<RendererType<Sampler<channels, Float32, true>>>},
    };
    return kMakers[static_cast<int>(format)][looped];
}

template<template<int, AudioFormat, bool> class Sampler>
Maker MakerFor(int channels, AudioFormat format, bool looped, bool spatialized)
{
    if (channels == 2) return MakerFor<NonSpatializedMultiChannelRenderer, Sampler, 2>(format, looped);
    if (spatialized) return MakerFor<SpatializedRenderer, Sampler, 1>(format, looped);
    return MakerFor<NonSpatializedMonoRenderer, Sampler, 1>(format, looped);
}

} // namespace

std::unique_ptr<Channel::Renderer> MakeRenderer(Interpolation interpolation, ChannelHost& engine, const Buffer& buffer,
                                                ChannelParam& param)
{
    const int channels = buffer.GetNumChannels();
    if (channels != 1 && channels != 2) throw Exception("Invalid channel count: %d", channels);
    const AudioFormat format = buffer.GetFormat();
    const int formatValue = static_cast<int>(format);
    if (formatValue < 0 || formatValue > 2) throw Exception("Invalid audio format: %d", formatValue);

    const bool spatialized = param.isSpatialized && engine.GetSpatializer();
    const Maker make = [&] {
        switch (interpolation) {
        case Interpolation::Nearest:
            return MakerFor<NearestSampler>(channels, format, param.isLooped, spatialized);
        case Interpolation::Cubic:
            return MakerFor<CubicSampler>(channels, format, param.isLooped, spatialized);
        default:
            return MakerFor<LinearSampler>(channels, format, param.isLooped, spatialized);
        }
    }();
    return make(engine, buffer, param);
}

// The fraction of the start delay is not used: a voice starts on a whole sample.
void Channel::CreateRenderer(double, ChannelHost* owner)
{
    renderer = MakeRenderer(Interpolation::Linear, *owner, *buffer, param);
}

} // namespace kal
