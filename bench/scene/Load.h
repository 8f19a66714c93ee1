#pragma once

#include <atomic>
#include <thread>
#include <vector>

namespace scene {

/// Keeps every core busy while it lives: one endless loop for each, at the priority of ordinary threads.
class Load {
public:
    Load()
    {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i)
            loops.emplace_back([this] {
                while (!stop.load(std::memory_order_relaxed)) {
                }
            });
    }

    ~Load()
    {
        stop = true;
        for (std::thread& loop : loops) loop.join();
    }

    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

private:
    std::atomic<bool> stop{false};
    std::vector<std::thread> loops;
};

} // namespace scene
