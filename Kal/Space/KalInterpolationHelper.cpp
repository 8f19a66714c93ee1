#include "Kal/Space/KalInterpolationHelper.h"

#include "Kal/QFFT/Assert.h"

namespace kal {

namespace {
constexpr char kSource[] = "Kal/KalInterpolationHelper";
}

InterpolationHelper::Result InterpolationHelper::Interpolate(float x) const
{
    KAL_ASSERT(kSource, !keys.empty());
    const int last = static_cast<int>(keys.size()) - 1;
    if (x <= keys.front()) return {0, 0, 0.5f};
    if (x >= keys.back()) return {last, last, 0.5f};

    for (int i = 1; i <= last; ++i) {
        if (keys[i] > x) return {i - 1, i, (x - keys[i - 1]) / (keys[i] - keys[i - 1])};
    }
    KAL_ASSERT(kSource, false);
}

int InterpolationHelper::ChooseNearest(float x) const
{
    const Result around = Interpolate(x);
    return around.fraction < 0.5f ? around.index0 : around.index1;
}

} // namespace kal
