#pragma once

#include <cstdint>
#include <ebur128.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace kalrender {

/// Measures a stereo signal as it goes by.
class Meter {
public:
    /// @param samplingRate Hz, a whole number
    explicit Meter(int samplingRate);

    void Add(const float* frames, int numFrames);

    /// Since the last call, of either ear, linear; for level meters.
    struct Levels {
        float peak[2] = {0, 0}, rms[2] = {0, 0};
    };
    Levels TakeLevels();

    double PeakDb() const;   ///< of the louder ear, dBFS
    double Loudness() const; ///< LUFS, of all so far, by EBU R 128; -inf for silence
    std::int64_t NumFrames() const { return numFrames; }

    /// Peaks, RMS, loudness and clipped frames. What silence leaves undefined is null.
    nlohmann::json Report() const;

private:
    struct Destroy {
        void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
    };

    std::unique_ptr<ebur128_state, Destroy> loudness;
    std::int64_t numFrames = 0, clippedFrames = 0;
    double peak[2] = {0, 0}, energy[2] = {0, 0};
    Levels recent;
    std::int64_t recentFrames = 0;
};

} // namespace kalrender
