#pragma once

#include <mutex>
#include <set>
#include <string>

namespace kalmarble {

/// The text of the latest failure. It is sticky: only a later failure replaces it. Any thread may set and get it, and
/// neither fails.
class LastError {
public:
    /// [any] Replaces the text; without memory for it, by the one of a failed allocation.
    void Set(const char* message) noexcept;

    /// [any] The text, or null when nothing failed yet. It stays readable for as long as this object lives.
    const char* Get() noexcept;

private:
    std::mutex mutex;
    std::set<std::string> texts; ///< every one that Get returned, each once, and the latest
    std::set<std::string>::const_iterator latest = texts.end();
    bool isGiven = true;       ///< Get has returned the latest, if there is one
    bool lackedMemory = false; ///< for what should be the latest
};

} // namespace kalmarble
