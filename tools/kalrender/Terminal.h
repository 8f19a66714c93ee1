#pragma once

#include <chrono>
#include <string>

namespace kalrender {

/// [any thread] Standard error: where everything goes that is not the output.
class Terminal {
public:
    /// Whether standard error is a terminal, on which bars may move.
    static bool IsThere();

    /// The text in a colour (SGR code, as "31"), on a terminal and unless NO_COLOR is set; else as it is.
    static std::string Coloured(const char* code, const std::string& text);

    /// Writes a line, in place of a bar that may stand there.
    static void Print(const std::string& line);

    /// Shows a line that the next one replaces.
    static void Show(const std::string& line);
};

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
