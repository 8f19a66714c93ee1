#include "Kal/Space/KalSpatializerAngle.h"

#include "Kal/Kernels/KalKernels.h"

#include <algorithm>
#include <mutex>

namespace kal {

void Spatializer::Angle::Add(Side side, int offset, const float* samples, int count, float gain, float step)
{
    if (count <= 0) return;
    SideInput& input = inputs[side];
    const kernels::Table& table = kernels::ActiveTable();
    const std::lock_guard lock(input.mutex);
    float *const block = input.signal.Frames(), *const begin = block + offset, *const end = begin + count;
    // The gains of a fade are multiples of 1/128 up to 1. What the block before has left is still there.
    if (input.used) {
        table.addFaded(begin, samples, count, gain, step);
    } else {
        std::fill(block, begin, 0.0f);
        table.scaleFaded(begin, samples, count, gain, step);
        std::fill(end, block + bank.NumFrames(), 0.0f);
        input.used = true;
    }
}

} // namespace kal
