#include "libkalmarble/Channel.h"

#include "Kal/QFFT/Assert.h"

#include <utility>

namespace kalmarble {

namespace {

// What is heard of a change; NaN always differs. A changed lowpassCoef alone is not worth an update.
bool Differs(const kal::ChannelParam& a, const kal::ChannelParam& b)
{
    return a.sourcePosition.x != b.sourcePosition.x || a.sourcePosition.y != b.sourcePosition.y ||
           a.sourcePosition.z != b.sourcePosition.z || a.gain != b.gain || a.reverbSendGain != b.reverbSendGain;
}

} // namespace

kal::ChannelParam Surroundings::RecordOf(const PlacedSound& sound) const
{
    float wall = 1.0f;
    if (!sound.isRelative) {
        const KalVector3 world{sound.origin.x, sound.origin.y, sound.origin.z};
        occlusionQuery(&world, &wall, occlusionQueryUserData);
    }
    return VoiceRecord(sound, listener, roomSize, wall);
}

Channel::Channel(const Surroundings& surroundings, bool isMono, const PlayParam& param, const kal::Vector3& origin,
                 bool isRelative)
    : sound{param, origin, isRelative, isMono}, currentParam(surroundings.RecordOf(sound))
{
}

void Channel::Start(kal::Engine& engine, double time, std::shared_ptr<const kal::Buffer> buffer)
{
    ychannel = engine.CreateChannel(time, std::move(buffer), currentParam);
}

bool Channel::IsPlaying() const
{
    KAL_ASSERT("libkalmarble/Context", ychannel != nullptr);
    return ychannel->IsPlaying();
}

Channel::Change Channel::PrepareUpdate(const Surroundings& surroundings) const
{
    if (!IsPlaying()) return {};
    const kal::ChannelParam record = surroundings.RecordOf(sound);
    if (!Differs(record, currentParam)) return {};
    return {ychannel->PrepareUpdate(record), record};
}

void Channel::Commit(double time, Change& change) noexcept
{
    if (!change.update) return;
    ychannel->Schedule(time, std::move(change.update));
    currentParam = change.record;
}

} // namespace kalmarble
