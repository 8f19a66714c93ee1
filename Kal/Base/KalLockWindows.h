#pragma once

#include <mutex>

namespace kal {

/// [any] A slim lock. The thread library's own mutex and condition wait on kernel objects, which takes ten times as
/// long.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    bool try_lock();
    void unlock();

private:
    friend class Condition;
    void* state = nullptr; ///< the system's: a pointer, null while nobody has the lock
};

/// [any] Where threads sleep that wait for something that a Mutex guards.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Waits, with the lock released, until isReady() holds, which is asked with the lock held.
    template<class IsReady>
    void wait(std::unique_lock<Mutex>& lock, IsReady isReady)
    {
        while (!isReady()) Sleep(*lock.mutex());
    }

    void notify_one();

private:
    void Sleep(Mutex& mutex);

    void* state = nullptr; ///< the system's: a pointer, null while nobody waits
};

} // namespace kal
