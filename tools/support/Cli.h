#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

namespace kal::tools {

/// Something is wrong with what the tool was given: one sentence for the user.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Parses the arguments as `describe` says that they are, and so runs the callback of the command that they name. Every
/// tool also knows --version, and --man and --bash-completion, which print what Pages.h makes of it.
/// @return what main returns: 0; 1 after an exception, whose text goes to standard error; 2 for wrong arguments.
int Run(int argc, char** argv, const char* name, void (*describe)(CLI::App& app)) noexcept;

} // namespace kal::tools
