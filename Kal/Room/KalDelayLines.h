#pragma once

#include "Kal/Base/KalInternals.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace kal {

/// What the delay lines but the reverb's share: a ring and a whole number of frames to look back. Each writes a frame
/// before it reads, so a requested delay of 0 has no latency. One thread at a time; only construction allocates.
class DelayRing {
protected:
    /// @param maxDelay frames, its whole part is `size`  @param spare frames kept beyond `size`
    DelayRing(float maxDelay, int spare);

    /// Asserts "this->delay <= this->size" and "this->delay > 0".
    void Set(int requestedDelay);

    void Write(float x)
    {
        ring[writeIndex] = x;
        writeIndex = writeIndex + 1 == ring.size() ? 0 : writeIndex + 1;
    }

    /// The frame that was written `age` writes ago, 1 ... size + spare; 1 is the latest.
    float Written(int age) const
    {
        const auto back = static_cast<std::size_t>(age);
        return ring[back <= writeIndex ? writeIndex - back : writeIndex + ring.size() - back];
    }

    std::vector<float> ring;
    std::size_t writeIndex = 0;
    int size;
    int delay = 1; ///< how many writes ago the frame to read was written: one more than the requested delay
};

/// Delay by a whole number of frames: y[n] = x[n - floor(d)].
class ExactDelayLine : private DelayRing {
public:
    /// [control] Silent line. Asserts as SetDelay does.
    /// @param requestedDelay frames, 0 or more  @param maxDelay frames, more than the delay
    ExactDelayLine(float requestedDelay, float maxDelay);

    /// [render] Moves the reading point; what is in the ring stays.
    /// Asserts "this->delay <= this->size" and "this->delay > 0": d is 0 ... floor(maxDelay) - 1.
    void SetDelay(float d);
    void SetDelay(int d) { Set(d); }

    /// [render] Delays one sample.
    float ProcessSample(float x)
    {
        Write(x);
        return Written(delay);
    }

    /// [render] Delays a block, exactly as sample by sample.
    void Process(unsigned numFrames, const float* in, float* out);
};

/// Delay of one of a reverb's lines, by a whole number of frames: a fixed ring whose length, a power of two, makes
/// wrapping a mask. Frames are read before the frame of the same time is written, so a delay of d lags by d frames.
class ReverbDelayLine {
public:
    static constexpr int size = 32768; ///< frames; the longest delay

    /// [control] Asserts "this->delay > 0" and "this->delay <= size".
    /// @param initialDelay frames; the delay is one more than its whole part
    /// @param firstIndex where writing starts, 0 ... size - 1; of no effect on the sound
    ReverbDelayLine(float initialDelay, int firstIndex) : writeIndex(firstIndex)
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

    /// [render] The delayed frame; comes before the Write of the same time.
    float Read() const { return ring[ReadIndex()]; }

    /// [render] Puts a frame in and goes on to the next.
    void Write(float x)
    {
        ring[writeIndex] = x;
        Advance(1);
    }

    /// [render] The next frames to read and to write, for FramesToWrap() frames: for loops over many frames, which end
    /// with Advance().
    const float* ReadPointer() const { return &ring[ReadIndex()]; }
    float* WritePointer() { return &ring[writeIndex]; }
    int FramesToWrap() const { return size - std::max(writeIndex, ReadIndex()); }
    void Advance(int frames) { writeIndex = (writeIndex + frames) & (size - 1); }

    /// [render] Asks for what the next frames will read and write, so that it comes to the caches meanwhile.
    void Prefetch(int frames) const
    {
        constexpr int cacheLine = 64 / sizeof(float);
        for (int i = 0; i < frames + cacheLine; i += cacheLine) {
            __builtin_prefetch(&ring[(ReadIndex() + i) & (size - 1)], 0);
            __builtin_prefetch(&ring[(writeIndex + i) & (size - 1)], 1);
        }
    }

    /// [render] The largest magnitude among the last `frames` written, 0 ... size.
    float WrittenPeak(int frames) const
    {
        const int early = std::max(frames - writeIndex, 0); // those before the wrap
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

// The two fractional lines take no part in the engine and are kept on purpose.

/// Delay by a fraction, y[n] = (1 - f) x[n - k] + f x[n - k - 1] with k = floor(d), f = d - k: exact in delay at low
/// frequencies, a gentle low-pass at high ones.
class LinearDelayLine : private DelayRing {
public:
    /// [control] Silent line. Asserts as SetDelay does.
    LinearDelayLine(float requestedDelay, float maxDelay);

    /// [render] As ExactDelayLine::SetDelay; also asserts "!std::isnan(coef)".
    void SetDelay(float d);

    /// [render] Delays one sample.
    float ProcessSample(float x)
    {
        Write(x);
        const float late = Written(delay);
        return late + coef * (Written(delay + 1) - late);
    }

private:
    float coef = 0.0f; ///< f
};

/// Delay by a fraction through a first-order all-pass, y[n] = c (x[n - k] - y[n-1]) + x[n - k - 1] with k = floor(d),
/// f = d - k, c = (1 - f) / (1 + f): flat in level at every frequency, exact in delay at low ones.
class AllpassDelayLine : private DelayRing {
public:
    /// [control] Silent line. Asserts as SetDelay does.
    AllpassDelayLine(float requestedDelay, float maxDelay);

    /// [render] As ExactDelayLine::SetDelay; also asserts "!std::isnan(coef)".
    void SetDelay(float d);

    /// [render] Delays one sample.
    float ProcessSample(float x)
    {
        Write(x);
        last = coef * (Written(delay) - last) + Written(delay + 1);
        return last;
    }

private:
    float coef = 1.0f; ///< c
    float last = 0.0f; ///< y[n-1]
};

/// All-pass diffuser, y[n] = (x[n] - y[n-D]) g + x[n-D]: flat in level, smeared in time. One thread at a time.
class AllpassFilter1 {
public:
    /// [control] @param length D in frames, 1 or more  @param coefficient g, below 1 in magnitude
    AllpassFilter1(int length, float coefficient);

    /// [render] Filters one sample.
    float ProcessSample(float x)
    {
        const double y = Step(x, pastX[index], pastY[index]);
        pastX[index] = x;
        pastY[index] = y;
        if (++index == pastX.size()) index = 0;
        return static_cast<float>(y);
    }

    /// [render] Filters a block in place, exactly as sample by sample.
    void Process(unsigned numFrames, float* block);

    /// [render] The largest magnitude among the inputs and outputs that it holds.
    double Level() const
    {
        return std::accumulate(pastY.begin(), pastY.end(), double{Peak(pastX.size(), pastX.data())},
                               [](double peak, double y) { return std::max(peak, std::fabs(y)); });
    }

    /// [render] Forgets past input.
    void Mute();

private:
    double Step(double x, double xPast, double yPast) const { return (x - yPast) * coef + xPast; }

    double coef;
    std::vector<float> pastX;  ///< the last D inputs
    std::vector<double> pastY; ///< and outputs: a short line waits for its own last one, and longer if it is rounded
    std::size_t index = 0;     ///< of the oldest of them
};

} // namespace kal
