#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace kal {

/// A lock that any thread may open: one thread closes it, another opens it to hand over a turn. Waiting sleeps.
class Gate {
public:
    /// [control]
    explicit Gate(bool isOpen) : open(isOpen) {}

    /// [any] Waits until the gate is open and closes it.
    void Lock()
    {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return open.load(); });
        open = false;
    }

    /// [any] Opens the gate and wakes one thread that waits for it.
    void Unlock()
    {
        // Notified with the mutex held: the waiter may destroy the gate as soon as it is through.
        std::lock_guard lock(mutex);
        open = true;
        opened.notify_one();
    }

    /// [any] Waits until the gate is open and leaves it so.
    void Pass()
    {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return open.load(); });
    }

    /// [any] As Lock, unless Wake comes first: then it returns false.
    bool LockUnlessWoken()
    {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return open || woken; });
        woken = false;
        return open.exchange(false);
    }

    /// [any] Ends a LockUnlessWoken, now or the next.
    void Wake()
    {
        std::lock_guard lock(mutex);
        woken = true;
        opened.notify_one();
    }

    /// [any] For a thread that spins for a while before it goes to sleep.
    bool IsOpen() const { return open; }

private:
    std::mutex mutex;
    std::condition_variable opened;
    std::atomic<bool> open; ///< written with the mutex held
    bool woken = false;
};

} // namespace kal
