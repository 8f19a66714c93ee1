#include "Progress.h"

#include "tools/support/Terminal.h"

#include <algorithm>
#include <cstdio>

namespace kalrender {

using kal::tools::Terminal;

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
