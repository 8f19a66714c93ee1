#pragma once

#include "Kal/Base/KalLock.h"

#include <mutex>

namespace kal {

/// A lock that any thread may open: one thread closes it, another opens it to hand over a turn. Waiting sleeps. Whoever
/// destroys a gate first lets all calls on it return, the one that opened it included.
class Gate {
public:
    /// [control]
    explicit Gate(bool isOpen) : open(isOpen) {}

    /// [any] Waits until the gate is open and closes it.
    void Lock()
    {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return open; });
        open = false;
    }

    /// [any] Opens the gate and wakes one thread that waits for it.
    void Unlock()
    {
        {
            std::lock_guard lock(mutex);
            open = true;
        }
        opened.notify_one(); // who wakes up shall not have to wait for the mutex, too
    }

    /// [any] Waits until the gate is open and leaves it so.
    void Pass()
    {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return open; });
    }

private:
    Mutex mutex;
    Condition opened;
    bool open; ///< guarded by the mutex
};

} // namespace kal
