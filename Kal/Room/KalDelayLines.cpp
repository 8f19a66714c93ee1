#include "Kal/Room/KalDelayLines.h"

#include "Kal/Base/KalInternals.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <cmath>

namespace kal {

DelayRing::DelayRing(float maxDelay, int spare) : size(SaturatedFloor(maxDelay))
{
    KAL_ASSERT("Kal/KalUtils", this->delay <= this->size);
    ring.resize(static_cast<std::size_t>(size) + static_cast<std::size_t>(spare));
}

void DelayRing::Set(int requestedDelay)
{
    delay = requestedDelay + 1;
    KAL_ASSERT("Kal/KalUtils", this->delay <= this->size);
    KAL_ASSERT("Kal/KalUtils", this->delay > 0);
}

ExactDelayLine::ExactDelayLine(float requestedDelay, float maxDelay) : DelayRing(maxDelay, 0)
{
    SetDelay(requestedDelay);
}

void ExactDelayLine::SetDelay(float d)
{
    Set(SaturatedFloor(d));
}

// Runs end where the ring does. Frames that a run reads and writes itself have to be written first, all others may be
// about to be overwritten.
void ExactDelayLine::Process(unsigned numFrames, const float* in, float* out)
{
    const auto lag = static_cast<std::size_t>(delay - 1);
    for (std::size_t done = 0; done < numFrames;) {
        const std::size_t readIndex = lag <= writeIndex ? writeIndex - lag : writeIndex + ring.size() - lag;
        const std::size_t run = std::min(ring.size() - std::max(writeIndex, readIndex), numFrames - done);
        float* const newest = &ring[writeIndex];
        if (lag < run) std::copy_n(in + done, run, newest);
        std::copy_n(&ring[readIndex], run, out + done);
        if (lag >= run) std::copy_n(in + done, run, newest);
        done += run;
        writeIndex = (writeIndex + run) % ring.size();
    }
}

LinearDelayLine::LinearDelayLine(float requestedDelay, float maxDelay) : DelayRing(maxDelay, 1)
{
    SetDelay(requestedDelay);
}

void LinearDelayLine::SetDelay(float d)
{
    coef = d - std::floor(d);
    KAL_ASSERT("Kal/KalUtils", !std::isnan(coef));
    Set(SaturatedFloor(d));
}

AllpassDelayLine::AllpassDelayLine(float requestedDelay, float maxDelay) : DelayRing(maxDelay, 1)
{
    SetDelay(requestedDelay);
}

void AllpassDelayLine::SetDelay(float d)
{
    const float f = d - std::floor(d);
    coef = (1.0f - f) / (1.0f + f);
    KAL_ASSERT("Kal/KalUtils", !std::isnan(coef));
    Set(SaturatedFloor(d));
}

AllpassFilter1::AllpassFilter1(int length, float coefficient)
    : coef(coefficient), pastX(static_cast<std::size_t>(length)), pastY(static_cast<std::size_t>(length))
{
}

// Frames less than D apart do not depend on each other: every run up to the end of the ring is a loop without a
// recursion.
void AllpassFilter1::Process(unsigned numFrames, float* block)
{
    for (std::size_t done = 0; done < numFrames;) {
        const std::size_t run = std::min(pastX.size() - index, numFrames - done);
        float* __restrict io = block + done;
        float* __restrict xs = &pastX[index];
        double* __restrict ys = &pastY[index];
        for (std::size_t i = 0; i < run; ++i) {
            const double y = Step(io[i], xs[i], ys[i]);
            xs[i] = io[i];
            ys[i] = y;
            io[i] = static_cast<float>(y);
        }
        done += run;
        index = (index + run) % pastX.size();
    }
}

void AllpassFilter1::Mute()
{
    std::fill(pastX.begin(), pastX.end(), 0.0f);
    std::fill(pastY.begin(), pastY.end(), 0.0);
}

} // namespace kal
