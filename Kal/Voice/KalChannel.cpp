#include "Kal/Voice/KalChannel.h"

#include "Kal/Base/KalException.h"
#include "Kal/Base/KalInternals.h"
#include "Kal/QFFT/Assert.h"
#include "Kal/Voice/KalChannelHost.h"
#include "Kal/Voice/KalRenderer.h"

#include <cmath>
#include <mutex>
#include <utility>

namespace kal {

void ChannelParam::Validate() const
{
    if (speed <= 0.0) throw Exception("Speed is not positive.");
    if (std::isnan(speed)) throw Exception("NaN speed.");
    if (std::isnan(position)) throw Exception("NaN position.");
    if (std::isnan(gain)) throw Exception("NaN gain.");
    if (isLooped && loopStart >= loopEnd) throw Exception("Invalid loop position.");
}

Channel::Channel(std::weak_ptr<ChannelHost> owner, double delay, std::shared_ptr<const Buffer> sound,
                 const ChannelParam& initial)
    : engine(std::move(owner)),
      buffer(std::move(sound)),
      param(initial),
      lastParam(initial),
      startDelay(SaturatedToInt32(delay))
{
    if (const auto strong = engine.lock()) CreateRenderer(delay - startDelay, strong.get());
}

Channel::~Channel() = default;

void Channel::UpdateChannelParam(double time, const ChannelParam& requested)
{
    if (const auto owner = engine.lock()) Schedule(*owner, time, requested, false);
}

void Channel::Stop(double time)
{
    if (const auto owner = engine.lock()) Schedule(*owner, time, {}, true);
}

void Channel::Seek(double time, double position)
{
    const auto owner = engine.lock();
    if (!owner) return;
    std::lock_guard lock(owner->channelListMutex);
    lastParam.position = position;
    Enqueue(time, {lastParam, true});
}

// Everything that looks at lastParam stands under the lock, so that voices may be driven from several threads; nothing
// is changed before the last check has passed.
void Channel::Schedule(ChannelHost& owner, double time, const ChannelParam& requested, bool isStop)
{
    std::lock_guard lock(owner.channelListMutex);
    ChannelParam next = isStop ? lastParam : requested;
    if (isStop) next.shouldStop = true;

    next.Validate();
    if (time < 0.0) throw Exception("Delay is negative.");
    if (std::isnan(time)) throw Exception("NaN delay");
    if (time >= 2147483647.0) throw Exception("Too big delay value.");
    if (next.isLooped != lastParam.isLooped) throw Exception("Cannot modify the value of 'isLooped' of ChannelParam.");
    if (next.isSpatialized != lastParam.isSpatialized)
        throw Exception("Cannot modify the value of 'isSpatialized' of ChannelParam.");
    if (lastParam.shouldStop && !next.shouldStop)
        throw Exception("Cannot cancel stopping the channel (shouldStop set to false).");

    Enqueue(time, {next, false});
    lastParam = next;
}

void Channel::Enqueue(double time, const ChannelUpdate& update)
{
    spentUpdates->clear();
    pendingUpdates->emplace(SaturatedToInt32(time), update);
}

void Channel::Prerender()
{
    if (spentUpdates->empty())
        std::swap(spentUpdates, renderUpdates);
    else
        spentUpdates->merge(*renderUpdates);
    std::swap(renderUpdates, pendingUpdates);
}

// A change that lies beyond this block is applied right after its last span and, carried over, once more when it is
// due: a change never waits longer than to the end of the block in which it is first seen.
void Channel::RenderBlock(ChannelHost& owner, int numFrames, ThreadLocalBuffer& buses)
{
    auto next = renderUpdates->begin();
    int pos = 0;
    int remaining = numFrames;
    while (remaining > 0) {
        for (; next != renderUpdates->end() && next->first <= pos; ++next) InternalUpdateChannelParam(next->second);

        const bool isDueInside = next != renderUpdates->end() && next->first < pos + remaining;
        const int samplesToProcess = isDueInside ? next->first - pos : remaining;
        KAL_ASSERT("Kal/KalEngine", samplesToProcess > 0);
        Render(owner, pos, samplesToProcess, buses);

        if (next != renderUpdates->end()) InternalUpdateChannelParam((next++)->second);
        pos += samplesToProcess;
        remaining -= samplesToProcess;
    }
}

void Channel::InternalUpdateChannelParam(const ChannelUpdate& update)
{
    const double position = param.position;
    param = update.param;
    if (!update.isSeek) param.position = position;
    renderer->ParamUpdated();
}

void Channel::Render(ChannelHost& owner, int offset, int count, ThreadLocalBuffer& buses)
{
    if (!playing) return;
    if (startDelay >= count) {
        startDelay -= count;
        return;
    }
    offset += startDelay;
    count -= startDelay;
    startDelay = 0;
    if (param.shouldStop || !renderer->Render(&owner, offset, count, buses)) playing = false;
}

// Entries move as nodes: nothing is allocated or freed.
void Channel::Postrender(std::int32_t numFrames)
{
    for (auto entry = renderUpdates->lower_bound(numFrames); entry != renderUpdates->end();) {
        auto node = renderUpdates->extract(entry++);
        node.key() -= numFrames;
        pendingUpdates->insert(std::move(node));
    }
}

} // namespace kal
