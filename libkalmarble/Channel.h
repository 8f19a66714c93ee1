#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Voice/KalChannel.h"
#include "include/KALMarble.h"

#include <memory>

namespace kalmarble {

class Context;

using PlayParam = KalPlayParam;

/// The binding's handle on one positional sound: turns the host's parameters, the sound's origin and the context's
/// listener into the record of an engine voice, and keeps it up to date. Used on the game thread only; the context is
/// held weakly. Letting go of a channel does not stop its voice.
class Channel {
public:
    /// [control] Starts the voice and stops the oldest sounds beyond the polyphony limit; the new channel is not yet
    /// among the context's, so it is never the one stopped. Throws what Engine::CreateChannel throws.
    /// @param origin world coordinates, or relative to the listener if isRelative
    Channel(const std::shared_ptr<Context>& context, std::shared_ptr<const kal::Buffer> buffer, const PlayParam& param,
            const kal::Vector3& origin, bool isRelative);

    /// [control] Sends the voice what has changed. @returns whether the channel is to be kept
    bool Update();

    /// [control] Stops the voice now.
    void Terminate();

    /// [control] Stops the voice `time` samples into the next block. The caller holds the context's engineMutex.
    void Terminate(double time);

private:
    kal::ChannelParam CreateParam() const;

    std::weak_ptr<Context> context;
    std::shared_ptr<kal::Channel> ychannel;
    PlayParam param;
    kal::Vector3 origin;
    bool relative;
    double creationTime; ///< seconds on the monotonic clock
    bool isMono;
    kal::ChannelParam currentParam; ///< last sent to the voice
};

} // namespace kalmarble
