#include "Kal/Voice/KalChannel.h"

#include "Kal/Base/KalException.h"
#include "Kal/Base/KalInternals.h"
#include "Kal/QFFT/Assert.h"
#include "Kal/Voice/KalChannelHost.h"
#include "Kal/Voice/KalRenderer.h"

#include <cmath>
#include <iterator>
#include <mutex>
#include <utility>

namespace kal {

namespace {

void CheckTime(double time)
{
    if (time < 0.0) throw Exception("Delay is negative.");
    if (std::isnan(time)) throw Exception("NaN delay");
    if (time >= 2147483647.0) throw Exception("Too big delay value.");
}

Channel::PreparedUpdate NewUpdate(const ChannelParam& param, bool isSeek = false)
{
    Channel::UpdateQueue queue;
    return queue.extract(queue.insert({0, {param, isSeek}}));
}

} // namespace

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
    if (engine.expired()) return;
    requested.Validate();
    CheckTime(time);
    Schedule(time, PrepareUpdate(requested));
}

void Channel::Stop(double time)
{
    PreparedUpdate stop = PrepareStop();
    if (stop) CheckTime(time);
    Schedule(time, std::move(stop));
}

void Channel::Seek(double time, double position)
{
    const auto owner = engine.lock();
    if (!owner) return;
    PreparedUpdate seek = NewUpdate({}, true);
    UpdateQueue spent; // freed without the lock
    std::lock_guard lock(owner->channelListMutex);
    spent.swap(*spentUpdates);
    lastParam.position = position;
    seek.mapped().param = lastParam;
    Enqueue(SaturatedToInt32(time), seek);
}

// Everything that looks at lastParam stands under the lock, so that voices may be driven from several threads.
Channel::PreparedUpdate Channel::PrepareUpdate(const ChannelParam& requested) const
{
    const auto owner = engine.lock();
    if (!owner) return {};
    PreparedUpdate update = NewUpdate(requested);
    requested.Validate();

    std::lock_guard lock(owner->channelListMutex);
    if (requested.isLooped != lastParam.isLooped)
        throw Exception("Cannot modify the value of 'isLooped' of ChannelParam.");
    if (requested.isSpatialized != lastParam.isSpatialized)
        throw Exception("Cannot modify the value of 'isSpatialized' of ChannelParam.");
    if (lastParam.shouldStop && !requested.shouldStop)
        throw Exception("Cannot cancel stopping the channel (shouldStop set to false).");
    return update;
}

Channel::PreparedUpdate Channel::PrepareStop() const
{
    const auto owner = engine.lock();
    if (!owner) return {};
    PreparedUpdate stop = NewUpdate({});
    std::lock_guard lock(owner->channelListMutex);
    lastParam.Validate();
    stop.mapped().param = lastParam;
    stop.mapped().param.shouldStop = true;
    return stop;
}

void Channel::Schedule(double time, PreparedUpdate&& update) noexcept
{
    const auto owner = engine.lock();
    if (!owner || !update) return;
    UpdateQueue spent; // freed without the lock
    std::lock_guard lock(owner->channelListMutex);
    spent.swap(*spentUpdates);
    const auto key = SaturatedToInt32(time);
    ChannelParam& next = update.mapped().param;
    next.shouldStop = next.shouldStop || lastParam.shouldStop;
    lastParam = next;
    if (isNew && !isUnheard && next.shouldStop && key <= startDelay) { // once a block has it, the countdown is its own
        isUnheard = true;
        ++owner->numUnheard;
    }
    Enqueue(key, update);
}

bool Channel::EndIfUnheard() noexcept
{
    if (isNew && isUnheard) playing = false;
    return !playing;
}

void Channel::Enqueue(std::int32_t key, PreparedUpdate& update) noexcept
{
    const auto behind = pendingUpdates->upper_bound(key);
    if (behind != pendingUpdates->begin() && !update.mapped().isSeek) {
        auto& [latestKey, latest] = *std::prev(behind);
        if (latestKey == key && !latest.isSeek && !latest.isCarried) {
            latest = update.mapped();
            return;
        }
    }
    update.key() = key;
    pendingUpdates->insert(behind, std::move(update));
}

void Channel::Prerender()
{
    isNew = false;
    if (spentUpdates->empty())
        std::swap(spentUpdates, renderUpdates);
    else
        spentUpdates->merge(*renderUpdates);
    std::swap(renderUpdates, pendingUpdates);
}

// A change that lies beyond this block is applied right after its last span and, carried over, once more when it is
// due: a change never waits longer than to the end of the block in which it is first seen.
void Channel::RenderBlock(ChannelHost& owner, int numFrames, ThreadLocalBuffer& buses) noexcept
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
        node.mapped().isCarried |= numFrames > 0; // a block of no frames has seen nothing
        pendingUpdates->insert(std::move(node));
    }
}

} // namespace kal
