#pragma once

#include "Kal/KalEngine.h"
#include "Kal/Voice/KalChannel.h"
#include "include/KALMarble.h"
#include "libkalmarble/Listener.h"
#include "libkalmarble/VoiceRecord.h"

#include <memory>

namespace kalmarble {

/// What a placed sound is heard through: the listener, the room and the host's walls.
struct Surroundings {
    KalOcclusionQuery occlusionQuery = nullptr;
    void* occlusionQueryUserData = nullptr;
    Listener listener;
    float roomSize = 0.0f; ///< metres

    /// [control] Asks the host about the wall when the sound is one in the world.
    kal::ChannelParam RecordOf(const PlacedSound& sound) const;
};

/// The binding's handle on one positional sound: keeps its engine voice's record as the surroundings ask. Used on the
/// game thread only. Letting go of a channel does not stop its voice.
class Channel {
public:
    /// [control] Works out the record; nothing sounds yet.
    /// @param origin world coordinates, or relative to the listener if isRelative
    Channel(const Surroundings& surroundings, bool isMono, const PlayParam& param, const kal::Vector3& origin,
            bool isRelative);

    /// [control] Starts the voice `time` samples into the next block. Throws what Engine::CreateChannel throws.
    void Start(kal::Engine& engine, double time, std::shared_ptr<const kal::Buffer> buffer);

    /// [control] False for good once the voice has ended.
    bool IsPlaying() const;

    /// A new record on its way to the voice, or none.
    struct Change {
        kal::Channel::PreparedUpdate update;
        kal::ChannelParam record;
    };

    /// [control] The record that the surroundings ask for, if the voice plays and anything that is heard of it differs
    /// from the last one.
    Change PrepareUpdate(const Surroundings& surroundings) const;

    /// [control] The end of the voice.
    Change PrepareStop() const { return {ychannel->PrepareStop(), currentParam}; }

    /// [control] Sends the voice a change that this channel prepared, to hold from `time` samples into the next block.
    void Commit(double time, Change& change) noexcept;

private:
    std::shared_ptr<kal::Channel> ychannel;
    PlacedSound sound;
    kal::ChannelParam currentParam; ///< last sent to the voice
};

} // namespace kalmarble
