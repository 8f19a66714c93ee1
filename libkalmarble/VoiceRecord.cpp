#include "libkalmarble/VoiceRecord.h"

#include <cmath>

namespace kalmarble {

namespace {

float NumberOrZero(float x)
{
    return std::isnan(x) ? 0.0f : x;
}

} // namespace

kal::ChannelParam VoiceRecord(const PlayParam& param)
{
    kal::ChannelParam p;
    p.speed = param.speed;
    p.gain = param.volume;
    p.referenceDistanceSq = param.referenceDistanceSq;
    return p;
}

kal::ChannelParam VoiceRecord(const PlacedSound& sound, const Listener& listener, float roomSize, float wall)
{
    kal::ChannelParam p = VoiceRecord(sound.param);
    if (sound.isRelative) {
        p.sourcePosition = sound.origin;
    } else {
        p.sourcePosition = listener.ToListener(sound.origin);
        p.lowpassCoef = wall;
    }
    const auto [x, y, z] = p.sourcePosition;
    const float distanceSq = x * x + y * y + z * z;

    const float volume = sound.param.volume;
    if (sound.isMono) {
        p.isSpatialized = true;
        p.reverbSendGain = volume;
    } else {
        const float a = distanceSq / sound.param.referenceDistanceSq;
        const float attenuation = a < 1.0f ? 1.0f : 1.0f / a;
        p.gain = volume * std::sqrt(attenuation);
        p.reverbSendGain = volume * std::sqrt(std::sqrt(attenuation));
    }

    const float reach = 1.5f * roomSize;
    if (distanceSq > reach * reach) p.reverbSendGain *= 1.0f / std::sqrt(distanceSq / (reach * reach));

    p.gain = NumberOrZero(p.gain);
    p.reverbSendGain = NumberOrZero(p.reverbSendGain);
    p.lowpassCoef = NumberOrZero(p.lowpassCoef);
    return p;
}

} // namespace kalmarble
