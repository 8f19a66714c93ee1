#pragma once

#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#if defined(__SSE2__)
#include <xmmintrin.h>
#else
#error "Rendering needs flush-to-zero arithmetic, which is written for x86 with SSE2 alone."
#endif

namespace kal {

/// Sets this thread's floating-point state to the library's own while it lives: flush-to-zero and denormals-are-zero,
/// because decaying tails would otherwise end as denormals and triple the cost of a block; rounding to nearest and no
/// traps, so that an unusual host thread hears the same. The caller's state comes back at the end.
class ScopedFlushToZero {
public:
    ScopedFlushToZero() { _mm_setcsr(kState); }
    ~ScopedFlushToZero() { _mm_setcsr(saved); }
    ScopedFlushToZero(const ScopedFlushToZero&) = delete;
    ScopedFlushToZero& operator=(const ScopedFlushToZero&) = delete;

private:
    static constexpr unsigned kState = 0x8000u | 0x0040u | 0x1f80u; // FTZ, DAZ, all exceptions masked, to nearest
    unsigned saved = _mm_getcsr();
};

namespace internals {

/// Frames that one stage after the other processes at a time, so that what lies between them is small and of fixed
/// size.
inline constexpr unsigned kSpan = 256;

/// Beyond this a sample is no sound: no chain of gains in the library takes it to infinity.
inline constexpr float kLoudest = 1e20f;

/// Below this, 600 dB under full scale, a decaying state counts as silence.
inline constexpr float kSilence = 1e-30f;

/// Whether x is a number that filters may be fed with: not NaN, infinite or absurdly large.
inline bool IsSound(float x)
{
    return std::fabs(x) <= kLoudest;
}

/// x, or 0 when it is no sound: what keeps one bad sample from silencing a filter for good.
inline float SoundOrZero(float x)
{
    return IsSound(x) ? x : 0.0f;
}

/// The largest magnitude among n samples; infinity when one of them is not a number. Compares bit patterns, which order
/// magnitudes as numbers do and NaN above all, so that compilers make a vector loop of it.
inline float Peak(std::size_t n, const float* x)
{
    std::int32_t peak = 0;
    for (std::size_t i = 0; i < n; ++i) peak = std::max(peak, std::bit_cast<std::int32_t>(x[i]) & 0x7fffffff);
    return std::bit_cast<float>(std::min(peak, 0x7f800000));
}

/// floor(x) kept within ±1e9; NaN gives 1e9. A plain conversion of such a value would be undefined.
inline int SaturatedFloor(float x)
{
    return static_cast<int>(std::floor(std::max(std::min(1e9f, x), -1e9f)));
}

/// A line of the reverb: a fixed ring whose length, a power of two, makes wrapping a mask. Frames are read before the
/// frame of the same time is written, so a delay of d lags by d frames.
class ExactDelayLine {
public:
    static constexpr int size = 32768; ///< frames; the longest delay

    /// [control] Asserts "this->delay > 0" and "this->delay <= size".
    /// @param initialDelay frames; the delay is one more than its whole part
    /// @param firstIndex where writing starts, 0 ... size - 1; of no effect on the sound
    ExactDelayLine(float initialDelay, int firstIndex) : writeIndex(firstIndex)
    {
        SetDelay(SaturatedFloor(initialDelay) + 1);
    }

    /// [render] Moves the reading point; what is in the ring stays. Asserts as the constructor does.
    void SetDelay(int frames)
    {
        delay = frames;
        KAL_ASSERT("Kal/KalInternals", this->delay > 0);
        KAL_ASSERT("Kal/KalInternals", this->delay <= size);
    }

    int Delay() const { return delay; }

    float Read() const { return ring[ReadIndex()]; }

    void Write(float x)
    {
        ring[writeIndex] = x;
        Advance(1);
    }

    /// [render] The next frames to read and to write, for FramesToSeam() frames: for loops over many frames, which end
    /// with Advance().
    const float* ReadPointer() const { return &ring[ReadIndex()]; }
    float* WritePointer() { return &ring[writeIndex]; }
    int FramesToSeam() const { return size - std::max(writeIndex, ReadIndex()); }
    void Advance(int frames) { writeIndex = (writeIndex + frames) & (size - 1); }

    /// [render] The largest magnitude among the last `frames` written, 0 ... size.
    float WrittenPeak(int frames) const
    {
        const int early = std::max(frames - writeIndex, 0); // those before the seam
        return std::max(Peak(static_cast<std::size_t>(early), ring.data() + size - early),
                        Peak(static_cast<std::size_t>(frames - early), ring.data() + writeIndex - (frames - early)));
    }

    /// [render] Forgets past input; the delay stays.
    void Mute() { ring.fill(0.0f); }

private:
    int ReadIndex() const { return (writeIndex - delay) & (size - 1); }

    std::array<float, size> ring{};
    int writeIndex;
    int delay;
};

} // namespace internals

} // namespace kal
