#pragma once

#include <array>
#include <cstdint>
#include <vector>

// The one workload that every renderer under comparison gets: looping mono voices, 16 bit at 44.1 kHz, spread all
// around a listener.

namespace scene {

constexpr double kRate = 48000.0;
constexpr double kSampleRate = 44100.0;
constexpr int kBlock = 512;
constexpr double kBlockMicroseconds = kBlock / kRate * 1e6;

enum class Motion {
    Static,          ///< nobody moves
    Moving,          ///< the listener turns by a degree every block, so that every voice gets a new direction
    MovingWithSends, ///< and every voice feeds the reverb
};

/// A sound of `numFrames` frames, each voice's with a length and a pitch of its own.
std::vector<std::int16_t> Sound(int voice, int numFrames);

/// Where a voice is in a block: right, up and ahead of the listener, 1 to 10 m away.
std::array<float, 3> Position(int voice, int block, Motion motion);

/// Something that renders the workload.
class Renderer {
public:
    virtual ~Renderer() = default;

    /// Moves the voices; not timed.
    virtual void Move(int block) = 0;

    /// Renders one block of interleaved stereo; timed.
    virtual void Render(float* out) = 0;

    /// Direction sides that the last block convolved; -1 where there is no such thing.
    virtual int ActiveSides() const { return -1; }
};

} // namespace scene
