#include "Watcher.h"

#include <algorithm>

namespace kalrender {

void Watcher::Observe(const std::vector<std::string>& paths)
{
    states.clear();
    Add(paths);
    hasChanged = false;
}

void Watcher::Add(const std::vector<std::string>& paths)
{
    for (const std::string& path : paths) states.try_emplace(path, StateOf(path));
}

bool Watcher::HasChanged()
{
    const auto now = std::chrono::steady_clock::now();
    if (hasChanged || now - lastLook < std::chrono::milliseconds(200)) return hasChanged;
    lastLook = now;
    hasChanged = std::ranges::any_of(states, [](const auto& entry) { return StateOf(entry.first) != entry.second; });
    return hasChanged;
}

Watcher::State Watcher::StateOf(const std::string& path)
{
    std::error_code missing; // a file that is not there has the smallest time
    const auto time = std::filesystem::last_write_time(path, missing);
    return {missing ? std::filesystem::file_time_type::min() : time, std::filesystem::file_size(path, missing)};
}

} // namespace kalrender
