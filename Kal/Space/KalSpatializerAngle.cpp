#include "Kal/Space/KalSpatializerAngle.h"

#include "Kal/Kernels/KalKernels.h"

#include <algorithm>
#include <mutex>

namespace kal {

void Spatializer::Angle::Add(Side side, int offset, const float* samples, int count, float gain, float step)
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
    // The gains of a fade are multiples of 1/128 up to 1.
    kernels::ActiveTable().addFaded(input.signal.Frames() + offset, samples, count, gain, step);
}

} // namespace kal
