#pragma once

#include <cstddef>
#include <vector>

namespace kal {

/// What the delay lines share: a ring and a whole number of frames to look back. Each writes a frame before it reads,
/// so a requested delay of 0 has no latency. One thread at a time; only construction allocates.
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
        const float y = Step(x, pastX[index], pastY[index]);
        pastX[index] = x;
        pastY[index] = y;
        if (++index == pastX.size()) index = 0;
        return y;
    }

    /// [render] Filters a block in place, exactly as sample by sample.
    void Process(unsigned numFrames, float* block);

    /// [render] Forgets past input.
    void Mute();

private:
    float Step(float x, float xPast, float yPast) const { return static_cast<float>((x - yPast) * coef + xPast); }

    double coef;
    std::vector<float> pastX, pastY; ///< the last D inputs and outputs
    std::size_t index = 0;           ///< of the oldest of them
};

} // namespace kal
