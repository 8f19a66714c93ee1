#include "Kal/QFFT/Twiddles.h"

#include "Kal/QFFT/Assert.h"
#include "Kal/QFFT/Exception.h"

#include <cmath>
#include <map>
#include <mutex>

namespace qfft {

std::vector<unsigned> PlanRadices(unsigned size)
{
    std::vector<unsigned> radices;
    for (unsigned rest = size; rest > 1; rest /= radices.back()) {
        if (rest % 4 == 0)
            radices.push_back(4);
        else if (rest % 2 == 0)
            radices.push_back(2);
        else if (rest % 3 == 0)
            radices.push_back(3);
        else
            throw Exception("Failed to create FFT plan. Radix not found.");
    }
    return radices;
}

// The angle is summed up rather than multiplied out, so it is off by at most m half units in its last place: 1e-13 for
// lengths of a few thousand.
Twiddles::Twiddles(unsigned size)
{
    unsigned done = 1; // product of the radices so far
    for (const unsigned radix : PlanRadices(size)) {
        stageStarts.push_back(static_cast<unsigned>(twiddleDouble.size()));
        for (unsigned j = 1; j < radix; ++j) {
            const double step = double(j) * done * (6.283185307179586 / size);
            double angle = step;
            for (unsigned m = 1; m <= size / (done * radix); ++m, angle += step) {
                twiddleDouble.emplace_back(std::cos(angle), std::sin(angle));
                twiddles.emplace_back(twiddleDouble.back());
            }
        }
        done *= radix;
    }
    KAL_ASSERT("Kal/QFFT/Twiddles", twiddleDouble.size() == size - 1);
}

std::shared_ptr<const Twiddles> Twiddles::GetInstance(unsigned size)
{
    static std::mutex mutex;
    static std::map<unsigned, std::weak_ptr<const Twiddles>> cache;

    KAL_ASSERT("Kal/QFFT/Twiddles", size > 0);
    const std::lock_guard lock(mutex);
    std::weak_ptr<const Twiddles>& entry = cache[size];
    std::shared_ptr<const Twiddles> tables = entry.lock();
    if (!tables) entry = tables = std::make_shared<const Twiddles>(size);
    return tables;
}

} // namespace qfft
