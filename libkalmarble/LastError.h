#pragma once

#include <mutex>
#include <set>
#include <string>

namespace kalmarble {

/// The text of the latest failure. It is sticky: only a later failure replaces it. Any thread may set and get it.
class LastError {
public:
    /// [any] Replaces the text; without memory for it the old one stays.
    void Set(const char* message) noexcept;

    /// [any] The text, or null when nothing failed yet. It stays readable for as long as this object lives.
    const char* Get();

private:
    std::mutex mutex;
    std::string text;
    std::set<std::string> given; ///< every text that Get returned, each once
};

} // namespace kalmarble
