#include "Voice.h"

#include "libkalmarble/VoiceRecord.h"

#include <cmath>

namespace kal::web {

namespace {

template<class T>
void TakeNumber(T& number, T change)
{
    if (!std::isnan(change)) number = change;
}

} // namespace

void VoiceSettings::Take(const VoiceSettings& change)
{
    TakeNumber(position.x, change.position.x);
    TakeNumber(position.y, change.position.y);
    TakeNumber(position.z, change.position.z);
    TakeNumber(gain, change.gain);
    TakeNumber(speed, change.speed);
    TakeNumber(occlusion, change.occlusion);
    TakeNumber(referenceDistance, change.referenceDistance);
}

ChannelParam Voice::Record(const kalmarble::Listener& listener, float roomSize) const
{
    const auto distance = static_cast<float>(settings.referenceDistance);
    const KalPlayParam param = {static_cast<float>(settings.gain), 1.0f, distance * distance};
    ChannelParam record = start.place == Place::None
                              ? kalmarble::VoiceRecord(param)
                              : kalmarble::VoiceRecord({param, settings.position, start.place == Place::Listener,
                                                        buffer->GetNumChannels() == 1},
                                                       listener, roomSize, 1.0f);
    record.speed = settings.speed;
    record.lowpassCoef = static_cast<float>(1.0 - settings.occlusion);
    record.position = start.offset;
    record.isLooped = start.isLooped;
    record.loopStart = start.loopStart;
    record.loopEnd = start.loopEnd;
    return record;
}

} // namespace kal::web
