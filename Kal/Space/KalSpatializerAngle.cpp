#include "Kal/Space/KalSpatializerAngle.h"

#include <algorithm>
#include <mutex>

namespace kal {

void Spatializer::Angle::Add(Side side, int offset, const float* __restrict samples, int count, float gain, float step)
{
    if (count <= 0) return;
    SideInput& input = inputs[side];
    if (!input.used) {
        const std::lock_guard lock(clearMutex);
        if (!input.used) {
            std::fill_n(input.signal.Frames(), bank.NumFrames(), 0.0f);
            input.used = true;
        }
    }
    const std::lock_guard lock(input.mutex);
    float* __restrict out = input.signal.Frames() + offset;
    if (step == 0.0f) {
        for (int i = 0; i < count; ++i) out[i] += samples[i];
        return;
    }
    // The gains of a fade are multiples of 1/128 up to 1 and exact in float: a product of the step is what adding up
    // the step yields, and there is no chain from one sample to the next.
    for (int i = 0; i < count; ++i) out[i] += samples[i] * (gain + static_cast<float>(i) * step);
}

} // namespace kal
