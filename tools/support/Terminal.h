#pragma once

#include <string>

namespace kal::tools {

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

} // namespace kal::tools
