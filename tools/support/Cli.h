#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

namespace kal::tools {

inline constexpr char kExitStatus[] = "0 on success, 1 when something is wrong with the input, 2 for wrong arguments.";

/// Something is wrong with what the tool was given: one sentence for the user.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Says what is wrong, on standard error.
void PrintFault(const std::string& tool, const std::string& text);

/// Parses the arguments as `describe` says that they are, and so runs the callback of the command that they name. Every
/// tool also knows --version, and --man and --bash-completion, which print what Pages.h makes of it. The footer of the
/// program is its examples, one a line.
/// @return what main returns: 0; 1 after an exception, whose text goes to standard error; 2 for wrong arguments; the
/// code of a CLI::RuntimeError, which ends a program that has said already what is wrong.
int Run(int argc, char** argv, const char* name, void (*describe)(CLI::App& app)) noexcept;

} // namespace kal::tools
