#pragma once

#include "Meter.h"

#include <functional>

namespace kalrender {

/// Plays stereo sound through the sound device, and shows its level.
class Player {
public:
    /// @throws std::runtime_error if there is no device that plays at this rate
    Player(int samplingRate, bool showsLevels);
    ~Player();

    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Plays these frames after those before; waits until not much is left to be played, or until cancelled.
    void Play(const float* frames, int numFrames, const Meter::Levels& levels,
              const std::function<bool()>& isCancelled);

    /// Waits until all has been played, or until cancelled.
    void Finish(const std::function<bool()>& isCancelled);

private:
    void WaitUntilLeft(double seconds, const std::function<bool()>& isCancelled) const;

    int samplingRate;
    bool showsLevels;
    unsigned device = 0;
};

} // namespace kalrender
