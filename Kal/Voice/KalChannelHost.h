#pragma once

#include "Kal/Base/KalLock.h"

#include <memory>

namespace kal {

class Spatializer;

/// What a voice needs of the engine that plays it, which derives from this. Voices hold it weakly.
class ChannelHost {
public:
    ChannelHost(const ChannelHost&) = delete;
    ChannelHost& operator=(const ChannelHost&) = delete;

    /// [any] Output rate, Hz.
    double SamplingRate() const { return samplingRate; }

    /// [any] Null without a data set, or with one in which a direction may have no measurement.
    const std::shared_ptr<Spatializer>& GetSpatializer() const { return spatializer; }

    /// Guards the list of voices and every voice's scheduled changes. It is held briefly, for an insertion or a swap.
    Mutex channelListMutex;

    /// How many voices of the next block will end before they begin. Under channelListMutex.
    unsigned numUnheard = 0;

protected:
    explicit ChannelHost(double rate) : samplingRate(rate) {}
    ~ChannelHost() = default;

    double samplingRate;
    std::shared_ptr<Spatializer> spatializer;
};

} // namespace kal
