#include "libkalmarble/Channel.h"

#include "Kal/KalEngine.h"
#include "Kal/QFFT/Assert.h"
#include "libkalmarble/Clock.h"
#include "libkalmarble/Context.h"

#include <cmath>
#include <mutex>
#include <utility>

namespace kalmarble {

namespace {

float NumberOrZero(float x)
{
    return std::isnan(x) ? 0.0f : x;
}

// What is heard of a change; NaN always differs. A changed lowpassCoef alone is not worth an update.
bool Differs(const kal::ChannelParam& a, const kal::ChannelParam& b)
{
    return a.sourcePosition.x != b.sourcePosition.x || a.sourcePosition.y != b.sourcePosition.y ||
           a.sourcePosition.z != b.sourcePosition.z || a.gain != b.gain || a.reverbSendGain != b.reverbSendGain;
}

} // namespace

Channel::Channel(const std::shared_ptr<Context>& owner, std::shared_ptr<const kal::Buffer> buffer,
                 const PlayParam& playParam, const kal::Vector3& position, bool isRelative)
    : context(owner),
      param(playParam),
      origin(position),
      relative(isRelative),
      creationTime(Now()),
      isMono(buffer->GetNumChannels() == 1),
      currentParam(CreateParam())
{
    std::lock_guard lock(owner->engineMutex);
    const double offset = owner->StartOffset();
    ychannel = owner->engine->CreateChannel(offset, std::move(buffer), currentParam);
    owner->LimitPolyphonics(offset);
}

kal::ChannelParam Channel::CreateParam() const
{
    kal::ChannelParam p = Context::UnplacedParam(param);
    const auto owner = context.lock();
    if (!owner) return p;

    if (relative) {
        p.sourcePosition = origin;
    } else {
        p.sourcePosition = owner->listener.ToListener(origin);
        owner->QueryOcclusion(origin, p.lowpassCoef);
    }
    const auto [x, y, z] = p.sourcePosition;
    const float distanceSq = x * x + y * y + z * z;

    if (isMono) {
        // The spatialized renderer attenuates by distance itself.
        p.isSpatialized = true;
        p.reverbSendGain = param.volume;
    } else {
        const float a = distanceSq / param.referenceDistanceSq;
        const float attenuation = a < 1.0f ? 1.0f : 1.0f / a;
        p.gain = param.volume * std::sqrt(attenuation);
        p.reverbSendGain = param.volume * std::sqrt(std::sqrt(attenuation));
    }

    const float reach = 1.5f * owner->reverbParam.roomSize;
    if (distanceSq > reach * reach) p.reverbSendGain *= 1.0f / std::sqrt(distanceSq / (reach * reach));

    for (float* number : {&p.gain, &p.reverbSendGain, &p.lowpassCoef}) *number = NumberOrZero(*number);
    return p;
}

bool Channel::Update()
{
    KAL_ASSERT("libkalmarble/Context", ychannel != nullptr);
    const auto owner = context.lock();
    if (!owner || !ychannel->IsPlaying()) return false;

    const kal::ChannelParam p = CreateParam();
    if (Differs(p, currentParam)) {
        std::lock_guard lock(owner->engineMutex);
        ychannel->UpdateChannelParam(owner->StartOffset(), p);
        currentParam = p;
    }
    return true;
}

void Channel::Terminate()
{
    const auto owner = context.lock();
    if (!owner) return;
    std::lock_guard lock(owner->engineMutex);
    Terminate(owner->StartOffset());
}

void Channel::Terminate(double time)
{
    ychannel->Stop(time);
}

} // namespace kalmarble
