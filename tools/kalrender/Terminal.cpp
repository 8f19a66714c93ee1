#include "Terminal.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <unistd.h>

namespace kalrender {

namespace {

std::mutex mutex;
bool hasBar = false; // guarded by mutex

void EraseBar()
{
    if (hasBar) std::fputs("\r\033[K", stderr);
    hasBar = false;
}

} // namespace

bool Terminal::IsThere()
{
    static const bool isThere = isatty(STDERR_FILENO) != 0;
    return isThere;
}

std::string Terminal::Coloured(const char* code, const std::string& text)
{
    static const bool isColoured = [] {
        const char* const wish = std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe): nothing sets it
        return IsThere() && (!wish || !*wish);
    }();
    return isColoured ? "\033[" + std::string(code) + "m" + text + "\033[0m" : text;
}

void Terminal::Print(const std::string& line)
{
    const std::lock_guard lock(mutex);
    EraseBar();
    std::fprintf(stderr, "%s\n", line.c_str());
}

void Terminal::Show(const std::string& line)
{
    const std::lock_guard lock(mutex);
    EraseBar();
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    hasBar = true;
}

void Progress::Update(double seconds)
{
    if (how == Way::None) return;
    const auto now = Clock::now();
    if (now - last < (how == Way::Bar ? std::chrono::milliseconds(50) : std::chrono::seconds(1))) return;
    last = now;

    char text[64];
    if (total > 0.0)
        std::snprintf(text, sizeof text, "%3.0f %% of %.1f s", 100.0 * seconds / total, total);
    else
        std::snprintf(text, sizeof text, "%.1f s", seconds);
    if (how == Way::Lines) {
        Terminal::Print(title + ": " + text);
        return;
    }
    constexpr std::size_t kWidth = 40;
    const auto filled = total > 0.0 ? std::min(kWidth, static_cast<std::size_t>(kWidth * seconds / total)) : 0;
    Terminal::Show(title + " [" + Terminal::Coloured("32", std::string(filled, '#')) +
                   std::string(kWidth - filled, '.') + "] " + text);
}

} // namespace kalrender
