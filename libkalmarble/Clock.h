#pragma once

#include <chrono>

namespace kalmarble {

/// [any] Seconds on the monotonic clock, in whole microseconds.
inline double Now()
{
    using namespace std::chrono;
    const auto now = duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
    return static_cast<double>(now) / 1000000.0;
}

} // namespace kalmarble
