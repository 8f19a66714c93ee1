#pragma once

#include "Kal/Base/KalLock.h"

#include <atomic>
#include <mutex>

namespace kal {

/// [any] A lock that is held for less than a microsecond and seldom wanted meanwhile: to take and to give back a free
/// one is one atomic operation each, on every system. Who has to wait sleeps. It outlives every call on it.
class BriefMutex {
public:
    void lock()
    {
        State expected = Free;
        if (!state.compare_exchange_strong(expected, Held, std::memory_order_acquire, std::memory_order_relaxed))
            Wait();
    }

    void unlock()
    {
        if (state.exchange(Free, std::memory_order_release) == Awaited) WakeOne();
    }

private:
    enum State : unsigned char { Free, Held, Awaited };

    // Who had to wait cannot tell whether others still do, and so takes it as awaited.
    void Wait()
    {
        std::unique_lock lock(mutex);
        freed.wait(lock, [this] { return state.exchange(Awaited, std::memory_order_acquire) == Free; });
    }

    void WakeOne()
    {
        {
            std::lock_guard lock(mutex);
        } // whoever has just found it taken is asleep by then
        freed.notify_one();
    }

    std::atomic<State> state = Free;
    Mutex mutex; ///< of those who wait, and who wake them
    Condition freed;
};

} // namespace kal
