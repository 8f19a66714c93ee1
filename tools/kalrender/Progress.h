#pragma once

#include <chrono>
#include <string>

namespace kalrender {

/// Shows how far the rendering of a scene is: a bar on a terminal, a line a second elsewhere if asked for.
class Progress {
public:
    enum class Way { None, Bar, Lines };

    Progress(Way way, std::string name, double totalSeconds) : how(way), title(std::move(name)), total(totalSeconds) {}

    /// @param seconds of sound so far; total is 0 where the end is not known
    void Update(double seconds);

private:
    using Clock = std::chrono::steady_clock;

    Way how;
    std::string title;
    double total;
    Clock::time_point last = Clock::now();
};

} // namespace kalrender
