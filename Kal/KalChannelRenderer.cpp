#include "Kal/KalChannelRenderer.h"

#include "Kal/KalEngine.h"
#include "Kal/KalException.h"
#include "Kal/KalNumbers.h"
#include "Kal/KalSampler.h"

#include <cmath>
#include <type_traits>

namespace kal {

namespace {

// Samples by which a voice goes on past its last frame, so that interpolation rings out.
constexpr double kTailFrames = 8.0;

// Current gains start here: a gain below the mark has not been set yet.
constexpr float kUnsetGain = -10000.0f;
constexpr float kUnsetGainMark = -1000.0f;

// Part of the way to its target that a smoothed gain goes each frame.
constexpr float kGainSmoothing = 0.1f;

// The play position of one voice during one span: steps, wraps around the loop, knows the end.
template<bool looped>
class Playhead {
public:
    Playhead(const ChannelParam& param, double rateRatio, double end, bool hasReachedLoopStart)
        : x(param.position),
          step(param.speed * rateRatio),
          endPosition(end),
          loopStart(param.loopStart),
          loopEnd(param.loopEnd),
          reachedLoopStart(hasReachedLoopStart)
    {
        if constexpr (looped) Wrap();
    }

    // A step that leads nowhere ends a voice too: nothing else would.
    bool IsAtEnd() const
    {
        if constexpr (looped) return false;
        return !(x < endPosition) || !(step > 0.0) || std::isinf(step);
    }

    void Advance()
    {
        x += step;
        if constexpr (looped) {
            reachedLoopStart = reachedLoopStart || x >= loopStart;
            Wrap();
        }
    }

    double Position() const { return x; }
    bool HasReachedLoopStart() const { return reachedLoopStart; }

private:
    // Far beyond the loop one division replaces many subtractions. Before the loop nothing moves.
    void Wrap()
    {
        if (!(x >= loopEnd)) return;
        const double length = loopEnd - loopStart;
        if (x >= loopStart + 16.0 * length)
            x -= length * std::floor((x - loopStart) / length);
        else
            while (x >= loopEnd) x -= length;
    }

    double x;
    double step;
    double endPosition;
    double loopStart;
    double loopEnd;
    bool reachedLoopStart;
};

// What the three renderers share: where the voice is and the walk over a span's frames.
template<class Sampler>
class BaseRenderer : public Channel::Renderer {
public:
    BaseRenderer(Engine& owner, const Buffer& buffer, ChannelParam& live)
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
    struct Span {
        int numFrames; // rendered
        bool goesOn;
    };

    // Calls renderFrame(i, read) for the span's frames until the voice ends; read(channel) gives the sampler's value.
    template<class RenderFrame>
    Span RenderFrames(int offset, int count, RenderFrame renderFrame)
    {
        Playhead<Sampler::kLooped> head(param, rateRatio, endPosition, reachedLoopStart);
        Span span{0, true};
        if (head.IsAtEnd()) {
            span.goesOn = false;
        } else {
            while (true) {
                renderFrame(offset + span.numFrames, [&](int channel) {
                    return sampler.GetSample(head.Position(), channel, head.HasReachedLoopStart());
                });
                ++span.numFrames;
                head.Advance();
                if (span.numFrames == count) break;
                if (head.IsAtEnd()) {
                    span.goesOn = false;
                    break;
                }
            }
        }
        param.position = head.Position();
        reachedLoopStart = head.HasReachedLoopStart();
        return span;
    }

    Sampler sampler;
    ChannelParam& param;

private:
    double rateRatio;   // frames of the buffer per frame of output, at speed 1
    double endPosition; // frames of the buffer
    bool reachedLoopStart = false;
};

// y[n] = y[n-1] + coef (x[n] - y[n-1]), the state kept as float. A state that is not finite would stay so for good, so
// it is dropped when the next span begins.
float FilterStep(float state, double x, float coef)
{
    return static_cast<float>(state + (x - state) * coef);
}

template<class Sampler>
class SpatializedRenderer final : public BaseRenderer<Sampler> {
public:
    SpatializedRenderer(Engine& owner, const Buffer& buffer, ChannelParam& live)
        : BaseRenderer<Sampler>(owner, buffer, live)
    {
    }

    bool Render(Engine*, int offset, int count, ThreadLocalBuffer& buffer) override
    {
        const ChannelParam& p = this->param;
        const Vector3& source = p.sourcePosition;
        const double distance =
            (double{source.x} * source.x + double{source.y} * source.y + double{source.z} * source.z) /
            p.referenceDistanceSq;
        const double attenuation = distance < 1.0 ? 1.0 : 1.0 / std::sqrt(distance);
        const float directTarget = FiniteOrZero(static_cast<float>(p.gain * attenuation));
        // The reverb falls off more slowly than the direct sound.
        const float sendTarget = FiniteOrZero(static_cast<float>(p.reverbSendGain * std::sqrt(attenuation)));
        if (directGain < kUnsetGainMark) {
            directGain = directTarget;
            sendGain = sendTarget;
        }

        float state = FiniteOrZero(filterState), direct = directGain, send = sendGain;
        const auto span = this->RenderFrames(offset, count, [&](int i, auto read) {
            const double s = read(0);
            buffer.reverbSend[i] = static_cast<float>(buffer.reverbSend[i] + send * s);
            state = FilterStep(state, s, p.lowpassCoef);
            const float y = direct * state;
            buffer.scratch[i] = y;
            buffer.lowSend[i] += y;
            direct += (directTarget - direct) * kGainSmoothing;
            send += (sendTarget - send) * kGainSmoothing;
        });
        filterState = state;
        directGain = direct;
        sendGain = send;
        return span.goesOn;
    }

private:
    float directGain = kUnsetGain;
    float sendGain = kUnsetGain;
    float filterState = 0.0f;
};

template<class Sampler>
class NonSpatializedMonoRenderer final : public BaseRenderer<Sampler> {
public:
    using BaseRenderer<Sampler>::BaseRenderer;

    bool Render(Engine*, int offset, int count, ThreadLocalBuffer& buffer) override
    {
        const float gain = FiniteOrZero(this->param.gain), send = FiniteOrZero(this->param.reverbSendGain);
        float state = FiniteOrZero(filterState);
        const auto span = this->RenderFrames(offset, count, [&](int i, auto read) {
            const double s = read(0);
            buffer.reverbSend[i] = static_cast<float>(buffer.reverbSend[i] + send * s);
            state = FilterStep(state, s, this->param.lowpassCoef);
            const float y = state * gain;
            buffer.mix[2 * i] += y;
            buffer.mix[2 * i + 1] += y;
        });
        filterState = state;
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

    bool Render(Engine*, int offset, int count, ThreadLocalBuffer& buffer) override
    {
        const ChannelParam& p = this->param;
        const float gain = FiniteOrZero(p.gain);
        const float send = 0.5f * FiniteOrZero(p.reverbSendGain);
        float left = FiniteOrZero(filterStateLeft), right = FiniteOrZero(filterStateRight);
        const auto span = this->RenderFrames(offset, count, [&](int i, auto read) {
            const double l = read(0), r = read(1);
            buffer.reverbSend[i] = static_cast<float>(buffer.reverbSend[i] + (l + r) * send);
            left = static_cast<float>((l - left) + left);
            right = static_cast<float>((r - right) + right);
            buffer.mix[2 * i] += left * p.lowpassCoef * gain;
            buffer.mix[2 * i + 1] += right * p.lowpassCoef * gain;
        });
        filterStateLeft = left;
        filterStateRight = right;
        return span.goesOn;
    }

private:
    float filterStateLeft = 0.0f;
    float filterStateRight = 0.0f;
};

using Maker = std::unique_ptr<Channel::Renderer> (*)(Engine&, const Buffer&, ChannelParam&);

template<class RendererType>
std::unique_ptr<Channel::Renderer> Make(Engine& engine, const Buffer& buffer, ChannelParam& param)
{
    return std::make_unique<RendererType>(engine, buffer, param);
}

// One row a format, one column a loop mode.
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

std::unique_ptr<Channel::Renderer> MakeRenderer(Interpolation interpolation, Engine& engine, const Buffer& buffer,
                                                ChannelParam& param)
{
    const int channels = buffer.GetNumChannels();
    if (channels != 1 && channels != 2) throw Exception("Invalid channel count: %d", channels);
    const AudioFormat format = buffer.GetFormat();
    const int formatValue = static_cast<int>(format);
    if (formatValue < 0 || formatValue > 2) throw Exception("Invalid audio format: %d", formatValue);

    const bool spatialized = param.isSpatialized && engine.HasSpatializer();
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
void Channel::CreateRenderer(double, Engine* owner)
{
    renderer = MakeRenderer(Interpolation::Linear, *owner, *buffer, param);
}

} // namespace kal
