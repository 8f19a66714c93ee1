#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace kalrender {

/// Notices when one of some files changes, appears or goes.
class Watcher {
public:
    /// From now on, these files as they are now.
    void Observe(const std::vector<std::string>& paths);

    /// These as well: those that it knows as they were, the others as they are now.
    void Add(const std::vector<std::string>& paths);

    /// Looks five times a second at most, so that it may be asked at any time.
    bool HasChanged();

private:
    struct State {
        std::filesystem::file_time_type time;
        std::uintmax_t size;

        bool operator==(const State&) const = default;
    };

    static State StateOf(const std::string& path);

    std::map<std::string, State> states;
    std::chrono::steady_clock::time_point lastLook;
    bool hasChanged = false;
};

} // namespace kalrender
